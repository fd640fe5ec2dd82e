// A check that is limited, or stopped by another thread, answers unknown, and the session goes on.
#include <cstdint>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "tarku/numbers/allocation.h"
#include "tarku/smt/engine.h"
#include "tarku/smt/term.h"

using tarku::QNumber;
using tarku::smt::Answer;
using tarku::smt::Engine;
using tarku::smt::Op;
using tarku::smt::Term;
using tarku::smt::TermManager;

// More pigeons than holes: every pigeon sits at a whole number below `holes`, and no two at the same one.
void assert_pigeons(TermManager& terms, Engine& engine, int holes) {
  std::vector<Term> pigeons;
  for (int i = 0; i <= holes; ++i)
    pigeons.push_back(terms.mk_symbol("pigeon" + std::to_string(i), tarku::smt::Sort::real));
  for (const Term pigeon : pigeons) {
    std::vector<Term> places;
    for (int hole = 0; hole < holes; ++hole)
      places.push_back(terms.mk(Op::equal, pigeon, terms.mk_real(QNumber(hole))));
    engine.assert_term(terms.mk(Op::or_op, places));
  }
  engine.assert_term(terms.mk(Op::distinct, pigeons));
}

int main() {
  tarku::throw_when_numbers_run_out_of_memory();
  TermManager terms;
  Engine engine(terms);
  engine.push();
  assert_pigeons(terms, engine, 12);

  // [limits]
  tarku::smt::Limits limits;
  limits.seconds = 0.05;
  limits.memory = std::uint64_t{1} << 30;  // bytes
  limits.work = 100000000;                 // steps, the same on every machine
  engine.set_limits(limits);
  if (engine.check() == Answer::unknown) std::cout << "stopped: " << engine.reason_unknown() << '\n';
  // [/limits]
  if (engine.reason_unknown() != "timeout") return 1;

  // [thread]
  engine.set_limits({});
  std::thread other([&engine] {
    while (!engine.interrupt()) std::this_thread::yield();  // false as long as no check is running
  });
  const Answer answer = engine.check();
  other.join();
  // [/thread]
  std::cout << "stopped: " << engine.reason_unknown() << '\n';

  engine.pop();
  return answer == Answer::unknown && engine.check() == Answer::sat ? 0 : 1;
}
