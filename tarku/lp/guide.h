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

#include <utility>
#include <vector>

#include "tarku/lp/linear_program.h"
#include "tarku/lp/proposer.h"
#include "tarku/lp/short_conflict.h"
#include "tarku/lp/vertex.h"
#include "tarku/termination_test.h"

namespace tarku::lp {

struct Outcome {
  enum class Kind { none, feasible, infeasible };
  Kind kind = Kind::none;
  std::vector<QNumber> values;    // feasible: by side
  std::vector<Summand> conflict;  // infeasible: the bounds, so multiplied, add up to a contradiction
};

class Guide {
 public:
  // Both must outlive the guide. The bounds of the program may change between the calls, when refresh is told.
  Guide(LinearProgram& program, Proposer& proposer) : program_(program), proposer_(proposer) {}

  void refresh(int side) { proposer_.refresh(side); }

  // Decides the program; gives none when the proposals lead nowhere. Polls `test`, null for none; what it throws passes
  // through.
  Outcome decide(const TerminationTest* test);

  // Looks whether the program is infeasible, and believes at once that it is not.
  Outcome look(const TerminationTest* test);
  // Whether it had to ask the proposer for that.
  bool has_moved() const { return has_moved_; }

 private:
  struct Violation {
    int side;
    bool is_upper;
    QNumber excess;
  };
  struct Sum;

  int iteration_limit() const { return 10000 + 50 * program_.num_sides(); }
  Outcome contradictory_bounds();
  void find_violations();
  void add_violation(int side, bool is_upper, QNumber excess);
  Outcome feasible() const;
  Outcome look_for_conflict(const TerminationTest* test);
  Outcome conflict_of(const std::vector<Multiplier>& ray) const;
  Outcome conflict_of(const std::vector<Suspect>& suspects, const TerminationTest* test);
  bool add_summand(int side, bool is_upper, const QNumber& multiplier, Sum* sum) const;
  QNumber scale() const;

  LinearProgram& program_;
  Proposer& proposer_;
  Vertex vertex_;
  std::vector<Violation> violations_;  // the largest first
  bool has_moved_ = false;
  QNumber wanted_margin_;  // a smaller one, with which a failed conflict might have been one; or zero
};

}  // namespace tarku::lp
