// Sparse triangular elimination with a record of the multiples.
#include "tarku/proof/equation_span.h"

#include <algorithm>
#include <cassert>
#include <functional>
#include <utility>

namespace tarku::proof {

void EquationSpan::add(int equation, const std::vector<Monomial>& terms, int pivot) {
  Row row{equation, pivot, QNumber(), terms, {}};
  row.l_ = eliminate(&row.terms);
  if (row.terms.empty()) return;
  if (pivot == 0) row.pivot = row.terms.front().variable;
  for (const Monomial& term : row.terms) {
    if (term.variable == row.pivot) row.pivot_coeff = term.coeff;
  }
  assert(!row.pivot_coeff.is_zero());
  row_of_[static_cast<std::size_t>(row.pivot)] = static_cast<int>(rows_.size());
  rows_.push_back(std::move(row));
}

std::vector<EquationSpan::Multiple> EquationSpan::reduce(std::vector<Monomial>* form) {
  std::vector<QNumber> factors(rows_.size());
  for (auto& [row, factor] : eliminate(form)) factors[row] = std::move(factor);
  std::vector<Multiple> result;
  for (std::size_t k = rows_.size(); k-- > 0;) {
    if (factors[k].is_zero()) continue;
    if (poll_) poll_();
    for (const auto& [j, l] : rows_[k].l_) factors[j].sub_mul(l, factors[k]);
    result.push_back({rows_[k].equation, factors[k]});
  }
  return result;
}

// Takes multiples of the rows away from the form until no pivot is left in it.
EquationSpan::RowMultiples EquationSpan::eliminate(std::vector<Monomial>* form) {
  load(*form);
  RowMultiples multiples;
  try {
    multiples = eliminate_loaded();
  } catch (...) {
    abandon();
    throw;
  }
  unload(form);
  return multiples;
}

EquationSpan::RowMultiples EquationSpan::eliminate_loaded() {
  RowMultiples multiples;
  while (!heap_.empty()) {
    std::pop_heap(heap_.begin(), heap_.end(), std::greater<>());
    const std::size_t index = heap_.back();
    heap_.pop_back();
    const Row& row = rows_[index];
    const QNumber& value = values_[static_cast<std::size_t>(row.pivot)];
    if (value.is_zero()) continue;
    if (poll_) poll_();
    multiples.emplace_back(index, value / row.pivot_coeff);
    subtract(row, multiples.back().second);
  }
  return multiples;
}

void EquationSpan::abandon() {
  heap_.clear();
  std::vector<Monomial> form;
  unload(&form);
}

void EquationSpan::load(const std::vector<Monomial>& form) {
  assert(heap_.empty() && touched_.empty());
  for (const Monomial& term : form) {
    touch(term.variable);
    values_[static_cast<std::size_t>(term.variable)] += term.coeff;
  }
}

void EquationSpan::touch(int variable) {
  const auto v = static_cast<std::size_t>(variable);
  if (v >= values_.size()) {
    const std::size_t size = std::max(v + 1, 2 * values_.size());
    values_.resize(size);
    is_touched_.resize(size);
    row_of_.resize(size, -1);
  }
  if (is_touched_[v]) return;
  is_touched_[v] = true;
  touched_.push_back(variable);
  if (row_of_[v] < 0) return;
  heap_.push_back(static_cast<std::size_t>(row_of_[v]));
  std::push_heap(heap_.begin(), heap_.end(), std::greater<>());
}

// A row holds no pivot of an earlier one, so what it brings into the form is dealt with later.
void EquationSpan::subtract(const Row& row, const QNumber& factor) {
  for (const Monomial& term : row.terms) {
    touch(term.variable);
    values_[static_cast<std::size_t>(term.variable)].sub_mul(factor, term.coeff);
  }
}

void EquationSpan::unload(std::vector<Monomial>* form) {
  form->clear();
  std::sort(touched_.begin(), touched_.end());
  for (const int variable : touched_) {
    QNumber& value = values_[static_cast<std::size_t>(variable)];
    if (!value.is_zero()) form->push_back({variable, value});
    value = QNumber();
    is_touched_[static_cast<std::size_t>(variable)] = false;
  }
  touched_.clear();
}

}  // namespace tarku::proof
