// BenchmarkParser: reads problems in the form of SMT-LIB 1.2, in which a benchmark is one expression:
//
//   (benchmark NAME :logic QF_LRA :extrafuns ((x Real)) :extrapreds ((p))
//    :assumption (< x 1) :formula (flet ($a (> x 0)) (if_then_else p $a (iff p $a))) :status sat)
//
// Like scripts, they are read with stacks of our own, so that nesting costs no call depth. Symbols are declared in the
// table of the session, where commands that follow find them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tarku/smt/term.h"
#include "tarku/smtlib/reader.h"
#include "tarku/smtlib/symbol_table.h"

namespace tarku::smtlib {

struct Benchmark {
  std::vector<smt::Term> formulas;  // the assumptions and the formula, in their order
  std::string status;               // "sat", "unsat" or "unknown"; empty when it is not told
};

class BenchmarkParser {
 public:
  BenchmarkParser(Reader& reader, SymbolTable& symbols, smt::TermManager& terms)
      : reader_(reader), symbols_(symbols), terms_(terms) {}

  // Reads to the end of the benchmark. Needs: the current token is the word `benchmark`, and the lexer is set to that
  // dialect. Throws InputError at the place that is wrong; declarations and open scopes are left to be rolled back.
  Benchmark read();

 private:
  struct Frame {
    enum class Kind : std::uint8_t { application, let_value, let_body };
    Kind kind;
    Position at;                // of its opening parenthesis
    std::size_t first_operand;  // its values begin here in operands_
    smt::Op op;                 // application
    SymbolId name;              // the operator, or the variable that is bound
    SymbolTable::Scope scope;   // let_body
  };

  // ---- attributes ----
  void read_attribute(std::string_view keyword);
  void read_logic();
  void read_functions();
  void read_predicates();
  void read_formula();
  void declare(SymbolId id, smt::Sort sort);
  SymbolId expect_name(std::string_view what);
  void skip_annotation();
  void finish_form(std::string_view name);

  // ---- terms and formulas ----
  smt::Term read_term();
  bool open_form();
  void open_let(Position at, std::string_view word);
  bool continue_form();
  void close_application();
  smt::Term read_atom();

  Reader& reader_;
  SymbolTable& symbols_;
  smt::TermManager& terms_;
  Benchmark benchmark_;
  std::vector<Frame> frames_;
  std::vector<smt::Term> operands_;
};

}  // namespace tarku::smtlib
