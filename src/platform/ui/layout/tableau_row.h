// One row of the solver's tableau: basic = constant + sum(coefficient * symbol).
// Rows of a layout are short (a handful of symbols), so a flat vector
// searched linearly beats any map.
#ifndef TESSARIN_PLATFORM_UI_LAYOUT_TABLEAU_ROW_H_
#define TESSARIN_PLATFORM_UI_LAYOUT_TABLEAU_ROW_H_

#include <cstdint>
#include <utility>
#include <vector>

namespace tessarin::platform::ui::layout {

using Symbol = std::uint32_t;
inline constexpr Symbol kNoSymbol = 0xffffffffu;

// Coefficients this close to zero are dropped: they are rounding noise and
// would otherwise be chosen as pivots.
inline constexpr double kRowEpsilon = 1e-8;
inline bool nearZero(double value) { return value < kRowEpsilon && value > -kRowEpsilon; }

class TableauRow {
 public:
  using Cell = std::pair<Symbol, double>;

  TableauRow() = default;
  explicit TableauRow(double constant) : constant_(constant) {}

  double constant() const { return constant_; }
  void addToConstant(double value) { constant_ += value; }
  const std::vector<Cell>& cells() const { return cells_; }
  bool empty() const { return cells_.empty(); }

  double coefficientFor(Symbol symbol) const;
  // Adds `coefficient * symbol`, dropping the cell if it cancels out.
  void insert(Symbol symbol, double coefficient);
  // Adds `coefficient * other`, constant included.
  void insert(const TableauRow& other, double coefficient);
  void remove(Symbol symbol);
  void reverseSign();

  // For a row read as 0 = constant + cells: rewrites it as the definition
  // of `symbol`, which must be in it.
  void solveFor(Symbol symbol);
  // For a row defining `lhs`: rewrites it as the definition of `rhs`, a
  // symbol in it.
  void solveFor(Symbol lhs, Symbol rhs);
  // Replaces `symbol` by the expression `row` defines for it.
  void substitute(Symbol symbol, const TableauRow& row);

 private:
  double constant_ = 0;
  std::vector<Cell> cells_;
};

}  // namespace tessarin::platform::ui::layout

#endif  // TESSARIN_PLATFORM_UI_LAYOUT_TABLEAU_ROW_H_
