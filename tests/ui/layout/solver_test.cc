#include "platform/ui/layout/solver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace tessarin::platform::ui::layout {
namespace {

constexpr LayoutPriority kRequired = kLayoutPriorityRequired;

// a*x + b*y + c (relation) 0, written the way a layout writes them.
Constraint make(std::vector<Term> terms, double constant, LayoutRelation relation,
                LayoutPriority priority = kRequired) {
  return Constraint(Expression{std::move(terms), constant}, relation, priority);
}
Constraint equal(const Variable& v, double value, LayoutPriority priority = kRequired) {
  return make({{v, 1}}, -value, LayoutRelation::kEqual, priority);
}
Constraint atLeast(const Variable& v, double value, LayoutPriority priority = kRequired) {
  return make({{v, 1}}, -value, LayoutRelation::kGreaterThanOrEqual, priority);
}
Constraint atMost(const Variable& v, double value, LayoutPriority priority = kRequired) {
  return make({{v, 1}}, -value, LayoutRelation::kLessThanOrEqual, priority);
}

TEST(SolverTest, RequiredConstraintsWinOverAnyPreference) {
  Solver solver;
  Variable x("x");
  ASSERT_EQ(solver.addConstraint(equal(x, 5, 999)), SolverError::kNone);
  ASSERT_EQ(solver.addConstraint(atLeast(x, 10)), SolverError::kNone);
  solver.updateVariables();
  EXPECT_DOUBLE_EQ(x.value(), 10);

  // Once the required bound is gone, the preference holds again.
  Solver other;
  Variable y("y");
  Constraint bound = atLeast(y, 10);
  ASSERT_EQ(other.addConstraint(equal(y, 5, 1)), SolverError::kNone);
  ASSERT_EQ(other.addConstraint(bound), SolverError::kNone);
  ASSERT_EQ(other.removeConstraint(bound), SolverError::kNone);
  other.updateVariables();
  EXPECT_DOUBLE_EQ(y.value(), 5);
}

TEST(SolverTest, HigherPriorityBeatsLowerOneEvenNextToIt) {
  struct Case {
    LayoutPriority low, high;
  };
  for (Case c : {Case{250, 251}, Case{248, 249}, Case{1, 999}, Case{250, 750}}) {
    Solver solver;
    Variable x("x");
    // Added in both orders: the order of addition must not matter.
    ASSERT_EQ(solver.addConstraint(equal(x, 100, c.low)), SolverError::kNone);
    ASSERT_EQ(solver.addConstraint(equal(x, 200, c.high)), SolverError::kNone);
    solver.updateVariables();
    EXPECT_DOUBLE_EQ(x.value(), 200) << c.low << " vs " << c.high;

    Solver reversed;
    Variable y("y");
    ASSERT_EQ(reversed.addConstraint(equal(y, 200, c.high)), SolverError::kNone);
    ASSERT_EQ(reversed.addConstraint(equal(y, 100, c.low)), SolverError::kNone);
    reversed.updateVariables();
    EXPECT_DOUBLE_EQ(y.value(), 200) << c.low << " vs " << c.high;
  }
}

TEST(SolverTest, WeightGrowsTenfoldEvery125Points) {
  // One point of error at 375 against n points at 250: the stronger one
  // wins while n < 10.
  for (double n : {9.0, 11.0}) {
    Solver solver;
    Variable x("x");
    ASSERT_EQ(solver.addConstraint(equal(x, 0, 375)), SolverError::kNone);
    ASSERT_EQ(solver.addConstraint(make({{x, n}}, -n, LayoutRelation::kEqual, 250)), SolverError::kNone);
    solver.updateVariables();
    EXPECT_DOUBLE_EQ(x.value(), n < 10 ? 0 : 1) << n;
  }
}

TEST(SolverTest, HuggingGivesWayToCompressionResistance) {
  // A 300-point row holds two views: left 0 .. a, a .. b at width 300.
  // Each wants its intrinsic width 200; the one that hugs less stretches,
  // the one that resists compression less is squeezed.
  for (bool squeeze : {false, true}) {
    Solver solver;
    Variable w1("w1"), w2("w2");
    double total = squeeze ? 300 : 500;
    ASSERT_EQ(solver.addConstraint(make({{w1, 1}, {w2, 1}}, -total, LayoutRelation::kEqual)), SolverError::kNone);
    ASSERT_EQ(solver.addConstraint(atMost(w1, 200, 250)), SolverError::kNone);
    ASSERT_EQ(solver.addConstraint(atLeast(w1, 200, 750)), SolverError::kNone);
    ASSERT_EQ(solver.addConstraint(atMost(w2, 200, 251)), SolverError::kNone);
    ASSERT_EQ(solver.addConstraint(atLeast(w2, 200, 749)), SolverError::kNone);
    solver.updateVariables();
    if (squeeze) {
      EXPECT_DOUBLE_EQ(w1.value(), 200);
      EXPECT_DOUBLE_EQ(w2.value(), 100);
    } else {
      EXPECT_DOUBLE_EQ(w1.value(), 300);
      EXPECT_DOUBLE_EQ(w2.value(), 200);
    }
  }
}

TEST(SolverTest, UnsatisfiableRequiredConstraintIsRefusedAndChangesNothing) {
  Solver solver;
  Variable x("x"), y("y");
  ASSERT_EQ(solver.addConstraint(make({{x, 1}, {y, -1}}, 0, LayoutRelation::kEqual)), SolverError::kNone);
  ASSERT_EQ(solver.addConstraint(equal(x, 10)), SolverError::kNone);
  ASSERT_EQ(solver.addConstraint(atLeast(y, 0, 500)), SolverError::kNone);
  solver.updateVariables();
  ASSERT_DOUBLE_EQ(y.value(), 10);

  Constraint conflict = equal(y, 20);           // contradicts x == y == 10 directly
  Constraint bound = atMost(y, 5);              // found only through the simplex
  Constraint chained = make({{x, 1}, {y, 1}}, -30, LayoutRelation::kGreaterThanOrEqual);
  for (const Constraint& c : {conflict, bound, chained}) {
    EXPECT_EQ(solver.addConstraint(c), SolverError::kUnsatisfiable);
    EXPECT_FALSE(solver.hasConstraint(c));
    solver.updateVariables();
    EXPECT_DOUBLE_EQ(x.value(), 10);
    EXPECT_DOUBLE_EQ(y.value(), 10);
  }
  // The solver still works: a satisfiable constraint goes in, and removing
  // the refused ones is an error rather than a corruption.
  EXPECT_EQ(solver.removeConstraint(bound), SolverError::kUnknownConstraint);
  ASSERT_EQ(solver.addConstraint(atMost(y, 15)), SolverError::kNone);
  Variable z("z");
  ASSERT_EQ(solver.addConstraint(make({{z, 1}, {y, -2}}, 0, LayoutRelation::kEqual)), SolverError::kNone);
  solver.updateVariables();
  EXPECT_DOUBLE_EQ(z.value(), 20);
}

TEST(SolverTest, BookkeepingErrors) {
  Solver solver;
  Variable x("x");
  Constraint c = equal(x, 1);
  ASSERT_EQ(solver.addConstraint(c), SolverError::kNone);
  EXPECT_EQ(solver.addConstraint(c), SolverError::kDuplicateConstraint);
  EXPECT_EQ(solver.removeConstraint(equal(x, 1)), SolverError::kUnknownConstraint);
  EXPECT_EQ(solver.setConstant(equal(x, 1), 3), SolverError::kUnknownConstraint);

  Variable e("e");
  EXPECT_EQ(solver.addEditVariable(e, kRequired), SolverError::kBadRequiredEdit);
  EXPECT_FALSE(solver.hasEditVariable(e));
  ASSERT_EQ(solver.addEditVariable(e, 999), SolverError::kNone);
  EXPECT_EQ(solver.addEditVariable(e, 999), SolverError::kDuplicateEditVariable);
  EXPECT_EQ(solver.suggestValue(x, 3), SolverError::kUnknownEditVariable);
  ASSERT_EQ(solver.removeEditVariable(e), SolverError::kNone);
  EXPECT_EQ(solver.removeEditVariable(e), SolverError::kUnknownEditVariable);
  EXPECT_EQ(solver.suggestValue(e, 3), SolverError::kUnknownEditVariable);
}

// A row of `n` boxes between 0 and `width`: each box has a position and a
// width, spacing 8, widths preferring distinct sizes at distinct priorities
// so that the optimum is unique.
struct Row {
  std::vector<Variable> left, width;
  std::vector<Constraint> constraints;
  Constraint trailing;
  Row(int n, double total)
      : trailing(make({}, 0, LayoutRelation::kEqual)) {
    for (int i = 0; i < n; ++i) {
      left.emplace_back("left" + std::to_string(i));
      width.emplace_back("width" + std::to_string(i));
    }
    constraints.push_back(equal(left[0], 10));
    for (int i = 1; i < n; ++i) {
      constraints.push_back(
          make({{left[i], 1}, {left[i - 1], -1}, {width[i - 1], -1}}, -8, LayoutRelation::kEqual));
    }
    for (int i = 0; i < n; ++i) {
      constraints.push_back(atLeast(width[i], 20 + 5 * i));
      constraints.push_back(equal(width[i], 60 + 10 * i, 200 + 37 * i));
    }
    trailing = make({{left[n - 1], 1}, {width[n - 1], 1}}, 10 - total, LayoutRelation::kEqual);
    constraints.push_back(trailing);
  }
  std::vector<double> values() const {
    std::vector<double> out;
    for (std::size_t i = 0; i < left.size(); ++i) {
      out.push_back(left[i].value());
      out.push_back(width[i].value());
    }
    return out;
  }
};

std::vector<double> solveFromScratch(int n, double total) {
  Row row(n, total);
  Solver solver;
  for (const Constraint& c : row.constraints) EXPECT_EQ(solver.addConstraint(c), SolverError::kNone);
  solver.updateVariables();
  return row.values();
}

void expectNear(const std::vector<double>& a, const std::vector<double>& b, const std::string& what) {
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(a[i], b[i], 1e-6) << what << " value " << i;
}

TEST(SolverTest, ChangingAConstantInPlaceMatchesSolvingFromScratch) {
  const int n = 5;
  Row row(n, 400);
  Solver solver;
  for (const Constraint& c : row.constraints) ASSERT_EQ(solver.addConstraint(c), SolverError::kNone);
  std::mt19937 random(7);
  // The minimum widths, spacing and margins need 202 points.
  std::uniform_real_distribution<double> totals(202, 900);
  for (int step = 0; step < 60; ++step) {
    double total = totals(random);
    if (step % 10 == 5) {
      EXPECT_EQ(solver.setConstant(row.trailing, 10 - 150), SolverError::kUnsatisfiable);
    }
    ASSERT_EQ(solver.setConstant(row.trailing, 10 - total), SolverError::kNone);
    solver.updateVariables();
    expectNear(row.values(), solveFromScratch(n, total), "total " + std::to_string(total));
  }
}

TEST(SolverTest, EditVariableFollowsSuggestionsLikeAFreshSolve) {
  // A box whose left edge is dragged; its width is held at 100 strongly
  // and it must stay inside [0, 300]. A drag beyond the bounds stops there.
  Variable left("left"), width("width");
  auto build = [&](Solver& solver) {
    ASSERT_EQ(solver.addConstraint(atLeast(left, 0)), SolverError::kNone);
    ASSERT_EQ(solver.addConstraint(make({{left, 1}, {width, 1}}, -300, LayoutRelation::kLessThanOrEqual)),
              SolverError::kNone);
    ASSERT_EQ(solver.addConstraint(equal(width, 100, 750)), SolverError::kNone);
  };
  Solver solver;
  build(solver);
  ASSERT_EQ(solver.addEditVariable(left, 999), SolverError::kNone);
  for (double suggested : {50.0, 120.0, 260.0, -40.0, 199.5, 10.0}) {
    ASSERT_EQ(solver.suggestValue(left, suggested), SolverError::kNone);
    solver.updateVariables();
    double incremental[2] = {left.value(), width.value()};

    Solver fresh;
    build(fresh);
    ASSERT_EQ(fresh.addConstraint(equal(left, suggested, 999)), SolverError::kNone);
    fresh.updateVariables();
    EXPECT_NEAR(incremental[0], left.value(), 1e-9) << suggested;
    EXPECT_NEAR(incremental[1], width.value(), 1e-9) << suggested;
  }
  // Past the right bound the edit (999) wins over the width (750).
  ASSERT_EQ(solver.suggestValue(left, 260), SolverError::kNone);
  solver.updateVariables();
  EXPECT_DOUBLE_EQ(left.value(), 260);
  EXPECT_DOUBLE_EQ(width.value(), 40);
  ASSERT_EQ(solver.removeEditVariable(left), SolverError::kNone);
  solver.updateVariables();
  EXPECT_DOUBLE_EQ(width.value(), 100);
}

TEST(SolverTest, RequiredConstantThatCannotHoldIsRefusedAndKept) {
  Solver solver;
  Variable x("x"), y("y");
  Constraint gap = make({{y, 1}, {x, -1}}, -10, LayoutRelation::kEqual);  // y == x + 10
  Constraint cap = atMost(y, 100);
  ASSERT_EQ(solver.addConstraint(atLeast(x, 0)), SolverError::kNone);
  ASSERT_EQ(solver.addConstraint(gap), SolverError::kNone);
  ASSERT_EQ(solver.addConstraint(cap), SolverError::kNone);
  ASSERT_EQ(solver.addConstraint(equal(x, 50, 500)), SolverError::kNone);

  ASSERT_EQ(solver.setConstant(gap, -70), SolverError::kNone);  // y == x + 70 pushes x down to 30
  solver.updateVariables();
  EXPECT_DOUBLE_EQ(x.value(), 30);
  EXPECT_DOUBLE_EQ(y.value(), 100);

  EXPECT_EQ(solver.setConstant(gap, -120), SolverError::kUnsatisfiable);  // x would be -20
  solver.updateVariables();
  EXPECT_DOUBLE_EQ(x.value(), 30);
  EXPECT_DOUBLE_EQ(y.value(), 100);

  // The kept constant is the one later changes start from.
  ASSERT_EQ(solver.setConstant(cap, -200), SolverError::kNone);
  solver.updateVariables();
  EXPECT_DOUBLE_EQ(x.value(), 50);
  EXPECT_DOUBLE_EQ(y.value(), 120);
}

TEST(SolverTest, RedundantRequiredEqualityNoticesWhenItsConstantDisagrees) {
  Solver solver;
  Variable x("x"), y("y");
  Constraint sum = make({{x, 1}, {y, 1}}, -100, LayoutRelation::kEqual);
  ASSERT_EQ(solver.addConstraint(equal(x, 40)), SolverError::kNone);
  ASSERT_EQ(solver.addConstraint(equal(y, 60)), SolverError::kNone);
  ASSERT_EQ(solver.addConstraint(sum), SolverError::kNone);  // already implied
  EXPECT_EQ(solver.setConstant(sum, -120), SolverError::kUnsatisfiable);
  solver.updateVariables();
  EXPECT_DOUBLE_EQ(x.value(), 40);
  EXPECT_DOUBLE_EQ(y.value(), 60);
  EXPECT_EQ(solver.setConstant(sum, -100), SolverError::kNone);
}

TEST(SolverTest, RemovingConstraintsInAnyOrderLeavesTheRemainingSolution) {
  const int n = 4;
  std::mt19937 random(11);
  for (int trial = 0; trial < 20; ++trial) {
    Row row(n, 350);
    Solver solver;
    for (const Constraint& c : row.constraints) ASSERT_EQ(solver.addConstraint(c), SolverError::kNone);
    // Extra preferences added and removed again, in a shuffled order.
    std::vector<Constraint> extra;
    for (int i = 0; i < n; ++i) {
      extra.push_back(equal(row.width[i], 5 + 40 * i, 100 + 150 * i));
      extra.push_back(atMost(row.left[i], 30 * i, 900));
    }
    std::shuffle(extra.begin(), extra.end(), random);
    for (const Constraint& c : extra) ASSERT_EQ(solver.addConstraint(c), SolverError::kNone);
    std::shuffle(extra.begin(), extra.end(), random);
    for (const Constraint& c : extra) ASSERT_EQ(solver.removeConstraint(c), SolverError::kNone);
    solver.updateVariables();
    expectNear(row.values(), solveFromScratch(n, 350), "trial " + std::to_string(trial));
  }
}

}  // namespace
}  // namespace tessarin::platform::ui::layout
