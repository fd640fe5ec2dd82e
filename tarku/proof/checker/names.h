// Names: what symbols mean in a script, now and at each moment before.
//
// A name can be bound by `let` and by parameters, the innermost one counts, and below those it can be declared. Names
// are declared once at a time: a declaration ends when the level on which it was made is popped, unless it is global.
// For each declared symbol its history is kept, because certificates ask what a symbol stood for at some check.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tarku/proof/checker/operators.h"

namespace tarku::checker {

// A moment in the script: the number of a command.
using Time = std::uint64_t;
constexpr Time never = std::numeric_limits<Time>::max();

struct Meaning {
  enum class Kind : std::uint8_t { none, op, value, definition };
  Kind kind = Kind::none;
  Op op = Op::negation;
  Value value;
  std::uint32_t definition = 0;

  static Meaning of(Op op) { return {Kind::op, op, {}, 0}; }
  static Meaning of(Value value) { return {Kind::value, {}, value, 0}; }
  static Meaning of_definition(std::uint32_t number) { return {Kind::definition, {}, {}, number}; }
};

// There are no sorts but Bool and Real, so a defined sort is one of them or one of its own parameters.
struct SortMeaning {
  std::size_t arity = 0;
  std::optional<std::size_t> parameter;
  Sort sort = Sort::boolean;
};

class Names {
 public:
  Names();

  // ---- meanings now ----
  const Meaning* find(const std::string& name) const;  // null when there is none
  const SortMeaning* find_sort(const std::string& name) const;

  // ---- declarations; throw Refused when the name is taken ----
  void declare(const std::string& name, const Meaning& meaning);
  void declare_symbol(const std::string& name, Value symbol, Time now);
  void declare_sort(const std::string& name, const SortMeaning& meaning);
  void set_global_declarations(bool on) { are_global_ = on; }

  void push() { levels_.push_back(declared_.size()); }
  void pop(Time now);      // needs: a level
  void pop_all(Time now);  // levels, and what was declared below them
  // As pop_all, and forgets the global declarations, too.
  void reset(Time now);

  // ---- local bindings, closed in reverse order ----
  std::size_t open_scope() const { return locals_.size(); }
  // False when the name is bound in this scope already.
  bool bind(std::size_t scope, const std::string& name, Value value);
  void close_scope(std::size_t scope);

  // What a declared symbol stood for just before `moment`.
  std::optional<Value> symbol_at(const std::string& name, Time moment) const;

 private:
  static constexpr std::size_t no_local = std::numeric_limits<std::size_t>::max();

  struct Symbol {  // a declared one
    Value value;
    Time declared, forgotten;
  };
  struct Entry {
    Meaning declared;
    std::size_t local = no_local;  // in locals_: the innermost one
    std::vector<Symbol> history;   // by time
  };
  struct Local {
    Entry* entry;
    Meaning meaning;
    std::size_t hidden;  // the next outer one
  };
  struct Declared {
    std::string name;
    bool is_sort, is_global;
  };

  void forget_from(std::size_t first, bool even_global, Time now);

  std::unordered_map<std::string, Entry> entries_;
  std::unordered_map<std::string, SortMeaning> sorts_;
  std::vector<Declared> declared_;
  std::vector<std::size_t> levels_;  // how much was declared when each began
  std::vector<Local> locals_;
  bool are_global_ = false;
};

}  // namespace tarku::checker
