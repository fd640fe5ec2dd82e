// A search that is stopped from outside answers unknown, and the session goes on.
#include <chrono>
#include <iostream>
#include <string>
#include <vector>

#include "tarku/smt/engine.h"
#include "tarku/smt/term.h"
#include "tarku/termination_test.h"

using tarku::QNumber;
using tarku::smt::Op;
using tarku::smt::Term;

// Polled during the search, also in the midst of a pivot. A flag that another thread sets works the same way.
class Deadline : public tarku::TerminationTest {
 public:
  explicit Deadline(std::chrono::milliseconds time) : end_(std::chrono::steady_clock::now() + time) {}
  void operator()() const override {
    if (std::chrono::steady_clock::now() < end_) return;
    tarku::smt::Interrupted stop;
    stop << "timeout";
    throw stop;
  }

 private:
  std::chrono::steady_clock::time_point end_;
};

int main() {
  tarku::smt::TermManager terms;
  tarku::smt::Engine engine(terms);
  // More pigeons than holes: every pigeon sits at a whole number below 9, and no two at the same one.
  constexpr int holes = 9;
  std::vector<Term> pigeons;
  for (int i = 0; i <= holes; ++i)
    pigeons.push_back(terms.mk_symbol("pigeon" + std::to_string(i), tarku::smt::Sort::real));
  for (const Term pigeon : pigeons) {
    std::vector<Term> places;
    for (int hole = 0; hole < holes; ++hole)
      places.push_back(terms.mk(Op::equal, pigeon, terms.mk_real(QNumber(hole))));
    engine.assert_term(terms.mk(Op::or_op, places));
  }
  engine.push();
  engine.assert_term(terms.mk(Op::distinct, pigeons));

  Deadline deadline(std::chrono::milliseconds(50));
  engine.set_termination_test(&deadline);
  const tarku::smt::Answer answer = engine.check();
  std::cout << (answer == tarku::smt::Answer::unknown ? "stopped: " + engine.reason_unknown() : "decided in time")
            << '\n';

  engine.set_termination_test(nullptr);
  engine.pop();
  return engine.check() == tarku::smt::Answer::sat && answer != tarku::smt::Answer::sat ? 0 : 1;
}
