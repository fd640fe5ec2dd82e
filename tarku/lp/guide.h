// Guide: decides linear programs exactly where a floating-point solver tells it to look.
//
// The solver proposes a basis. Its exact vertex is computed, and either satisfies all bounds, or violates some. Those
// give a sum of bounds that contradicts itself if the proposal was that there is no solution and it is right. Otherwise
// the floating-point solver looks again, through a magnifying glass: the differences from the vertex, scaled up until
// the violations are as large as 1 (Ambros M. Gleixner, Daniel E. Steffy, Kati Wolter, "Iterative refinement for
// linear programming", 2016).
//
// Both answers carry their proof: values that satisfy all bounds, or multipliers of bounds whose sum is a
// contradiction.
#pragma once

#include <vector>

#include "tarku/lp/linear_program.h"
#include "tarku/lp/proposer.h"
#include "tarku/termination_test.h"

namespace tarku::lp {

struct Summand {
  int side;
  bool is_upper;
  QNumber multiplier;  // positive
};

struct Outcome {
  enum class Kind { none, feasible, infeasible };
  Kind kind = Kind::none;
  std::vector<QNumber> values;    // feasible: by side
  std::vector<Summand> conflict;  // infeasible: the bounds, so multiplied, add up to a contradiction
};

// Gives none when the proposals lead nowhere. Polls `test`, null for none; what it throws passes through.
Outcome consult(const LinearProgram& program, Proposer& proposer, const TerminationTest* test);

}  // namespace tarku::lp
