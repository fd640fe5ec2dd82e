// EquationSpan: which multiples of given equations cancel the terms of a linear form.
//
// The equations are brought to triangular form, row by row: from each new one, multiples of the rows before it are
// taken so that their pivots vanish from it, and one of what is left becomes its own pivot,
//
//   row_k = equation_k - sum over j < k of l_kj * row_j
//
// A form is reduced by the rows in the same way, and the multiples of rows are then turned into multiples of equations
// from the last row to the first. Nothing is substituted backwards, so rows stay about as short as the order of the
// pivots allows.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "tarku/numbers/qnumber.h"
#include "tarku/proof/certificate.h"

namespace tarku::proof {

class EquationSpan {
 public:
  struct Multiple {
    int equation;  // as named by add
    QNumber factor;
  };

  // Adds an equation by the terms on its left side. `pivot` is a variable that is left in it after the equations so far
  // have been used, 0 to let any serve. An equation that the others imply is passed over.
  void add(int equation, const std::vector<Monomial>& terms, int pivot = 0);

  // *form := *form - sum of the result's multiples of equations, so that no pivot is left. An empty form tells that the
  // equations cancel it.
  std::vector<Multiple> reduce(std::vector<Monomial>* form);

  bool is_empty() const { return rows_.empty(); }

  // Called every now and then by add and reduce. When it throws, the call has had no effect, except on the form.
  void set_poll(std::function<void()> poll) { poll_ = std::move(poll); }

 private:
  struct Row {
    int equation;
    int pivot;
    QNumber pivot_coeff;
    std::vector<Monomial> terms;                      // the pivot's included
    std::vector<std::pair<std::size_t, QNumber>> l_;  // multiples of earlier rows that were taken away
  };
  using RowMultiples = std::vector<std::pair<std::size_t, QNumber>>;  // ascending by row

  RowMultiples eliminate(std::vector<Monomial>* form);
  RowMultiples eliminate_loaded();
  void abandon();
  void load(const std::vector<Monomial>& form);
  void touch(int variable);
  void subtract(const Row& row, const QNumber& factor);
  void unload(std::vector<Monomial>* form);

  std::vector<Row> rows_;
  std::vector<int> row_of_;  // by variable: the row whose pivot it is, -1 when none
  std::function<void()> poll_;

  // The form in work: dense values, the variables that have one, and the rows whose pivots may be among them.
  std::vector<QNumber> values_;
  std::vector<bool> is_touched_;
  std::vector<int> touched_;
  std::vector<std::size_t> heap_;  // smallest row on top
};

}  // namespace tarku::proof
