// BenchmarkReader: reads a benchmark of SMT-LIB 1.2, which is a whole problem in one command.
//
// It stands beside the reader of terms because the two languages have little in common but the operators. Forms that
// are open and values that are complete are kept on stacks in the same way.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tarku/proof/checker/formula.h"
#include "tarku/proof/checker/names.h"
#include "tarku/proof/checker/operators.h"
#include "tarku/proof/checker/script_lexer.h"

namespace tarku::checker {

class BenchmarkReader {
 public:
  // now: when its symbols are declared.
  BenchmarkReader(ScriptLexer* lexer, Names* names, FormulaTable* formulas, Time now)
      : lexer_(*lexer), names_(*names), formulas_(*formulas), now_(now) {}

  // Reads from the name of the benchmark to its last parenthesis. Gives the assumptions and formulas in their order.
  // Throws Refused for anything unknown.
  std::vector<Formula> read();

 private:
  struct Frame {
    enum class Kind : std::uint8_t { application, binding, body };
    Kind kind;
    std::string name;       // of the operator, or of the variable
    std::size_t first = 0;  // application: of the values that belong to it
    Op op = Op::negation;   // application
    std::size_t scope = 0;  // body
  };

  void read_attribute(const std::string& keyword);
  void read_symbols(bool are_functions);
  void read_formula();
  void skip_annotation();
  void end_form();
  const std::string& expect_name(const char* what);

  Value read_value();
  bool begin();
  bool begin_form();
  void begin_let(const std::string& word);
  void push_atom();
  bool give_value();
  void end_application();

  ScriptLexer& lexer_;
  Names& names_;
  FormulaTable& formulas_;
  Time now_;
  std::vector<Formula> asserted_;
  std::vector<Frame> frames_;
  std::vector<Value> values_;
};

}  // namespace tarku::checker
