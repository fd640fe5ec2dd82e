#include "tarku/lp/short_conflict.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "tarku/lp/integer.h"

namespace tarku::lp {

namespace {

// A sum of sides, each with an integer as its factor, that is zero whatever the columns are.
using ZeroSum = std::vector<std::pair<int, QNumber>>;

QNumber to_qnumber(const Integer& value) {
  static const Integer one(1);
  return QNumber::from_fraction(value.z(), one.z());
}

// Rows, being added up.
class RowSum {
 public:
  explicit RowSum(const LinearProgram& program)
      : program_(program), rest_(static_cast<std::size_t>(program.num_columns())) {}

  void add(int row, const Integer& factor) {
    if (factor.is_zero()) return;
    sum_.emplace_back(program_.num_columns() + row, to_qnumber(factor));
    for (const Term& term : program_.terms(row)) {
      term.coeff.get_fraction(numerator_.z(), denominator_.z());
      mpz_submul(rest_[static_cast<std::size_t>(term.column)].z(), factor.z(), numerator_.z());
    }
  }
  // What of a column would be missing to zero.
  const Integer& rest(int column) const { return rest_[static_cast<std::size_t>(column)]; }

  ZeroSum take() {
    for (int j = 0; j < program_.num_columns(); ++j) {
      if (!rest(j).is_zero()) sum_.emplace_back(j, to_qnumber(rest(j)));
    }
    return std::move(sum_);
  }

 private:
  const LinearProgram& program_;
  ZeroSum sum_;
  std::vector<Integer> rest_;  // by column
  Integer numerator_, denominator_;
};

// The largest of the multipliers is rounded to so many bits, the others to as many places. Defined columns, which have
// no bounds, vanish: their definitions are added as often as that takes.
ZeroSum zero_sum(const LinearProgram& program, const std::vector<Multiplier>& ray, int bits) {
  double largest = 0;
  int last_exponent = 0;
  for (const Multiplier& m : ray) {
    largest = std::max(largest, std::abs(m.factor));
    last_exponent = std::max(last_exponent, program.exponent(m.row));
  }
  if (!(largest > 0) || !std::isfinite(largest)) return {};
  std::vector<bool> is_definition(static_cast<std::size_t>(program.num_rows()));
  for (const LinearProgram::Definition& d : program.definitions())
    is_definition[static_cast<std::size_t>(d.row)] = true;
  RowSum sum(program);
  Integer factor;
  for (const Multiplier& m : ray) {
    if (is_definition[static_cast<std::size_t>(m.row)]) continue;
    mpz_set_d(factor.z(), std::nearbyint(std::ldexp(m.factor, bits - std::ilogb(largest))));
    mpz_mul_2exp(factor.z(), factor.z(), static_cast<mp_bitcnt_t>(last_exponent - program.exponent(m.row)));
    sum.add(m.row, factor);
  }
  for (const LinearProgram::Definition& d : program.definitions()) {
    mpz_neg(factor.z(), sum.rest(d.column).z());
    sum.add(d.row, factor);
  }
  return sum.take();
}

class Contradiction {
 public:
  explicit Contradiction(const LinearProgram& program) : program_(program) {}

  // False when the bounds of the sides, multiplied by the factors or by their opposites, are none.
  bool read(const ZeroSum& sum, bool is_opposite) {
    summands_.clear();
    room_ = strict_ = QNumber();
    for (const auto& [side, factor] : sum) {
      const bool is_upper = factor.is_negative() != is_opposite;
      const std::optional<Bound>& bound = is_upper ? program_.side(side).upper : program_.side(side).lower;
      if (!bound) return false;
      summands_.push_back({side, is_upper, factor.abs()});
      is_upper ? room_.add_mul(summands_.back().multiplier, bound->value)
               : room_.sub_mul(summands_.back().multiplier, bound->value);
      if (bound->is_strict) strict_ += summands_.back().multiplier;
    }
    return room_.is_negative() || (room_.is_zero() && strict_.is_positive());
  }

  // Goes over to permanent bounds, as long as what is missing to a contradiction allows it.
  void weaken() {
    std::vector<std::pair<QNumber, std::size_t>> costs;
    for (std::size_t i = 0; i < summands_.size(); ++i) {
      const Summand& summand = summands_[i];
      const Side* const permanent = program_.permanent(summand.side);
      if (permanent == nullptr) return;
      const std::optional<Bound>& wide = summand.is_upper ? permanent->upper : permanent->lower;
      if (!wide) continue;
      const Side& side = program_.side(summand.side);
      const QNumber step = wide->value - (summand.is_upper ? side.upper : side.lower)->value;
      costs.emplace_back(summand.multiplier * step.abs(), i);
    }
    std::sort(costs.begin(), costs.end());
    for (const auto& [cost, i] : costs) {
      if (!(room_ + cost).is_negative()) return;
      room_ += cost;
      summands_[i].is_permanent = true;
    }
  }

  std::vector<Summand> take() { return std::move(summands_); }

 private:
  const LinearProgram& program_;
  std::vector<Summand> summands_;
  QNumber room_;    // what the bounds leave; less than nothing is a contradiction
  QNumber strict_;  // the multipliers of strict bounds
};

}  // namespace

std::vector<Summand> short_conflict(const LinearProgram& program, const std::vector<Multiplier>& ray) {
  Contradiction contradiction(program);
  for (const int bits : {16, 40}) {
    const ZeroSum sum = zero_sum(program, ray, bits);
    for (const bool is_opposite : {false, true}) {
      if (sum.empty() || !contradiction.read(sum, is_opposite)) continue;
      contradiction.weaken();
      return contradiction.take();
    }
  }
  return {};
}

}  // namespace tarku::lp
