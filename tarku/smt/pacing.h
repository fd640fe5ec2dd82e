// Pacer: ends a search that has used up its share of work, or makes no progress, so that its owner can change the plan.
//
// How long the simplex search takes depends on how the problem is put to it, by factors of a hundred and in ways that
// nobody can tell beforehand. So the engine tries two ways:
//
//   one by one   Search after each pushed bound that some value violates. That keeps the tableau sparse on most
//                problems, and goes astray on some: it is given a share of work in proportion to the problem.
//   all at once  Push everything, then search, in rounds that alternate between the solver's cheap pivot rule, which is
//                quick as a rule and may run in circles, and the smallest-index rule, which always ends, and often
//                late. A round lasts while the number of violated variables reaches new minima, and then for so many
//                iterations more (its patience). Patience grows without limit, and so some smallest-index round is long
//                enough to end the search.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <utility>

#include "tarku/la/lasolver.h"
#include "tarku/termination_test.h"

namespace tarku::smt {

class Pacer : public TerminationTest {
 public:
  struct Spent {};  // thrown in the middle of a search
  static constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

  // `inner` is polled as well, null for none.
  Pacer(const la::Solver& solver, TerminationTest* inner) : solver_(solver), inner_(inner) {}

  // Allows `work` more row combinations, in the tableau's measure, and `patience` iterations without progress.
  void start_round(std::uint64_t work, std::uint64_t patience) {
    last_work_ = work == unlimited ? unlimited : solver_.tableau_.work() + work;
    patience_ = left_ = patience;
    fewest_ = std::numeric_limits<std::size_t>::max();
  }

  // Gives up when `is_spent` says so, too.
  void set_verdict(std::function<bool()> is_spent) { is_spent_ = std::move(is_spent); }

  void operator()() const override {
    if (inner_ != nullptr) (*inner_)();
    if (is_spent_ && is_spent_()) throw Spent();
    if (solver_.violated_basics_.size() < fewest_) {
      fewest_ = solver_.violated_basics_.size();
      left_ = patience_;
    }
    if (left_-- == 0 || solver_.tableau_.work() > last_work_) throw Spent();
  }

 private:
  const la::Solver& solver_;
  TerminationTest* inner_;
  std::function<bool()> is_spent_;
  std::uint64_t last_work_ = unlimited;
  std::uint64_t patience_ = unlimited;
  // The interface of a test is const, this one counts.
  mutable std::uint64_t left_ = unlimited;  // iterations until it gives up
  mutable std::size_t fewest_ = 0;          // smallest number of violated variables in this round
};

}  // namespace tarku::smt
