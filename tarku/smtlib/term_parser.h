// TermParser: reads terms and builds them as it goes, without an intermediate tree.
//
// It keeps its own stack of open forms (frames) and a stack of values (operands), so nesting costs memory in proportion
// and no call depth. Variables of `let` stand for finished values: a let costs its text, and sharing in the script is
// sharing in the terms. Inside a definition with parameters, what depends on them goes to a MacroBuilder instead.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tarku/smt/term.h"
#include "tarku/smtlib/macro.h"
#include "tarku/smtlib/reader.h"
#include "tarku/smtlib/sort_parser.h"
#include "tarku/smtlib/symbol_table.h"

namespace tarku::smtlib {

class TermParser {
 public:
  TermParser(Reader& reader, SymbolTable& symbols, SortParser& sorts, smt::TermManager& terms, MacroTable& macros)
      : reader_(reader), symbols_(symbols), sorts_(sorts), terms_(terms), macros_(macros) {}

  // Reads the term that begins with the current token; afterwards the current token is its last.
  // Throws InputError at the offending subterm; abandon() must be called before the next use then.
  // Names given by `:named` are declared in the symbol table.
  smt::Term parse();
  // The same for the body of a definition whose parameters are bound, locally, to values of `builder`.
  Value parse_body(MacroBuilder* builder);

  // The name that `:named` gave to the whole of the latest term.
  const std::optional<SymbolId>& outermost_name() const { return outermost_name_; }
  // Forgets everything about a term that failed halfway, local scopes included.
  void abandon();

 private:
  struct Frame {
    enum class Kind : std::uint8_t { application, let_bindings, let_body, annotation };
    Kind kind;
    Position at;                        // of its opening parenthesis
    std::size_t first_operand;          // its values begin here in operands_
    std::size_t mark = 0;               // let: where its names begin in names_, later its scope
    SymbolId name = SymbolId{};         // application: the function, for messages
    Binding head;                       // application: what the function stands for
    std::optional<smt::Sort> ascribed;  // application of `(as f S)`
  };
  struct Identifier {  // a plain or qualified name
    SymbolId name;
    Binding binding;
    std::optional<smt::Sort> ascribed;
  };

  Value read();
  bool open_form();
  bool continue_form();
  void read_atom();
  void read_number();
  void read_symbol();

  void open_application(Position at, const Identifier& function);
  void close_application();
  Value apply(const Frame& frame);
  Value apply_op(const Frame& frame);
  Value apply_macro(const Frame& frame);
  Value apply_to_real(const Frame& frame);
  void check_arguments(const Frame& frame, const std::vector<smt::Sort>& wanted) const;

  void open_let(Position at);
  void read_let_name();
  bool continue_bindings();
  bool close_let();
  bool close_annotation();
  void name_value(Value value, bool is_outermost);

  Identifier read_qualified();
  Value value_of(const Identifier& identifier, Position at) const;
  Identifier identify(SymbolId id, const char* what) const;
  [[noreturn]] void fail_unknown(SymbolId id, const char* what) const;
  [[noreturn]] void fail_value(SymbolId id, Position at) const;
  void check_ascription(const std::optional<smt::Sort>& ascribed, Value value, Position at) const;
  smt::Sort sort_of(Value value) const;

  Reader& reader_;
  SymbolTable& symbols_;
  SortParser& sorts_;
  smt::TermManager& terms_;
  MacroTable& macros_;
  MacroBuilder* builder_ = nullptr;  // while the body of a definition is read

  std::vector<Frame> frames_;          // the forms that are open
  std::vector<Value> operands_;        // the values they have so far
  std::vector<SymbolId> names_;        // of let variables whose values are being read
  std::vector<smt::Term> arguments_;   // scratch: of one application, when all are terms
  std::vector<Value> open_arguments_;  // scratch: otherwise
  std::optional<SymbolId> outermost_name_;
};

}  // namespace tarku::smtlib
