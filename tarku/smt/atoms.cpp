// Normalisation of atoms and the tables that keep equal ones together.
#include "tarku/smt/atoms.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "tarku/exception.h"

namespace tarku::smt {

namespace {

// The solver's limit on variables and constraint indices.
constexpr int max_id = 1 << 30;

int next_id(int* last) {
  if (*last + 1 >= max_id) throw Exception() << "too many atoms";
  return ++*last;
}

std::uint64_t hash_monomials(const std::vector<Monomial>& monomials) {
  std::uint64_t hash = monomials.size();
  for (const Monomial& m : monomials) hash = mix_hash(mix_hash(hash, m.leaf.id()), m.coeff.hash());
  return hash;
}

bool same_monomial(const Monomial& a, const Monomial& b) {
  return a.leaf == b.leaf && a.coeff == b.coeff;
}

std::uint64_t hash_bound(int variable, Relation relation, const QNumber& value) {
  const auto place = 8 * static_cast<std::uint64_t>(variable) + static_cast<std::uint64_t>(relation);
  return mix_hash(mix_hash(0, place), value.hash());
}

}  // namespace

Relation negation(Relation r) {
  switch (r) {
    case Relation::less:
      return Relation::greater_equal;
    case Relation::less_equal:
      return Relation::greater;
    case Relation::equal:
      return Relation::distinct;
    case Relation::distinct:
      return Relation::equal;
    case Relation::greater_equal:
      return Relation::less;
    case Relation::greater:
      return Relation::less_equal;
  }
  assert(false);
  return r;
}

Relation mirror(Relation r) {
  switch (r) {
    case Relation::less:
      return Relation::greater;
    case Relation::less_equal:
      return Relation::greater_equal;
    case Relation::greater_equal:
      return Relation::less_equal;
    case Relation::greater:
      return Relation::less;
    default:
      return r;
  }
}

// Whether `value relation 0`.
bool AtomTable::decide(const QNumber& value, Relation relation) {
  const int sign = value.sign();
  switch (relation) {
    case Relation::less:
      return sign < 0;
    case Relation::less_equal:
      return sign <= 0;
    case Relation::equal:
      return sign == 0;
    case Relation::distinct:
      return sign != 0;
    case Relation::greater_equal:
      return sign >= 0;
    case Relation::greater:
      return sign > 0;
  }
  assert(false);
  return false;
}

// The rational by which all coefficients become integers without a common factor and the first one positive.
// If g is that rational for a few coefficients and the next is c = g * n/d in lowest terms, then it is g/d for all.
QNumber AtomTable::content(const LinearForm& form) {
  QNumber g = form.terms.front().coeff;
  for (const Monomial& m : form.terms) {
    const QNumber ratio = m.coeff / g;
    if (!ratio.is_integer()) g /= ratio.denominator();
  }
  return g;
}

AtomTable::Place AtomTable::add(LinearForm* form, Relation relation) {
  if (form->terms.empty()) return {0, decide(form->constant, relation)};
  const QNumber scale = content(*form);
  const QNumber value = (form->constant / scale).neg();
  if (scale.is_negative()) relation = mirror(relation);
  if (form->terms.size() == 1) return {bound(variable(form->terms.front().leaf), relation, value), false};
  for (Monomial& m : form->terms) m.coeff = (m.coeff / scale).compact();
  return {bound(slack(*form), relation, value), false};
}

int AtomTable::variable(Term symbol) {
  if (variables_.size() <= symbol.id()) variables_.resize(symbol.id() + std::size_t{1});
  int& v = variables_[symbol.id()];
  if (v == 0) {
    v = next_id(&num_variables_);
    symbols_.resize(static_cast<std::size_t>(v) + 1);
    symbols_.back() = symbol;
  }
  return v;
}

int AtomTable::find_variable(Term symbol) const {
  return symbol.id() < variables_.size() ? variables_[symbol.id()] : 0;
}

// The slack variable of a scaled form.
int AtomTable::slack(const LinearForm& form) {
  const std::size_t count = form.terms.size();
  const std::uint64_t hash = hash_monomials(form.terms);
  const std::uint32_t old = row_index_.find(hash, [&](std::uint32_t i) {
    const Row& row = rows_[i];
    return row.count == count && std::equal(form.terms.begin(), form.terms.end(), monomials(row), same_monomial);
  });
  if (old != HashIndex::none) return rows_[old].variable;

  for (const Monomial& m : form.terms) variable(m.leaf);
  const std::size_t first = monomials_.size();
  monomials_.insert(monomials_.end(), form.terms.begin(), form.terms.end());
  rows_.push_back({next_id(&num_variables_), next_id(&num_constraints_), first, static_cast<std::uint32_t>(count)});
  row_of_.resize(static_cast<std::size_t>(num_variables_) + 1, -1);
  row_of_.back() = static_cast<int>(rows_.size()) - 1;
  row_index_.insert(static_cast<std::uint32_t>(rows_.size() - 1), hash);
  return rows_.back().variable;
}

int AtomTable::bound(int variable, Relation relation, const QNumber& value) {
  const std::uint64_t hash = hash_bound(variable, relation, value);
  const std::uint32_t old = bound_index_.find(hash, [&](std::uint32_t i) {
    const Bound& b = bounds_[i];
    return b.variable == variable && b.relation == relation && b.value == value;
  });
  if (old != HashIndex::none) return bounds_[old].constraint;

  bounds_.push_back({variable, next_id(&num_constraints_), relation, value.compact()});
  bound_of_.resize(static_cast<std::size_t>(num_constraints_) + 1, -1);
  bound_of_.back() = static_cast<int>(bounds_.size()) - 1;
  bound_index_.insert(static_cast<std::uint32_t>(bounds_.size() - 1), hash);
  return bounds_.back().constraint;
}

}  // namespace tarku::smt
