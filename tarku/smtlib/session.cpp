// How a session begins and begins again.
#include "tarku/smtlib/session.h"

#include "tarku/smtlib/theory.h"

namespace tarku::smtlib {

Session::Session()
    : reader(symbols),
      sorts(reader, symbols),
      macros(terms),
      term_parser(reader, symbols, sorts, terms, macros),
      engine(std::make_unique<smt::Engine>(terms)) {
  bind_theory_names(&symbols, &terms);
}

void Session::reset_assertions() {
  symbols.pop_all();
  engine = std::make_unique<smt::Engine>(terms);
  assertion_names.clear();
  change();
}

}  // namespace tarku::smtlib
