// What a name of a script may stand for.
#pragma once

#include <cstdint>

#include "tarku/smt/term.h"

namespace tarku::smtlib {

// A finished term, or, inside the body of a function definition, a slot of it: the value of a subterm that depends on
// the parameters and becomes a term with each application (macro.h).
struct Value {
  static constexpr std::uint32_t no_slot = 0xffffffffu;

  smt::Term term;
  std::uint32_t slot = no_slot;

  static Value closed(smt::Term term) { return {term, no_slot}; }
  static Value open(std::uint32_t slot) { return {smt::Term(), slot}; }
  bool is_closed() const { return slot == no_slot; }
};

// The meaning of a symbol where a term is expected.
struct Binding {
  enum class Kind : std::uint8_t {
    none,
    value,    // a constant, a variable of a `let`, a parameter, or the name of a term
    op,       // an operator of the theory
    to_real,  // the identity, because all numbers are reals
    macro     // a defined function with parameters
  };

  Kind kind = Kind::none;
  bool is_theory = false;  // cannot be declared again
  smt::Op op = smt::Op::truth;
  std::uint32_t macro = 0;  // index in the MacroTable
  Value value;

  static Binding to_value(Value value) { return {Kind::value, false, smt::Op::truth, 0, value}; }
  static Binding to_op(smt::Op op) { return {Kind::op, true, op, 0, {}}; }
  static Binding to_macro(std::uint32_t index) { return {Kind::macro, false, smt::Op::truth, index, {}}; }
};

// What a sort expression comes to. There are no sorts with content, so whatever is written is a sort or, in a
// definition with parameters, one of the parameters.
struct SortTerm {
  bool is_parameter = false;
  std::uint32_t parameter = 0;
  smt::Sort sort = smt::Sort::boolean;
};

// The meaning of a symbol where a sort is expected.
struct SortBinding {
  bool is_bound = false;
  bool is_theory = false;
  std::uint32_t arity = 0;
  SortTerm body;
};

}  // namespace tarku::smtlib
