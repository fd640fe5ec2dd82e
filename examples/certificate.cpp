// A refutation as text that tarku-check accepts, and a core of which nothing can be left out.
#include "tarku/proof/certificate.h"

#include <iostream>

#include "tarku/smt/engine.h"
#include "tarku/smt/term.h"

using tarku::QNumber;
using tarku::smt::Op;
using tarku::smt::Sort;
using tarku::smt::Term;

int main() {
  tarku::smt::TermManager terms;
  tarku::smt::Engine engine(terms);
  const Term x = terms.mk_symbol("x", Sort::real), y = terms.mk_symbol("y", Sort::real);
  const Term one = terms.mk_real(QNumber(1));
  engine.assert_term(terms.mk(Op::less, x, y));
  engine.assert_term(terms.mk(Op::or_op, terms.mk(Op::greater, x, one), terms.mk(Op::equal, y, x)));
  engine.assert_term(terms.mk(Op::less_equal, y, one));
  if (engine.check() != tarku::smt::Answer::unsat) return 1;

  tarku::proof::CertificateWriter writer(std::cout);
  engine.certify(/*check=*/1, writer);
  const std::vector<int> core = engine.minimal_core([](int) { return true; });
  std::cout << "; none of " << core.size() << " assertions can be left out\n";
  return core.size() == 3 ? 0 : 1;
}
