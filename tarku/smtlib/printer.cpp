// Output of symbols, strings and values.
#include "tarku/smtlib/printer.h"

#include <algorithm>
#include <ostream>

#include "tarku/smtlib/characters.h"

namespace tarku::smtlib {

namespace {

constexpr std::string_view reserved_words[] = {
    // of the grammar
    "BINARY", "DECIMAL", "HEXADECIMAL", "NUMERAL", "STRING", "_", "!", "as", "let", "exists", "forall", "match", "par",
    // of the commands
    "assert", "check-sat", "check-sat-assuming", "declare-const", "declare-datatype", "declare-datatypes",
    "declare-fun", "declare-sort", "declare-sort-parameter", "define-const", "define-fun", "define-fun-rec",
    "define-funs-rec", "define-sort", "echo", "exit", "get-assertions", "get-assignment", "get-info", "get-model",
    "get-option", "get-proof", "get-unsat-assumptions", "get-unsat-core", "get-value", "pop", "push", "reset",
    "reset-assertions", "set-info", "set-logic", "set-option"};

bool is_simple_symbol(std::string_view name) {
  if (name.empty() || is_in_class(name[0], digit_class)) return false;
  if (!std::all_of(name.begin(), name.end(), [](char c) { return is_in_class(c, symbol_class); })) return false;
  return std::find(std::begin(reserved_words), std::end(reserved_words), name) == std::end(reserved_words);
}

}  // namespace

void print_symbol(std::ostream& out, std::string_view name) {
  if (is_simple_symbol(name)) {
    out << name;
  } else {
    out << '|' << name << '|';
  }
}

void print_string(std::ostream& out, std::string_view text) {
  out << '"';
  for (const char c : text) {
    if (c == '"') out << '"';
    out << c;
  }
  out << '"';
}

void print_real(std::ostream& out, const QNumber& value) {
  const QNumber size = value.abs();
  if (value.is_negative()) out << "(- ";
  if (size.is_integer()) {
    out << size << ".0";
  } else {
    out << "(/ " << size.numerator() << ".0 " << size.denominator() << ".0)";
  }
  if (value.is_negative()) out << ')';
}

void print_bool(std::ostream& out, bool value) {
  out << (value ? "true" : "false");
}

}  // namespace tarku::smtlib
