// LinearProgram: bounds on unknowns and on sums of them, as a whole.
//
//   lower_j <= x_j <= upper_j                      for each column j
//   lower_i <= sum of a_ij * x_j <= upper_i        for each row i, a_ij integers
//
// A bound may be missing, or strict. The *sides* of the program are its columns, and after them its rows. Searches keep
// a margin from strict bounds, so that none is reached.
//
// Bounds come and go. Those in force when mark_permanent is called stay; a conflict rests on them where it can.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "tarku/numbers/qnumber.h"

namespace tarku::lp {

struct Bound {
  QNumber value;
  bool is_strict = false;
  int constraint = 0;  // the owner's name for it
};

struct Side {
  std::optional<Bound> lower, upper;
};

struct Term {
  int column;
  QNumber coeff;  // an integer, not 0
};

class LinearProgram {
 public:
  int add_column() {
    columns_.emplace_back();
    return static_cast<int>(columns_.size()) - 1;
  }
  // Needs: the columns of the terms are distinct.
  int add_row(std::vector<Term> terms) {
    rows_.emplace_back();
    terms_.emplace_back();
    exponents_.push_back(0);
    set_terms(num_rows() - 1, std::move(terms));
    return static_cast<int>(rows_.size()) - 1;
  }
  // Adds a row that makes a new column the sum of the terms, which are of older columns.
  int add_definition(std::vector<Term> terms) {
    const int column = add_column();
    terms.push_back({column, QNumber(-1)});
    const int row_index = add_row(std::move(terms));
    row(row_index) = {Bound{}, Bound{}};
    definitions_.push_back({column, row_index});
    return column;
  }
  struct Definition {
    int column, row;
  };
  const std::vector<Definition>& definitions() const { return definitions_; }
  // As of add_row.
  void set_terms(int i, std::vector<Term> terms) {
    double magnitude = 0;
    for (const Term& term : terms) magnitude = std::max(magnitude, std::abs(term.coeff.to_double()));
    exponents_[static_cast<std::size_t>(i)] = magnitude > 0 && std::isfinite(magnitude) ? std::ilogb(magnitude) : 0;
    terms_[static_cast<std::size_t>(i)] = std::move(terms);
  }
  // The margin is positive.
  void set_margin(const QNumber& margin) { margin_ = margin; }
  const QNumber& margin() const { return margin_; }
  // How far the side may go.
  QNumber inner_lower(int s) const { return inner(*side(s).lower, margin_); }
  QNumber inner_upper(int s) const { return inner(*side(s).upper, margin_.neg()); }

  Side& column(int j) { return columns_[static_cast<std::size_t>(j)]; }
  Side& row(int i) { return rows_[static_cast<std::size_t>(i)]; }

  void mark_permanent() {
    permanent_ = columns_;
    permanent_.insert(permanent_.end(), rows_.begin(), rows_.end());
  }
  void forget_permanent() { permanent_.clear(); }
  // Null when nothing was marked since the program grew.
  const Side* permanent(int s) const {
    return permanent_.size() == static_cast<std::size_t>(num_sides()) ? &permanent_[static_cast<std::size_t>(s)]
                                                                      : nullptr;
  }

  int num_columns() const { return static_cast<int>(columns_.size()); }
  int num_rows() const { return static_cast<int>(rows_.size()); }
  int num_sides() const { return num_columns() + num_rows(); }
  const std::vector<Term>& terms(int i) const { return terms_[static_cast<std::size_t>(i)]; }
  // Divided by two to this power, the largest coefficient of the row is at least 1 and less than 2.
  int exponent(int i) const { return exponents_[static_cast<std::size_t>(i)]; }
  Side& side(int s) {
    return s < num_columns() ? columns_[static_cast<std::size_t>(s)]
                             : rows_[static_cast<std::size_t>(s - num_columns())];
  }
  const Side& side(int s) const {
    return s < num_columns() ? columns_[static_cast<std::size_t>(s)]
                             : rows_[static_cast<std::size_t>(s - num_columns())];
  }

 private:
  static QNumber inner(const Bound& bound, const QNumber& step) {
    return bound.is_strict ? bound.value + step : bound.value;
  }

  QNumber margin_{1, std::int64_t{1} << 20};
  std::vector<Side> columns_, rows_;
  std::vector<std::vector<Term>> terms_;  // of rows
  std::vector<int> exponents_;            // likewise
  std::vector<Side> permanent_;
  std::vector<Definition> definitions_;
};

}  // namespace tarku::lp
