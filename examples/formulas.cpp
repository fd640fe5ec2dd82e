// The engine on formulas: two jobs on one machine must not overlap, and both have to be done in time.
#include <iostream>

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
  engine.set_check_answers(true);  // evaluate every model, check every refutation

  const Term a = terms.mk_symbol("a", Sort::real), b = terms.mk_symbol("b", Sort::real);  // starting times
  const auto number = [&terms](long n) { return terms.mk_real(QNumber(n)); };
  const auto end = [&](Term start, long duration) { return terms.mk(Op::add, start, number(duration)); };

  engine.assert_term(terms.mk(Op::greater_equal, a, number(0)));
  engine.assert_term(terms.mk(Op::greater_equal, b, number(2)));
  engine.assert_term(
      terms.mk(Op::or_op, terms.mk(Op::less_equal, end(a, 3), b), terms.mk(Op::less_equal, end(b, 4), a)));
  engine.assert_term(terms.mk(Op::less_equal, end(a, 3), number(7)));
  const int deadline = engine.assert_term(terms.mk(Op::less_equal, end(b, 4), number(7)));
  if (engine.check() != Answer::sat) return 1;
  std::cout << "a starts at " << engine.real_value(a).to_str() << ", b at " << engine.real_value(b).to_str() << '\n';

  engine.push();  // what if b had to be done half an hour earlier?
  const int earlier = engine.assert_term(terms.mk(Op::less, end(b, 4), terms.mk_real(QNumber(13, 2))));
  if (engine.check() != Answer::unsat) return 1;
  std::cout << "not with the assertions";
  for (const int index : engine.unsat_core()) {
    std::cout << ' ' << index << (index == earlier ? " (the earlier one)" : index == deadline ? " (the deadline)" : "");
  }
  std::cout << '\n';
  engine.pop();
  return engine.check() == Answer::sat ? 0 : 1;
}
