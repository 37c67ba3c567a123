#include "platform/ui/layout/tableau_row.h"

namespace tessarin::platform::ui::layout {

double TableauRow::coefficientFor(Symbol symbol) const {
  for (const Cell& cell : cells_) {
    if (cell.first == symbol) return cell.second;
  }
  return 0;
}

void TableauRow::insert(Symbol symbol, double coefficient) {
  for (auto it = cells_.begin(); it != cells_.end(); ++it) {
    if (it->first != symbol) continue;
    it->second += coefficient;
    if (nearZero(it->second)) {
      *it = cells_.back();
      cells_.pop_back();
    }
    return;
  }
  if (!nearZero(coefficient)) cells_.emplace_back(symbol, coefficient);
}

void TableauRow::insert(const TableauRow& other, double coefficient) {
  constant_ += other.constant_ * coefficient;
  for (const Cell& cell : other.cells_) insert(cell.first, cell.second * coefficient);
}

void TableauRow::remove(Symbol symbol) {
  for (auto it = cells_.begin(); it != cells_.end(); ++it) {
    if (it->first == symbol) {
      *it = cells_.back();
      cells_.pop_back();
      return;
    }
  }
}

void TableauRow::reverseSign() {
  constant_ = -constant_;
  for (Cell& cell : cells_) cell.second = -cell.second;
}

void TableauRow::solveFor(Symbol symbol) {
  double scale = -1.0 / coefficientFor(symbol);
  remove(symbol);
  constant_ *= scale;
  for (Cell& cell : cells_) cell.second *= scale;
}

void TableauRow::solveFor(Symbol lhs, Symbol rhs) {
  insert(lhs, -1.0);
  solveFor(rhs);
}

void TableauRow::substitute(Symbol symbol, const TableauRow& row) {
  double coefficient = coefficientFor(symbol);
  if (coefficient == 0) return;
  remove(symbol);
  insert(row, coefficient);
}

}  // namespace tessarin::platform::ui::layout
