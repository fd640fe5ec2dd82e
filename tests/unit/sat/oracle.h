// The slow judge of SAT solvers in tests: tries all assignments.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <optional>
#include <random>
#include <vector>

#include "tarku/sat/literal.h"

namespace tarku::test {

// An assignment to the variables 1, 2, ...: bit 0, 1, ...
using Bits = std::uint32_t;

inline bool holds(sat::Literal literal, Bits bits) {
  return ((bits >> (std::abs(literal) - 1)) & 1) == (literal > 0 ? 1u : 0u);
}

inline bool holds(const sat::Clause& clause, Bits bits) {
  for (const sat::Literal literal : clause) {
    if (holds(literal, bits)) return true;
  }
  return false;
}

struct Problem {
  int num_variables = 0;
  std::vector<sat::Clause> clauses;
  std::function<bool(Bits)> also = [](Bits) { return true; };  // what a theory adds

  bool is_model(Bits bits) const {
    for (const sat::Clause& clause : clauses) {
      if (!holds(clause, bits)) return false;
    }
    return also(bits);
  }

  // A model in which all the literals hold.
  std::optional<Bits> find_model(const std::vector<sat::Literal>& assumptions = {}) const {
    for (Bits bits = 0; bits < (Bits{1} << num_variables); ++bits) {
      bool assumed = true;
      for (const sat::Literal literal : assumptions) assumed = assumed && holds(literal, bits);
      if (assumed && is_model(bits)) return bits;
    }
    return std::nullopt;
  }
};

// Draws small things.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : engine_(seed) {}
  int below(int n) { return static_cast<int>(engine_() % static_cast<std::uint64_t>(n)); }
  int between(int low, int high) { return low + below(high - low + 1); }
  bool chance(int percent) { return below(100) < percent; }
  sat::Literal literal(int num_variables) { return between(1, num_variables) * (chance(50) ? 1 : -1); }
  sat::Clause clause(int num_variables, int size) {
    sat::Clause clause;
    for (int i = 0; i < size; ++i) clause.push_back(literal(num_variables));
    return clause;
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace tarku::test
