// Proposer: a solver with floating-point numbers that proposes where to look.
//
// A proposal is a basis: for each side of the program, whether it is basic or at which of its bounds it stands; as many
// sides are basic as there are rows. With it comes a claim, that the program has a solution or not. Nothing of it is
// believed.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "tarku/lp/linear_program.h"
#include "tarku/termination_test.h"

namespace tarku::lp {

enum class Place : std::uint8_t { basic, lower, upper, free };
using Basis = std::vector<Place>;  // by side

// Ways to search, those first that are the fastest as a rule. Where one is led astray by rounding, another may not be.
enum class Method : std::uint8_t { dual, unscaled_dual, primal, unscaled_primal };
constexpr Method last_method = Method::unscaled_primal;

enum class Claim : std::uint8_t { none, feasible, infeasible };
// A basic side that a claim of infeasibility may rest on: it seems to be beyond one of its bounds.
struct Suspect {
  int side;
  bool is_upper;
};
// A row, divided by two to its exponent, and its factor in a sum that contradicts the bounds of its sides.
struct Multiplier {
  int row;
  double factor;
};
struct Proposal {
  Basis basis;  // empty when there is none
  Claim claim = Claim::none;
  std::vector<Suspect> suspects;  // with a claim of infeasibility: a few, the likeliest first
  std::vector<Multiplier> ray;    // likewise, if it is known; up to the common sign
};

class Proposer {
 public:
  virtual ~Proposer() = default;

  // Searches on from where the last search with this method ended, for so many iterations at most, and proposes where
  // it ends. Polls `test`, null for none; what it throws passes through.
  virtual Proposal propose(Method method, int iterations, const TerminationTest* test) = 0;

  // Searches on from there with a primal method, whatever the last one was: what a dual method takes for infeasible may
  // only be too far away. Needs: a proposal that claims infeasibility, and the same bounds.
  virtual Proposal confirm(int iterations, const TerminationTest* test) = 0;

  // Of a side, at the end of the last search that claimed feasibility, without zooming.
  virtual double value(int side) = 0;
  // Whether the values of all sides there satisfy the bounds as they are now. Needs: not zoomed.
  virtual bool are_values_feasible() = 0;

  // Looks through a magnifying glass from now on: for the differences from `values`, which satisfy the equations of the
  // program, times `scale`.
  virtual void zoom(const std::vector<QNumber>& values, const QNumber& scale) = 0;
  // Looks at the program as it is, again.
  virtual void unzoom() = 0;

  // The bounds of a side have changed. Needs: not zoomed.
  virtual void refresh(int side) = 0;
};

// Null when no such solver is installed, or when the coefficients are too large for it. The program must outlive the
// proposer.
std::unique_ptr<Proposer> make_proposer(const LinearProgram& program);

// Whether one is installed.
bool has_proposer();

}  // namespace tarku::lp
