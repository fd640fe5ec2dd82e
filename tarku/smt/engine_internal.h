// What the parts of the engine share and nobody else sees.
#pragma once

#include <new>
#include <utility>

#include "tarku/la/lasolver.h"
#include "tarku/proof/checker/checker.h"
#include "tarku/smt/engine.h"
#include "tarku/smt/guided_arithmetic.h"
#include "tarku/smt/memory.h"
#include "tarku/smt/pacing.h"
#include "tarku/smt/term_assertions.h"
#include "tarku/smt/tightening.h"

namespace tarku::smt {

// The termination test is polled once per so many steps of the cheap loops outside the search.
constexpr std::size_t poll_period = 16;

// 1/n for the least n that keeps it at or below `limit`, or 1: what is chosen for the infinitesimal ends up in every
// value, so it should be short.
inline QNumber short_fraction(const QNumber& limit) {
  if (!(limit < QNumber(1))) return QNumber(1);
  return limit.inverse().neg().floor().neg().inverse();
}

// The solver with values for people to read.
class Engine::TheorySolver : public la::Solver {
 public:
  explicit TheorySolver(int verbosity) : la::Solver(true, verbosity) {}

  void set_delta_value(QNumber& delta) override { delta = short_fraction(delta) / QNumber(divisor_); }
  // Models are built with so many times smaller infinitesimals.
  void set_divisor(int divisor) { divisor_ = divisor; }

 private:
  int divisor_ = 1;
};

// The solver's settings for a search, put back however it ends.
struct Engine::PacedSearch {
  explicit PacedSearch(Engine& owner) : engine(owner), pacer(*owner.solver_, &owner.limiter_) {
    engine.solver_->termination_test_ = &pacer;
  }
  PacedSearch(const PacedSearch&) = delete;
  PacedSearch& operator=(const PacedSearch&) = delete;
  ~PacedSearch() {
    engine.solver_->termination_test_ = &engine.limiter_;
    engine.solver_->pivot_limit_override_ = 0;
  }

  Engine& engine;
  Pacer pacer;
};

// A checker that stays: what rests on permanent assertions alone is checked once.
struct Engine::SearchChecker {
  explicit SearchChecker(Engine& engine)
      : assertions(engine.terms_, {[&engine](std::uint64_t index) {
                                     const Assertion* const found = engine.find_assertion(index);
                                     return found != nullptr ? found->formula : Term();
                                   },
                                   [&engine](int variable) { return engine.atoms_.symbol(variable); },
                                   [&engine](int variable) { return engine.search_->clauses().symbol_of(variable); }}),
        checker(&assertions) {
    checker.begin(0);
  }
  TermAssertions assertions;
  checker::Checker checker;
  ClauseBase::Told told;
};

// A call about an answer, within limits. When it leaves the solver without the values that the answer is about, the
// answer is forgotten.
template <class Call>
auto Engine::within_limits(Call&& call) {
  const Limiter::Run running(limiter_);
  try {
    return std::forward<Call>(call)();
  } catch (const std::bad_alloc&) {
    discard();
    throw MemoryOut();
  } catch (...) {
    if (solver_->tableau_.is_broken()) forget_answer();
    mend();
    throw;
  }
}

}  // namespace tarku::smt
