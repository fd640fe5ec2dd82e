// Lifting, and the way back from residues to rationals.
#include "tarku/lp/integer_system.h"

#include <algorithm>

namespace tarku::lp {

namespace {

// Finds n/d = residue modulo `modulus` with both below the square root of half of it: the Euclidean algorithm, stopped
// halfway. False when there is no such pair.
bool reconstruct(const Integer& residue, const Integer& modulus, Integer* denominator) {
  Integer last = modulus, next = residue, quotient, last_factor(0), factor(1), bound;
  mpz_tdiv_q_2exp(bound.z(), modulus.z(), 1);
  mpz_sqrt(bound.z(), bound.z());
  while (mpz_cmp(next.z(), bound.z()) > 0) {
    mpz_tdiv_qr(quotient.z(), last.z(), last.z(), next.z());
    mpz_swap(last.z(), next.z());
    mpz_submul(last_factor.z(), quotient.z(), factor.z());
    mpz_swap(last_factor.z(), factor.z());
  }
  mpz_abs(denominator->z(), factor.z());
  return mpz_cmp(denominator->z(), bound.z()) <= 0 && !denominator->is_zero();
}

}  // namespace

bool IntegerSystem::set_matrix(std::vector<Row> rows, const TerminationTest* test) {
  rows_ = std::move(rows);
  std::vector<ModularLu::Row> reduced(rows_.size());
  for (std::size_t r = 0; r < rows_.size(); ++r) {
    for (const Entry& e : rows_[r]) {
      const std::uint64_t value = mpz_fdiv_ui(e.value.z(), Residue::modulus);
      if (value != 0) reduced[r].push_back({e.column, value});
    }
  }
  return lu_.factor(std::move(reduced), test);
}

std::vector<std::uint64_t> IntegerSystem::residues(const std::vector<Integer>& v) const {
  std::vector<std::uint64_t> result;
  result.reserve(v.size());
  for (const Integer& each : v) result.push_back(mpz_fdiv_ui(each.z(), Residue::modulus));
  return result;
}

void IntegerSystem::subtract_product(const std::vector<std::uint64_t>& x, bool transposed,
                                     std::vector<Integer>* v) const {
  for (std::size_t r = 0; r < rows_.size(); ++r) {
    for (const Entry& e : rows_[r]) {
      const auto c = static_cast<std::size_t>(e.column);
      const std::uint64_t digit = x[transposed ? r : c];
      if (digit != 0) mpz_submul_ui((*v)[transposed ? c : r].z(), e.value.z(), digit);
    }
  }
}

bool IntegerSystem::is_solution(const Solution& x, const std::vector<Integer>& b, bool transposed) const {
  std::vector<Integer> rest(b.size());
  for (std::size_t i = 0; i < b.size(); ++i) mpz_mul(rest[i].z(), b[i].z(), x.denominator.z());
  for (std::size_t r = 0; r < rows_.size(); ++r) {
    for (const Entry& e : rows_[r]) {
      const auto c = static_cast<std::size_t>(e.column);
      mpz_submul(rest[transposed ? c : r].z(), e.value.z(), x.numerators[transposed ? r : c].z());
    }
  }
  return std::all_of(rest.begin(), rest.end(), [](const Integer& each) { return each.is_zero(); });
}

// An upper bound (Jacques Hadamard's, with the sum of the entries for the length of a row).
std::size_t IntegerSystem::determinant_bits() const {
  std::size_t result = 0;
  for (const Row& row : rows_) {
    Integer sum;
    for (const Entry& e : row) {
      (mpz_sgn(e.value.z()) < 0 ? mpz_sub : mpz_add)(sum.z(), sum.z(), e.value.z());
    }
    result += sum.bits();
  }
  return result;
}

// The digits so far, and what they may stand for.
class IntegerSystem::Lifting {
 public:
  explicit Lifting(std::size_t size) : size_(size) {}

  void add_digit(std::vector<std::uint64_t> digit) { digits_.push_back(std::move(digit)); }
  std::size_t num_digits() const { return digits_.size(); }

  // False when more digits are needed.
  bool reconstruct_all(Solution* solution, const TerminationTest* test) {
    mpz_set_ui(modulus_.z(), Residue::modulus);
    mpz_pow_ui(modulus_.z(), modulus_.z(), digits_.size());
    mpz_set_ui(solution->denominator.z(), 1);
    // One that failed before is the first to be asked.
    for (std::size_t i = 0; i < size_; ++i) {
      if (test != nullptr) (*test)();
      const std::size_t index = (first_ + i) % size_;
      const Integer scaled = numerator(index, solution->denominator);
      if (scaled.bits() < modulus_.bits() / 4) continue;
      Integer residue = scaled, factor;
      mpz_fdiv_r(residue.z(), residue.z(), modulus_.z());
      if (!reconstruct(residue, modulus_, &factor)) return first_ = index, false;
      mpz_mul(solution->denominator.z(), solution->denominator.z(), factor.z());
      if (solution->denominator.bits() + 2 > modulus_.bits() / 2) return first_ = index, false;
    }
    solution->numerators.clear();
    for (std::size_t i = 0; i < size_; ++i) {
      if (test != nullptr) (*test)();
      solution->numerators.push_back(numerator(i, solution->denominator));
    }
    return true;
  }

 private:
  // `denominator` times the number, of least magnitude modulo the power of the prime.
  Integer numerator(std::size_t index, const Integer& denominator) const {
    Integer result;
    for (std::size_t k = digits_.size(); k-- > 0;) {
      mpz_mul_ui(result.z(), result.z(), Residue::modulus);
      mpz_add_ui(result.z(), result.z(), digits_[k][index]);
    }
    mpz_mul(result.z(), result.z(), denominator.z());
    mpz_fdiv_r(result.z(), result.z(), modulus_.z());
    Integer twice;
    mpz_mul_2exp(twice.z(), result.z(), 1);
    if (mpz_cmp(twice.z(), modulus_.z()) > 0) mpz_sub(result.z(), result.z(), modulus_.z());
    return result;
  }

  std::size_t size_;
  std::vector<std::vector<std::uint64_t>> digits_;  // the lowest first
  Integer modulus_;                                 // the prime to the number of digits
  std::size_t first_ = 0;
};

std::optional<IntegerSystem::Solution> IntegerSystem::solve(const std::vector<Integer>& b, bool transposed,
                                                            const TerminationTest* test) const {
  std::size_t b_bits = 0;
  for (const Integer& each : b) b_bits = std::max(b_bits, each.bits());
  const std::size_t enough = 4 + (2 * determinant_bits() + b_bits) * 2 / 60;
  std::vector<Integer> rest = b;
  Lifting lifting(b.size());
  std::size_t next_attempt = 2 + b_bits / 30;
  while (lifting.num_digits() <= enough) {
    if (test != nullptr) (*test)();
    std::vector<std::uint64_t> digit = residues(rest);
    transposed ? lu_.solve_transposed(&digit) : lu_.solve(&digit);
    subtract_product(digit, transposed, &rest);
    for (Integer& each : rest) mpz_divexact_ui(each.z(), each.z(), Residue::modulus);
    lifting.add_digit(std::move(digit));
    if (lifting.num_digits() < next_attempt && lifting.num_digits() <= enough) continue;
    next_attempt += 1 + next_attempt / 4;
    Solution solution;
    if (lifting.reconstruct_all(&solution, test) && is_solution(solution, b, transposed)) return solution;
  }
  return std::nullopt;
}

}  // namespace tarku::lp
