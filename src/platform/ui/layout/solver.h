// An incremental linear-arithmetic constraint solver (the Cassowary
// algorithm): required constraints always hold, lower priorities are
// satisfied as far as the required ones allow, a higher priority before a
// lower one. Edit variables take suggested values, which re-solve from the
// current solution rather than from scratch: this is how a constraint's
// constant changes during a drag.
//
// Not thread-safe; one solver belongs to one layout pass at a time.
#ifndef TESSARIN_PLATFORM_UI_LAYOUT_SOLVER_H_
#define TESSARIN_PLATFORM_UI_LAYOUT_SOLVER_H_

#include <memory>
#include <string>
#include <vector>

#include "platform/ui/layout/layout_types.h"

namespace tessarin::platform::ui::layout {

// A variable is a handle: copies name the same unknown. Its value is the
// last one the solver computed (0 before any).
class Variable {
 public:
  Variable();
  explicit Variable(std::string name);
  const std::string& name() const;
  double value() const;
  bool operator==(const Variable& other) const { return state_ == other.state_; }
  struct State;
  State* state() const { return state_.get(); }

 private:
  std::shared_ptr<State> state_;
};

struct Term {
  Variable variable;
  double coefficient = 1;
};

// constant + sum(coefficient * variable)
struct Expression {
  std::vector<Term> terms;
  double constant = 0;
};

// expression (relation) 0, at a priority.
class Constraint {
 public:
  Constraint(Expression expression, LayoutRelation relation, LayoutPriority priority);
  const Expression& expression() const;
  LayoutRelation relation() const;
  LayoutPriority priority() const;
  bool operator==(const Constraint& other) const { return state_ == other.state_; }
  struct State;
  State* state() const { return state_.get(); }

 private:
  std::shared_ptr<State> state_;
};

enum class SolverError {
  kNone,
  kUnsatisfiable,       // a required constraint conflicts with the others
  kDuplicateConstraint,
  kUnknownConstraint,
  kBadRequiredEdit,     // edit variables cannot be required
  kDuplicateEditVariable,
  kUnknownEditVariable,
};
const char* describe(SolverError error);

class Solver {
 public:
  Solver();
  ~Solver();
  Solver(const Solver&) = delete;
  Solver& operator=(const Solver&) = delete;

  // Each call leaves the solver as it was when it fails.
  SolverError addConstraint(const Constraint& constraint);
  SolverError removeConstraint(const Constraint& constraint);
  bool hasConstraint(const Constraint& constraint) const;

  SolverError addEditVariable(const Variable& variable, LayoutPriority priority);
  SolverError removeEditVariable(const Variable& variable);
  bool hasEditVariable(const Variable& variable) const;
  SolverError suggestValue(const Variable& variable, double value);

  // Changes the constant term of an installed constraint's expression and
  // re-solves from the current solution, the way a suggested value does (an
  // edit variable's suggestion is the constant of its edit constraint). A
  // required constraint that can no longer hold gives kUnsatisfiable and
  // keeps its previous constant. The Constraint object keeps the expression
  // it was made with; the solver holds the current constant.
  SolverError setConstant(const Constraint& constraint, double constant);

  // Copies the current solution into the variables' values.
  void updateVariables();

  void reset();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tessarin::platform::ui::layout

#endif  // TESSARIN_PLATFORM_UI_LAYOUT_SOLVER_H_
