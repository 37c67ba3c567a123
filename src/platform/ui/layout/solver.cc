// The solver keeps the constraints as a simplex tableau in the augmented
// form of the Cassowary algorithm (Badros, Borning and Stuckey): every
// basic symbol is defined by a row over parametric symbols, which are 0 in
// the current solution. External symbols stand for variables and may take
// any value; slack and error symbols are >= 0; dummy symbols mark required
// equalities and are always 0. The objective is the weighted sum of the
// error symbols of the constraints below required.
//
// Invariant: rows of restricted symbols and the objective never mention an
// external symbol, so the optimisation runs over restricted symbols only.
// It holds because a new row always takes an external symbol as its subject
// when it has one.
#include "platform/ui/layout/solver.h"

#include <limits>
#include <unordered_map>
#include <utility>

#include "platform/ui/layout/priority_weight.h"
#include "platform/ui/layout/tableau_row.h"

namespace tessarin::platform::ui::layout {

struct Variable::State {
  std::string name;
  double value = 0;
};

Variable::Variable() : state_(std::make_shared<State>()) {}
Variable::Variable(std::string name) : state_(std::make_shared<State>(State{std::move(name), 0})) {}
const std::string& Variable::name() const { return state_->name; }
double Variable::value() const { return state_->value; }

struct Constraint::State {
  Expression expression;
  LayoutRelation relation;
  LayoutPriority priority;
};

Constraint::Constraint(Expression expression, LayoutRelation relation, LayoutPriority priority)
    : state_(std::make_shared<State>(State{std::move(expression), relation, priority})) {}
const Expression& Constraint::expression() const { return state_->expression; }
LayoutRelation Constraint::relation() const { return state_->relation; }
LayoutPriority Constraint::priority() const { return state_->priority; }

const char* describe(SolverError error) {
  switch (error) {
    case SolverError::kNone: return "no error";
    case SolverError::kUnsatisfiable: return "unsatisfiable required constraint";
    case SolverError::kDuplicateConstraint: return "constraint already added";
    case SolverError::kUnknownConstraint: return "unknown constraint";
    case SolverError::kBadRequiredEdit: return "an edit variable cannot be required";
    case SolverError::kDuplicateEditVariable: return "edit variable already added";
    case SolverError::kUnknownEditVariable: return "unknown edit variable";
  }
  return "unknown error";
}

namespace {

enum class SymbolKind : std::uint8_t { kExternal, kSlack, kError, kDummy };

}  // namespace

struct Solver::Impl {
  // What the tableau holds for one constraint. Its row was made as
  //   sign * expression + markerCoefficient * marker [+ otherCoefficient * other] = 0
  // (sign -1 turns <= into >=); `constant` is the expression's current
  // constant term.
  struct Tag {
    Constraint constraint;
    Symbol marker = kNoSymbol;
    Symbol other = kNoSymbol;
    double markerCoefficient = 0;
    double otherCoefficient = 0;
    double sign = 1;
    double constant = 0;
  };
  struct EditInfo {
    Constraint constraint;
  };
  struct VariableInfo {
    Variable variable;  // keeps the handle's state alive while the solver names it
    Symbol symbol;
  };

  std::vector<SymbolKind> kinds;
  std::vector<std::int32_t> rowIndex;  // per symbol: its row in `rows`, or -1
  std::vector<TableauRow> rows;
  std::vector<Symbol> basics;  // basics[i] is defined by rows[i]
  std::unordered_map<Variable::State*, VariableInfo> variables;
  std::unordered_map<Constraint::State*, Tag> constraints;
  std::unordered_map<Variable::State*, EditInfo> edits;
  TableauRow objective;
  TableauRow* artificial = nullptr;  // the second objective while one is being optimised
  std::vector<Symbol> infeasible;    // restricted basic symbols that went negative

  Symbol newSymbol(SymbolKind kind) {
    kinds.push_back(kind);
    rowIndex.push_back(-1);
    return static_cast<Symbol>(kinds.size() - 1);
  }
  bool isRestricted(Symbol s) const { return kinds[s] != SymbolKind::kExternal; }
  bool isPivotable(Symbol s) const { return kinds[s] == SymbolKind::kSlack || kinds[s] == SymbolKind::kError; }
  TableauRow* rowFor(Symbol s) { return rowIndex[s] < 0 ? nullptr : &rows[rowIndex[s]]; }

  void addRow(Symbol basic, TableauRow row) {
    rowIndex[basic] = static_cast<std::int32_t>(rows.size());
    rows.push_back(std::move(row));
    basics.push_back(basic);
  }

  TableauRow takeRow(Symbol basic) {
    std::size_t index = rowIndex[basic];
    TableauRow row = std::move(rows[index]);
    std::size_t last = rows.size() - 1;
    if (index != last) {
      rows[index] = std::move(rows[last]);
      basics[index] = basics[last];
      rowIndex[basics[index]] = static_cast<std::int32_t>(index);
    }
    rows.pop_back();
    basics.pop_back();
    rowIndex[basic] = -1;
    return row;
  }

  Symbol symbolFor(const Variable& variable) {
    auto it = variables.find(variable.state());
    if (it != variables.end()) return it->second.symbol;
    Symbol symbol = newSymbol(SymbolKind::kExternal);
    variables.emplace(variable.state(), VariableInfo{variable, symbol});
    return symbol;
  }

  // The constraint as a row over parametric symbols, with its marker (and
  // error) symbols; the row's constant is made >= 0.
  TableauRow createRow(Tag& tag) {
    const Expression& expression = tag.constraint.expression();
    TableauRow row(tag.constant);
    for (const Term& term : expression.terms) {
      if (nearZero(term.coefficient)) continue;
      Symbol symbol = symbolFor(term.variable);
      if (const TableauRow* basic = rowFor(symbol)) {
        row.insert(*basic, term.coefficient);
      } else {
        row.insert(symbol, term.coefficient);
      }
    }
    bool required = isRequired(tag.constraint.priority());
    if (tag.constraint.relation() == LayoutRelation::kEqual) {
      if (required) {
        tag.marker = newSymbol(SymbolKind::kDummy);
        tag.markerCoefficient = 1;
      } else {
        // expression = plus - minus, both >= 0 and both weighed.
        tag.marker = newSymbol(SymbolKind::kError);
        tag.markerCoefficient = -1;
        tag.other = newSymbol(SymbolKind::kError);
        tag.otherCoefficient = 1;
      }
    } else {
      if (tag.constraint.relation() == LayoutRelation::kLessThanOrEqual) {
        tag.sign = -1;
        row.reverseSign();
      }
      // sign * expression = slack - error: the error is how far it falls short.
      tag.marker = newSymbol(SymbolKind::kSlack);
      tag.markerCoefficient = -1;
      if (!required) {
        tag.other = newSymbol(SymbolKind::kError);
        tag.otherCoefficient = 1;
      }
    }
    row.insert(tag.marker, tag.markerCoefficient);
    if (tag.other != kNoSymbol) row.insert(tag.other, tag.otherCoefficient);
    if (row.constant() < 0) row.reverseSign();
    return row;
  }

  Symbol chooseSubject(const TableauRow& row, const Tag& tag) const {
    for (const auto& [symbol, coefficient] : row.cells()) {
      if (kinds[symbol] == SymbolKind::kExternal) return symbol;
    }
    // A restricted symbol with a negative coefficient keeps the row's
    // basic value >= 0 when it becomes the subject.
    if (isPivotable(tag.marker) && row.coefficientFor(tag.marker) < 0) return tag.marker;
    if (tag.other != kNoSymbol && isPivotable(tag.other) && row.coefficientFor(tag.other) < 0) return tag.other;
    return kNoSymbol;
  }

  bool allDummies(const TableauRow& row) const {
    for (const auto& [symbol, coefficient] : row.cells()) {
      if (kinds[symbol] != SymbolKind::kDummy) return false;
    }
    return true;
  }

  void substitute(Symbol symbol, const TableauRow& row) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (rows[i].coefficientFor(symbol) == 0) continue;
      rows[i].substitute(symbol, row);
      if (isRestricted(basics[i]) && rows[i].constant() < 0) infeasible.push_back(basics[i]);
    }
    objective.substitute(symbol, row);
    if (artificial != nullptr) artificial->substitute(symbol, row);
  }

  void pivot(Symbol leaving, Symbol entering) {
    TableauRow row = takeRow(leaving);
    row.solveFor(leaving, entering);
    substitute(entering, row);
    addRow(entering, std::move(row));
  }

  // Primal simplex on `goal`. Bland's rule (lowest symbol first, in both
  // choices) keeps degenerate layouts, which are common, from cycling.
  void optimize(const TableauRow& goal) {
    for (;;) {
      Symbol entering = kNoSymbol;
      for (const auto& [symbol, coefficient] : goal.cells()) {
        if (coefficient < 0 && kinds[symbol] != SymbolKind::kDummy && symbol < entering) entering = symbol;
      }
      if (entering == kNoSymbol) return;
      Symbol leaving = kNoSymbol;
      double best = std::numeric_limits<double>::infinity();
      for (std::size_t i = 0; i < rows.size(); ++i) {
        if (!isRestricted(basics[i])) continue;
        double coefficient = rows[i].coefficientFor(entering);
        if (coefficient >= 0) continue;
        double ratio = -rows[i].constant() / coefficient;
        if (ratio < best || (ratio == best && basics[i] < leaving)) {
          best = ratio;
          leaving = basics[i];
        }
      }
      // Unbounded cannot happen for a weighted sum of symbols >= 0.
      if (leaving == kNoSymbol) return;
      pivot(leaving, entering);
    }
  }

  // Dual simplex: restores feasibility after constants changed while the
  // objective stays optimal. False when a required constraint cannot hold.
  bool dualOptimize() {
    while (!infeasible.empty()) {
      Symbol leaving = infeasible.back();
      infeasible.pop_back();
      TableauRow* row = rowFor(leaving);
      if (row == nullptr || row->constant() > -kRowEpsilon) continue;
      Symbol entering = kNoSymbol;
      double best = std::numeric_limits<double>::infinity();
      for (const auto& [symbol, coefficient] : row->cells()) {
        if (coefficient <= 0 || kinds[symbol] == SymbolKind::kDummy) continue;
        double ratio = objective.coefficientFor(symbol) / coefficient;
        if (ratio < best || (ratio == best && symbol < entering)) {
          best = ratio;
          entering = symbol;
        }
      }
      if (entering == kNoSymbol) {
        infeasible.clear();
        return false;
      }
      pivot(leaving, entering);
    }
    return true;
  }

  // Adds `row` through an artificial variable when it has no subject of
  // its own: minimising the artificial finds a feasible basis for the row
  // or proves there is none.
  bool addWithArtificial(const TableauRow& row, Symbol marker) {
    Symbol art = newSymbol(SymbolKind::kSlack);
    addRow(art, row);
    TableauRow goal = row;
    artificial = &goal;
    optimize(goal);
    artificial = nullptr;
    bool success = nearZero(goal.constant());
    if (rowFor(art) != nullptr) {
      TableauRow taken = takeRow(art);
      if (success && !taken.empty()) {
        // The artificial is 0 but basic: hand its row to another symbol.
        // A row of dummies only goes to the constraint's own marker, so that
        // a later change of its constant is seen to break it.
        Symbol entering = kNoSymbol;
        for (const auto& [symbol, coefficient] : taken.cells()) {
          if (isPivotable(symbol)) {
            entering = symbol;
            break;
          }
        }
        if (entering == kNoSymbol) {
          entering = taken.coefficientFor(marker) != 0 ? marker : taken.cells().front().first;
        }
        taken.solveFor(art, entering);
        substitute(entering, taken);
        addRow(entering, std::move(taken));
      }
    }
    for (TableauRow& r : rows) r.remove(art);
    objective.remove(art);
    infeasible.clear();
    return success;
  }

  void addObjectiveEffect(Symbol symbol, double weight) {
    if (const TableauRow* row = rowFor(symbol)) {
      objective.insert(*row, weight);
    } else {
      objective.insert(symbol, weight);
    }
  }

  void objectiveEffects(const Tag& tag, double sign) {
    if (isRequired(tag.constraint.priority())) return;
    double weight = sign * priorityWeight(tag.constraint.priority());
    if (kinds[tag.marker] == SymbolKind::kError) addObjectiveEffect(tag.marker, weight);
    if (tag.other != kNoSymbol && kinds[tag.other] == SymbolKind::kError) addObjectiveEffect(tag.other, weight);
  }

  SolverError add(const Constraint& constraint) {
    if (constraints.count(constraint.state()) != 0) return SolverError::kDuplicateConstraint;
    Tag tag{constraint};
    tag.constant = constraint.expression().constant;
    TableauRow row = createRow(tag);
    Symbol subject = chooseSubject(row, tag);
    if (subject == kNoSymbol && allDummies(row)) {
      if (!nearZero(row.constant())) return SolverError::kUnsatisfiable;
      // Redundant with required equalities already there: the marker stays
      // basic, at 0, so that a later change of constant is seen to break it.
      subject = tag.marker;
    }
    if (subject != kNoSymbol) {
      row.solveFor(subject);
      substitute(subject, row);
      addRow(subject, std::move(row));
    } else if (!addWithArtificial(row, tag.marker)) {
      // The tableau is the old system again (plus this row's unused
      // symbols), though perhaps in another basis: optimise it back.
      optimize(objective);
      return SolverError::kUnsatisfiable;
    }
    objectiveEffects(tag, 1);
    constraints.emplace(constraint.state(), tag);
    optimize(objective);
    return SolverError::kNone;
  }

  // The row to pivot a parametric marker into, so that dropping the row
  // removes the constraint and keeps the rest feasible.
  Symbol markerLeavingRow(Symbol marker) const {
    double bestNegative = std::numeric_limits<double>::infinity();
    double bestPositive = std::numeric_limits<double>::infinity();
    Symbol negative = kNoSymbol, positive = kNoSymbol, unrestricted = kNoSymbol;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      double coefficient = rows[i].coefficientFor(marker);
      if (coefficient == 0) continue;
      if (!isRestricted(basics[i])) {
        unrestricted = basics[i];
      } else if (coefficient < 0) {
        double ratio = -rows[i].constant() / coefficient;
        if (ratio < bestNegative) bestNegative = ratio, negative = basics[i];
      } else {
        double ratio = rows[i].constant() / coefficient;
        if (ratio < bestPositive) bestPositive = ratio, positive = basics[i];
      }
    }
    if (negative != kNoSymbol) return negative;
    if (positive != kNoSymbol) return positive;
    return unrestricted;
  }

  SolverError remove(const Constraint& constraint) {
    auto it = constraints.find(constraint.state());
    if (it == constraints.end()) return SolverError::kUnknownConstraint;
    Tag tag = std::move(it->second);
    constraints.erase(it);
    objectiveEffects(tag, -1);
    if (rowFor(tag.marker) != nullptr) {
      takeRow(tag.marker);
    } else {
      Symbol leaving = markerLeavingRow(tag.marker);
      if (leaving != kNoSymbol) {
        TableauRow row = takeRow(leaving);
        row.solveFor(leaving, tag.marker);
        substitute(tag.marker, row);
      }
    }
    infeasible.clear();
    optimize(objective);
    return SolverError::kNone;
  }

  // Moves the constraint's constant by `delta` in place. The new row equals
  // the old one with a marker (or error) symbol m shifted:
  //   old m = new m + sign * delta / coefficient(m),
  // so every row mentioning m moves by that much, after which the dual
  // simplex repairs what went negative.
  bool shiftConstant(const Tag& tag, double delta, bool rescanAll) {
    infeasible.clear();
    Symbol symbol = tag.marker;
    double coefficient = tag.markerCoefficient;
    if (rowFor(tag.marker) == nullptr && tag.other != kNoSymbol && rowFor(tag.other) != nullptr) {
      symbol = tag.other;
      coefficient = tag.otherCoefficient;
    }
    double shift = tag.sign * delta / coefficient;
    bool brokeDummy = false;
    auto touched = [&](std::size_t i) {
      Symbol basic = basics[i];
      if (kinds[basic] == SymbolKind::kDummy) {
        if (!nearZero(rows[i].constant())) brokeDummy = true;
      } else if (isRestricted(basic) && rows[i].constant() < 0) {
        infeasible.push_back(basic);
      }
    };
    if (TableauRow* row = rowFor(symbol)) {
      row->addToConstant(-shift);
      touched(rowIndex[symbol]);
    } else {
      for (std::size_t i = 0; i < rows.size(); ++i) {
        double k = rows[i].coefficientFor(symbol);
        if (k == 0) continue;
        rows[i].addToConstant(k * shift);
        touched(i);
      }
    }
    if (rescanAll) {
      for (std::size_t i = 0; i < rows.size(); ++i) touched(i);
    }
    if (brokeDummy) return false;
    return dualOptimize();
  }

  SolverError setConstant(const Constraint& constraint, double constant) {
    auto it = constraints.find(constraint.state());
    if (it == constraints.end()) return SolverError::kUnknownConstraint;
    Tag& tag = it->second;
    double delta = constant - tag.constant;
    if (delta == 0) return SolverError::kNone;
    if (!shiftConstant(tag, delta, false)) {
      // The old constant held before, so going back succeeds; the dual
      // simplex may have pivoted on the way, so every row is checked.
      shiftConstant(tag, -delta, true);
      return SolverError::kUnsatisfiable;
    }
    tag.constant = constant;
    return SolverError::kNone;
  }
};

Solver::Solver() : impl_(std::make_unique<Impl>()) {}
Solver::~Solver() = default;

SolverError Solver::addConstraint(const Constraint& constraint) { return impl_->add(constraint); }
SolverError Solver::removeConstraint(const Constraint& constraint) { return impl_->remove(constraint); }
bool Solver::hasConstraint(const Constraint& constraint) const {
  return impl_->constraints.count(constraint.state()) != 0;
}

SolverError Solver::addEditVariable(const Variable& variable, LayoutPriority priority) {
  if (impl_->edits.count(variable.state()) != 0) return SolverError::kDuplicateEditVariable;
  if (isRequired(priority)) return SolverError::kBadRequiredEdit;
  // The edit constraint starts at the variable's current value, so adding
  // it does not move anything.
  Constraint constraint(Expression{{Term{variable, 1}}, -variable.value()}, LayoutRelation::kEqual, priority);
  SolverError error = impl_->add(constraint);
  if (error != SolverError::kNone) return error;
  impl_->edits.emplace(variable.state(), Impl::EditInfo{constraint});
  return SolverError::kNone;
}

SolverError Solver::removeEditVariable(const Variable& variable) {
  auto it = impl_->edits.find(variable.state());
  if (it == impl_->edits.end()) return SolverError::kUnknownEditVariable;
  Constraint constraint = it->second.constraint;
  impl_->edits.erase(it);
  return impl_->remove(constraint);
}

bool Solver::hasEditVariable(const Variable& variable) const { return impl_->edits.count(variable.state()) != 0; }

SolverError Solver::suggestValue(const Variable& variable, double value) {
  auto it = impl_->edits.find(variable.state());
  if (it == impl_->edits.end()) return SolverError::kUnknownEditVariable;
  return impl_->setConstant(it->second.constraint, -value);
}

SolverError Solver::setConstant(const Constraint& constraint, double constant) {
  return impl_->setConstant(constraint, constant);
}

void Solver::updateVariables() {
  for (auto& [state, info] : impl_->variables) {
    const TableauRow* row = impl_->rowFor(info.symbol);
    state->value = row == nullptr ? 0 : row->constant();
  }
}

void Solver::reset() { impl_ = std::make_unique<Impl>(); }

}  // namespace tessarin::platform::ui::layout
