// TermReader: reads terms and sorts from the tokens of a script and turns them into values.
//
// The forms that are open are kept on a stack, and so are the values that are complete, so nesting takes memory and no
// calls. A variable of `let` stands for the value that it is bound to: what a script shares stays shared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tarku/proof/checker/definitions.h"
#include "tarku/proof/checker/formula.h"
#include "tarku/proof/checker/names.h"
#include "tarku/proof/checker/operators.h"
#include "tarku/proof/checker/script_lexer.h"

namespace tarku::checker {

class TermReader {
 public:
  TermReader(ScriptLexer* lexer, Names* names, FormulaTable* formulas, Definitions* definitions)
      : lexer_(*lexer), names_(*names), formulas_(*formulas), definitions_(*definitions) {}

  // Each reads from the next token on, up to the last one of what it reads, and throws Refused for anything unknown.

  Value read_value();
  Formula read_formula(const char* what);
  // The body of a definition, whose parameters are bound in `names`.
  Value read_body(Definition* definition);
  Sort read_sort();
  // The body of a defined sort with these parameters.
  SortMeaning read_sort_body(const std::vector<std::string>& parameters);

 private:
  struct Frame {
    enum class Kind : std::uint8_t { application, bindings, body, annotation };
    Kind kind;
    std::size_t first;              // application, bindings: of the values that belong to it
    std::size_t first_name = 0;     // bindings: in let_names_
    std::size_t scope = 0;          // body
    Meaning head = {};              // application
    std::optional<Sort> sort = {};  // application: what `as` says it is
  };
  struct SortFrame {
    SortMeaning head;
    std::size_t first_arg;
  };

  bool begin();
  bool begin_form();
  void begin_application(const Meaning& head, std::optional<Sort> sort);
  void begin_let();
  Meaning meaning_of_token() const;
  Meaning read_qualified(std::optional<Sort>* sort);
  void push_number();
  void push_meaning(const Meaning& meaning);
  static void require_sort(Value value, std::optional<Sort> sort);

  bool give_value();
  bool continue_let();
  void end_let();
  void end_annotation();
  void name_value(Value value);
  void end_application();
  Value apply(const Meaning& head, const std::vector<Value>& args);

  SortMeaning sort_of_token() const;
  static SortMeaning apply_sort(const SortMeaning& head, const std::vector<SortMeaning>& args);

  ScriptLexer& lexer_;
  Names& names_;
  FormulaTable& formulas_;
  Definitions& definitions_;
  Definition* definition_ = nullptr;  // whose body is read
  std::vector<Frame> frames_;
  std::vector<Value> values_;
  std::vector<std::string> let_names_;  // of the bindings that are being read
};

}  // namespace tarku::checker
