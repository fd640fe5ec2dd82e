// From a basis to a square integer system and back.
#include "tarku/lp/vertex.h"

#include <cstddef>

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

bool Vertex::compute(const LinearProgram& program, const Basis& basis, const TerminationTest* test) {
  if (basis.size() != at(program.num_sides())) return false;
  program_ = &program;
  basis_ = &basis;
  place_others();
  if (!set_kernel(test) || !solve_kernel(test)) return false;
  for (int i = 0; i < program.num_rows(); ++i) {
    if (test != nullptr) (*test)();
    if (is_basic(program.num_columns() + i)) values_[at(program.num_columns() + i)] = row_sum(i);
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

std::vector<QNumber> Vertex::reduced(const std::vector<QNumber>& costs, const TerminationTest* test) const {
  const int num_columns = program_->num_columns();
  // Basic rows are put in terms of columns first.
  std::vector<QNumber> by_column(costs.begin(), costs.begin() + num_columns);
  for (int i = 0; i < program_->num_rows(); ++i) {
    const QNumber& cost = costs[at(num_columns + i)];
    if (cost.is_zero()) continue;
    for (const Term& term : program_->terms(i)) by_column[at(term.column)].add_mul(cost, term.coeff);
  }
  std::vector<QNumber> right;
  for (const int j : kernel_columns_) right.push_back(by_column[at(j)]);
  const std::optional<std::vector<QNumber>> multipliers = solve(kernel_, right, true, test);
  if (!multipliers) return {};
  std::vector<QNumber> result(at(program_->num_sides()));
  for (int j = 0; j < num_columns; ++j) result[at(j)] = by_column[at(j)];
  for (std::size_t k = 0; k < kernel_rows_.size(); ++k) {
    if (test != nullptr) (*test)();
    const QNumber& multiplier = (*multipliers)[k];
    if (multiplier.is_zero()) continue;
    result[at(num_columns + kernel_rows_[k])] = multiplier;
    for (const Term& term : program_->terms(kernel_rows_[k])) result[at(term.column)].sub_mul(multiplier, term.coeff);
  }
  return result;
}

}  // namespace tarku::lp
