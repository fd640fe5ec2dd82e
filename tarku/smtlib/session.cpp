// How a session begins and begins again.
#include "tarku/smtlib/session.h"

#include "tarku/smtlib/theory.h"

namespace tarku::smtlib {

Session::Session()
    : reader(symbols), sorts(reader, symbols), macros(terms), term_parser(reader, symbols, sorts, terms, macros) {
  bind_theory_names(&symbols, &terms);
  renew_engine();
}

void Session::renew_engine() {
  assertions.reset();
  engine = std::make_unique<smt::Engine>(terms);
  assertions = std::make_unique<AssertionStack>(*engine);
}

void Session::reset_assertions() {
  symbols.pop_all();
  renew_engine();
  change();
}

}  // namespace tarku::smtlib
