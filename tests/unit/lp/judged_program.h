// Linear programs for tests: short ways to write them, random ones, and a judge of outcomes that shares nothing with
// what is tested.
#pragma once

#include <gmpxx.h>

#include <cstddef>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tarku/lp/guide.h"
#include "tarku/lp/linear_program.h"
#include "tests/unit/support/fourier_motzkin.h"

namespace tarku::lp::test {

inline mpq_class to_mpq(const QNumber& value) {
  mpq_class result;
  value.get_fraction(result.get_num_mpz_t(), result.get_den_mpz_t());
  return result;
}

// What a guide of its own says.
inline Outcome consult(LinearProgram& p, Proposer& proposer, const TerminationTest* stop) {
  return Guide(p, proposer).decide(stop);
}
inline Outcome consult(LinearProgram&& p, Proposer& proposer, const TerminationTest* stop) {
  return consult(p, proposer, stop);
}

// ---- writing ----

inline std::optional<Bound> bound(const QNumber& value, bool is_strict = false) {
  return Bound{value, is_strict, 0};
}
inline Side free_side() {
  return {};
}
inline Side at_least(const QNumber& value) {
  return {bound(value), std::nullopt};
}
inline Side at_most(const QNumber& value) {
  return {std::nullopt, bound(value)};
}
inline Side above(const QNumber& value) {
  return {bound(value, true), std::nullopt};
}
inline Side below(const QNumber& value) {
  return {std::nullopt, bound(value, true)};
}
inline Side between(const QNumber& lower, const QNumber& upper) {
  return {bound(lower), bound(upper)};
}
inline Side exactly(const QNumber& value) {
  return between(value, value);
}

struct RowText {
  std::vector<Term> terms;
  Side side;
};

inline LinearProgram program(const std::vector<Side>& columns, const std::vector<RowText>& rows) {
  LinearProgram result;
  for (const Side& side : columns) result.column(result.add_column()) = side;
  for (const RowText& row : rows) result.row(result.add_row(row.terms)) = row.side;
  return result;
}

// ---- judging ----

// The side as a form over the columns.
inline tarku::test::LinearForm form_of(const LinearProgram& program, int side) {
  tarku::test::LinearForm form;
  if (side < program.num_columns()) {
    form.coeffs[side] = 1;
    return form;
  }
  for (const Term& term : program.terms(side - program.num_columns())) form.coeffs[term.column] = to_mpq(term.coeff);
  return form;
}

// What is at least 0 when the bound is kept.
inline tarku::test::LinearForm room_of(const LinearProgram& program, int side, bool is_upper) {
  const Bound& limit = is_upper ? *program.side(side).upper : *program.side(side).lower;
  tarku::test::LinearForm room;
  room.add(form_of(program, side), is_upper ? -1 : 1);
  room.real = is_upper ? to_mpq(limit.value) : mpq_class(-to_mpq(limit.value));
  room.delta = limit.is_strict ? -1 : 0;
  return room;
}

// By Fourier-Motzkin elimination: for small programs only.
inline bool is_feasible(const LinearProgram& program) {
  std::vector<tarku::test::LinearForm> rooms;
  for (int s = 0; s < program.num_sides(); ++s) {
    if (program.side(s).lower) rooms.push_back(room_of(program, s, false));
    if (program.side(s).upper) rooms.push_back(room_of(program, s, true));
  }
  return tarku::test::feasible({}, std::move(rooms));
}

// The value of the side as the columns have it.
inline mpq_class value_of(const LinearProgram& program, int side, const std::vector<QNumber>& values) {
  mpq_class sum;
  for (const auto& [column, coeff] : form_of(program, side).coeffs) {
    sum += coeff * to_mpq(values[static_cast<std::size_t>(column)]);
  }
  return sum;
}

// Empty, or what is wrong with them.
inline std::string offence_of_values(const LinearProgram& program, const std::vector<QNumber>& values) {
  if (values.size() != static_cast<std::size_t>(program.num_sides())) return "not one value for each side";
  for (int s = 0; s < program.num_sides(); ++s) {
    const mpq_class value = to_mpq(values[static_cast<std::size_t>(s)]);
    const std::string name = "side " + std::to_string(s);
    if (value != value_of(program, s, values)) return name + " is not its sum";
    for (const bool is_upper : {false, true}) {
      const std::optional<Bound>& limit = is_upper ? program.side(s).upper : program.side(s).lower;
      if (!limit) continue;
      const mpq_class room = is_upper ? to_mpq(limit->value) - value : value - to_mpq(limit->value);
      if (room < 0 || (limit->is_strict && room == 0)) return name + " violates a bound";
    }
  }
  return "";
}

inline std::string offence_of_conflict(const LinearProgram& program, const std::vector<Summand>& conflict) {
  tarku::test::LinearForm sum;
  for (const Summand& summand : conflict) {
    if (summand.side < 0 || summand.side >= program.num_sides()) return "no such side";
    const Side& side = program.side(summand.side);
    if (!(summand.is_upper ? side.upper : side.lower)) return "no such bound";
    if (!summand.multiplier.is_positive()) return "a multiplier is not positive";
    sum.add(room_of(program, summand.side, summand.is_upper), to_mpq(summand.multiplier));
  }
  if (!sum.coeffs.empty()) return "terms are left";
  return sum.constant_sign() < 0 ? "" : "no contradiction";
}

// Empty for none: that claims nothing.
inline std::string offence(const LinearProgram& program, const Outcome& outcome) {
  switch (outcome.kind) {
    case Outcome::Kind::feasible:
      return offence_of_values(program, outcome.values);
    case Outcome::Kind::infeasible:
      return offence_of_conflict(program, outcome.conflict);
    default:
      return "";
  }
}

// ---- random programs ----

class RandomPrograms {
 public:
  explicit RandomPrograms(unsigned seed) : random_(seed) {}

  int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }

  QNumber number() {
    switch (pick(0, 9)) {
      case 0:
        return QNumber(1L, 3L);
      case 1:
        return QNumber(-7L, 2L);
      default:
        return QNumber(pick(-3, 3));
    }
  }

  // With few_strict, one bound in ten is strict, otherwise one in two.
  Side side(bool few_strict) {
    Side result;
    if (pick(0, 2) != 0) result.lower = bound(number(), pick(0, few_strict ? 9 : 1) == 0);
    if (pick(0, 2) != 0) {
      const bool is_above = result.lower && pick(0, 5) != 0;  // the others may contradict themselves
      result.upper =
          bound(is_above ? result.lower->value + number().abs() : number(), pick(0, few_strict ? 9 : 1) == 0);
    }
    if (result.lower && pick(0, 5) == 0) result.upper = result.lower;
    return result;
  }

  LinearProgram operator()(int num_columns, int num_rows, bool few_strict = true) {
    LinearProgram result;
    for (int j = 0; j < num_columns; ++j) result.column(result.add_column()) = side(few_strict);
    for (int i = 0; i < num_rows; ++i) {
      std::vector<Term> terms;
      for (int j = 0; j < num_columns; ++j) {
        const int coeff = pick(-3, 3);
        if (coeff != 0 && pick(0, 2) != 0) terms.push_back({j, QNumber(coeff)});
      }
      result.row(result.add_row(std::move(terms))) = side(few_strict);
    }
    return result;
  }

 private:
  std::mt19937 random_;
};

}  // namespace tarku::lp::test
