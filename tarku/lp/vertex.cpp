// From a basis to a square integer system and back.
#include "tarku/lp/vertex.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>

namespace tarku::lp {

namespace {

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

struct Fraction {
  Integer num, den;
};

Fraction fraction(const QNumber& value) {
  Fraction result;
  value.get_fraction(result.num.z(), result.den.z());
  return result;
}

// The values times their least common denominator, which becomes *denominator.
std::vector<Integer> cleared(const std::vector<QNumber>& values, Integer* denominator) {
  std::vector<Fraction> fractions;
  mpz_set_ui(denominator->z(), 1);
  for (const QNumber& value : values) {
    fractions.push_back(fraction(value));
    mpz_lcm(denominator->z(), denominator->z(), fractions.back().den.z());
  }
  std::vector<Integer> result;
  for (Fraction& each : fractions) {
    Integer factor;
    mpz_divexact(factor.z(), denominator->z(), each.den.z());
    mpz_mul(each.num.z(), each.num.z(), factor.z());
    result.push_back(std::move(each.num));
  }
  return result;
}

std::optional<std::vector<QNumber>> solve(const IntegerSystem& system, const std::vector<QNumber>& b, bool transposed,
                                          const TerminationTest* test) {
  Integer denominator;
  const std::vector<Integer> integers = cleared(b, &denominator);
  std::optional<IntegerSystem::Solution> solution = system.solve(integers, transposed, test);
  if (!solution) return std::nullopt;
  mpz_mul(denominator.z(), denominator.z(), solution->denominator.z());
  std::vector<QNumber> result;
  for (const Integer& each : solution->numerators) {
    if (test != nullptr) (*test)();
    result.push_back(QNumber::from_fraction(each.z(), denominator.z()));
  }
  return result;
}

}  // namespace

bool Vertex::set_basis(const LinearProgram& program, const Basis& basis, const TerminationTest* test) {
  if (basis.size() != at(program.num_sides())) return false;
  program_ = &program;
  basis_ = &basis;
  return set_kernel(test);
}

bool Vertex::compute(const TerminationTest* test) {
  place_others();
  if (!solve_kernel(test)) return false;
  for (int i = 0; i < program_->num_rows(); ++i) {
    if (test != nullptr) (*test)();
    if (is_basic(program_->num_columns() + i)) values_[at(program_->num_columns() + i)] = row_sum(i);
  }
  return true;
}

void Vertex::place_others() {
  values_.assign(at(program_->num_sides()), QNumber());
  for (int s = 0; s < program_->num_sides(); ++s) {
    const Side& side = program_->side(s);
    const Place place = (*basis_)[at(s)];
    if (place == Place::basic || place == Place::free) continue;
    const bool at_upper = side.upper && (place == Place::upper || !side.lower);
    if (at_upper) {
      values_[at(s)] = program_->inner_upper(s);
    } else if (side.lower) {
      values_[at(s)] = program_->inner_lower(s);
    }
  }
}

bool Vertex::set_kernel(const TerminationTest* test) {
  kernel_rows_.clear();
  kernel_columns_.clear();
  kernel_index_.assign(at(program_->num_columns()), -1);
  for (int j = 0; j < program_->num_columns(); ++j) {
    if (!is_basic(j)) continue;
    kernel_index_[at(j)] = static_cast<int>(kernel_columns_.size());
    kernel_columns_.push_back(j);
  }
  std::vector<IntegerSystem::Row> rows;
  for (int i = 0; i < program_->num_rows(); ++i) {
    if (is_basic(program_->num_columns() + i)) continue;
    kernel_rows_.push_back(i);
    rows.emplace_back();
    for (const Term& term : program_->terms(i)) {
      const int column = kernel_index_[at(term.column)];
      if (column >= 0) rows.back().push_back({column, fraction(term.coeff).num});
    }
  }
  return kernel_rows_.size() == kernel_columns_.size() && kernel_.set_matrix(std::move(rows), test);
}

bool Vertex::solve_kernel(const TerminationTest* test) {
  std::vector<QNumber> right;
  for (const int i : kernel_rows_) {  // basic columns count as 0 so far
    right.push_back(values_[at(program_->num_columns() + i)] - row_sum(i));
  }
  const std::optional<std::vector<QNumber>> solution = solve(kernel_, right, false, test);
  if (!solution) return false;
  for (std::size_t k = 0; k < kernel_columns_.size(); ++k) values_[at(kernel_columns_[k])] = (*solution)[k];
  return true;
}

QNumber Vertex::row_sum(int row) const {
  QNumber sum;
  for (const Term& term : program_->terms(row)) sum.add_mul(term.coeff, values_[at(term.column)]);
  return sum.compact();
}

std::optional<Vertex::Combination> Vertex::reduced(const Combination& costs, Integer* denominator,
                                                   const TerminationTest* test) const {
  const int num_columns = program_->num_columns();
  // Basic rows are put in terms of columns first.
  std::vector<Integer> sums(at(num_columns));
  for (const auto& [side, cost] : costs) {
    if (side < num_columns) {
      mpz_add(sums[at(side)].z(), sums[at(side)].z(), cost.z());
    } else {
      add_row(side - num_columns, cost, &sums);
    }
  }
  std::vector<Integer> right;
  for (const int j : kernel_columns_) right.push_back(sums[at(j)]);
  const std::optional<IntegerSystem::Solution> multipliers = kernel_.solve(right, true, test);
  if (!multipliers) return std::nullopt;
  *denominator = multipliers->denominator;
  for (Integer& sum : sums) mpz_mul(sum.z(), sum.z(), denominator->z());
  Combination result, rows;
  for (std::size_t k = 0; k < kernel_rows_.size(); ++k) {
    if (test != nullptr) (*test)();
    if (multipliers->numerators[k].is_zero()) continue;
    Integer negated;
    mpz_neg(negated.z(), multipliers->numerators[k].z());
    add_row(kernel_rows_[k], negated, &sums);
    rows.emplace_back(num_columns + kernel_rows_[k], multipliers->numerators[k]);
  }
  for (int j = 0; j < num_columns; ++j) {
    if (!sums[at(j)].is_zero()) result.emplace_back(j, std::move(sums[at(j)]));
  }
  std::move(rows.begin(), rows.end(), std::back_inserter(result));
  return result;
}

// Adds a multiple of a row to sums of columns.
void Vertex::add_row(int row, const Integer& factor, std::vector<Integer>* sums) const {
  for (const Term& term : program_->terms(row)) {
    mpz_ptr sum = (*sums)[at(term.column)].z();
    if (term.coeff.is_small()) {
      const std::int64_t coeff = term.coeff.small_num();
      const auto magnitude = static_cast<unsigned long>(coeff < 0 ? -coeff : coeff);
      coeff < 0 ? mpz_submul_ui(sum, factor.z(), magnitude) : mpz_addmul_ui(sum, factor.z(), magnitude);
    } else {
      mpz_addmul(sum, fraction(term.coeff).num.z(), factor.z());
    }
  }
}

}  // namespace tarku::lp
