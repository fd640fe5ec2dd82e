// Many questions about one set of assertions, each with assumptions of its own.
#include <iostream>
#include <vector>

#include "tarku/smt/engine.h"
#include "tarku/smt/term.h"

using tarku::QNumber;
using tarku::smt::Answer;
using tarku::smt::Engine;
using tarku::smt::Op;
using tarku::smt::Sort;
using tarku::smt::Term;
using tarku::smt::TermManager;

int main() {
  TermManager terms;
  Engine engine(terms);
  const Term speed = terms.mk_symbol("speed", Sort::real), time = terms.mk_symbol("time", Sort::real);
  const Term motorway = terms.mk_symbol("motorway", Sort::boolean);
  const auto number = [&terms](long n) { return terms.mk_real(QNumber(n)); };

  // [terms]
  // Faster than 80 is for the motorway, which takes a detour of half an hour.
  engine.assert_term(terms.mk(Op::or_op, motorway, terms.mk(Op::less_equal, speed, number(80))));
  const Term detour = terms.mk(Op::ite, motorway, terms.mk_real(QNumber(1, 2)), number(0));
  const Term lost = terms.mk(Op::divide, terms.mk(Op::subtract, number(120), speed), number(20));
  engine.assert_term(terms.mk(Op::equal, time, terms.mk(Op::add, lost, detour)));
  // [/terms]
  engine.assert_term(terms.mk(Op::less_equal, speed, number(130)));

  // [check]
  const std::vector<Term> wishes{terms.mk(Op::less, time, number(1)), terms.mk(Op::greater, speed, number(50)),
                                 terms.mk(Op::not_op, motorway)};
  if (engine.check(wishes) == Answer::unsat) {
    for (const std::size_t i : engine.failed_assumptions()) std::cout << "wish " << i << " is in the way\n";
  }
  if (engine.check({wishes[0], wishes[1]}) == Answer::sat) {
    std::cout << "at " << engine.real_value(speed).to_str() << (engine.bool_value(motorway) ? " on the motorway" : "")
              << '\n';
  }
  // [/check]
  return engine.bool_value(motorway) ? 0 : 1;
}
