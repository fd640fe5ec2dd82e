// Pacer: interrupts a search that makes no progress, so that its owner can change the rule and go on.
//
// The solver's cheap pivot rule is quick on most problems and may run in circles on some; the smallest-index rule
// always ends, and often late. Neither is known to win beforehand, so the engine alternates between them. A round lasts
// as long as the number of violated variables reaches new minima, and then for so many iterations more (its patience);
// each round starts from the basis that the one before has left. Patience grows from round to round without limit, and
// so some smallest-index round is long enough to end the search.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "tarku/la/varset.h"
#include "tarku/termination_test.h"

namespace tarku::smt {

class Pacer : public TerminationTest {
 public:
  struct Stuck {};  // thrown when the round is over

  // `violated` is watched; `inner` is polled as well, null for none.
  Pacer(const la::VarSparseSet& violated, TerminationTest* inner) : violated_(violated), inner_(inner) {}

  void start_round(std::uint64_t patience) {
    patience_ = left_ = patience;
    fewest_ = std::numeric_limits<std::size_t>::max();
  }

  void operator()() const override {
    if (inner_ != nullptr) (*inner_)();
    if (violated_.size() < fewest_) {
      fewest_ = violated_.size();
      left_ = patience_;
    }
    if (left_-- == 0) throw Stuck();
  }

 private:
  const la::VarSparseSet& violated_;
  TerminationTest* inner_;
  std::uint64_t patience_ = 0;
  // The interface of a test is const, this one counts.
  mutable std::uint64_t left_ = 0;  // iterations until it gives up
  mutable std::size_t fewest_ = 0;  // smallest number of violated variables in this round
};

}  // namespace tarku::smt
