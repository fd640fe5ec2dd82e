// How a session begins and begins again.
#include "tarku/smtlib/session.h"

#include <cassert>

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

void Session::push(std::uint64_t count) {
  if (count > 0) {
    assertions->push();
    symbols.push();
    shares_.push_back(count);
    num_levels_ += count;
  }
  change();
}

void Session::pop(std::uint64_t count) {
  assert(count <= num_levels_);
  const std::uint64_t remaining = num_levels_ - count;
  while (num_levels_ > remaining) {
    assertions->pop();
    symbols.pop();
    num_levels_ -= shares_.back();
    shares_.pop_back();
  }
  push(remaining - num_levels_);
}

void Session::reset_assertions() {
  symbols.pop_all();
  shares_.clear();
  num_levels_ = 0;
  renew_engine();
  change();
}

}  // namespace tarku::smtlib
