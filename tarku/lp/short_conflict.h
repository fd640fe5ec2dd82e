// Contradictions with short multipliers, from rounded ones.
//
// Any sum of rows is an exact statement about the columns. When all that is in it is bounded it need not vanish in the
// columns: what rounding leaves of them is estimated by their bounds, and as long as the sum contradicts its bounds
// even so it is as good a proof as any (Arnold Neumaier, Oleg Shcherbina, "Safe bounds in linear and mixed-integer
// linear programming", 2004). No system of equations has to be solved for it.
#pragma once

#include <vector>

#include "tarku/lp/linear_program.h"
#include "tarku/lp/proposer.h"
#include "tarku/numbers/qnumber.h"

namespace tarku::lp {

// A bound in a sum that contradicts itself.
struct Summand {
  int side;
  bool is_upper;
  QNumber multiplier;         // positive
  bool is_permanent = false;  // the permanent bound on that end is meant
};

// The bounds whose sum is a contradiction, permanent ones where it can spare the others; empty when `ray` does not lead
// to one.
std::vector<Summand> short_conflict(const LinearProgram& program, const std::vector<Multiplier>& ray);

}  // namespace tarku::lp
