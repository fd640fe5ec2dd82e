// Session: the state of a dialogue, all that `reset` throws away.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tarku/smt/engine.h"
#include "tarku/smt/term.h"
#include "tarku/smtlib/assertion_stack.h"
#include "tarku/smtlib/macro.h"
#include "tarku/smtlib/reader.h"
#include "tarku/smtlib/script_options.h"
#include "tarku/smtlib/sort_parser.h"
#include "tarku/smtlib/symbol_table.h"
#include "tarku/smtlib/term_parser.h"

namespace tarku::smtlib {

struct Session {
  Session();

  void push(std::uint64_t count);
  void pop(std::uint64_t count);  // needs: so many levels
  std::uint64_t num_levels() const { return num_levels_; }
  // Forgets all assertions and levels, and the declarations that are not global.
  void reset_assertions();
  // The assertions or levels have changed: answers so far are void.
  void change() {
    last_answer.reset();
    assumptions.clear();
  }

  ScriptOptions options;
  bool has_logic = false;
  bool has_begun = false;  // with the first declaration, assertion or level; some options are fixed from then on

  SymbolTable symbols;
  Reader reader;
  SortParser sorts;
  smt::TermManager terms;
  MacroTable macros;
  TermParser term_parser;

  std::unique_ptr<smt::Engine> engine;
  std::unique_ptr<AssertionStack> assertions;  // of the engine
  std::optional<smt::Answer> last_answer;      // unless something changed since
  std::vector<std::string> assumptions;        // of that check, as they were written
  std::optional<smt::Answer> expected_answer;  // of the next check, when the script tells its status

 private:
  void renew_engine();

  // Levels that are pushed at once have one level of symbols and assertions in common, which costs what one costs: only
  // the topmost of them can ever hold anything. So many levels each of those stands for:
  std::vector<std::uint64_t> shares_;
  std::uint64_t num_levels_ = 0;  // their sum
};

}  // namespace tarku::smtlib
