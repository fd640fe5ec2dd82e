// SymbolTable: the names of a script, interned, with what they stand for at the moment.
//
// Each name has one entry. It holds the meaning that declarations gave it, and the innermost local meaning (variables
// of `let`, parameters), which hides the other. Local meanings form one stack that remembers what each of them hid:
// opening, closing and looking up cost nothing per scope, however deep the nesting. Declarations form a second stack,
// cut by pop. The two are apart because `(! t :named n)` declares in the midst of local scopes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tarku/smtlib/binding.h"
#include "tarku/smtlib/interner.h"

namespace tarku::smtlib {

// The words that the grammar of terms reserves have fixed ids.
enum class Reserved : std::uint32_t { let, forall, exists, match, par, underscore, exclamation, as, count };

class SymbolTable {
 public:
  SymbolTable();  // holds the reserved words and nothing else
  SymbolTable(const SymbolTable&) = delete;
  SymbolTable& operator=(const SymbolTable&) = delete;

  SymbolId intern(std::string_view name) {
    const SymbolId id = interner_.intern(name);
    if (index(id) == entries_.size()) entries_.emplace_back();
    return id;
  }
  std::string_view name(SymbolId id) const { return interner_.name(id); }
  static bool is_reserved(SymbolId id) { return id < static_cast<SymbolId>(Reserved::count); }

  // ---- meanings ----

  // By reference into the table: valid until a name is interned.
  const Binding& lookup(SymbolId id) const {
    const Entry& entry = entries_[index(id)];
    return entry.local == no_local ? entry.declared : locals_[entry.local].binding;
  }
  const SortBinding& lookup_sort(SymbolId id) const { return sorts_[entries_[index(id)].sort]; }

  // ---- local scopes ----

  using Scope = std::size_t;
  Scope open_scope() const { return locals_.size(); }
  // Binds `id` in the innermost scope, which is `scope`; false when that scope binds it already.
  bool bind_local(Scope scope, SymbolId id, Value value);
  void close_scope(Scope scope);  // and all scopes inside it

  // ---- declarations ----

  // How a name came by its meaning.
  enum class Origin : std::uint8_t {
    declared,  // a free constant
    defined,
    named,  // by `:named`
    sort
  };
  struct Declaration {
    SymbolId id;
    Origin origin;
    bool is_global;  // outlives pop
    smt::Term term;  // the free constant or the named term; else invalid
  };

  // The theory's own names, below all levels.
  void bind_theory(std::string_view name, Binding binding);
  void bind_theory_sort(std::string_view name, smt::Sort sort);
  // False, and nothing done, when the name is taken already. Needs: a value that is a term, unless it is defined.
  bool declare(SymbolId id, const Binding& binding, Origin origin = Origin::defined);
  bool declare_sort(SymbolId id, const SortBinding& binding);
  bool is_taken(SymbolId id) const { return entries_[index(id)].declared.kind != Binding::Kind::none; }
  // Why declare or declare_sort refused the name, in words.
  std::string why_taken(SymbolId id, bool is_sort = false) const;
  // Whether declarations made from now on outlive pop.
  void set_global_declarations(bool on) { global_declarations_ = on; }

  void push() { levels_.push_back(declarations_.size()); }
  void pop();      // needs: a level
  void pop_all();  // all levels, and the level below them
  // Takes back the declarations after the first `count`: for a command that failed halfway.
  void roll_back(std::size_t count);
  // All that are in force, in their order.
  const std::vector<Declaration>& declarations() const { return declarations_; }

 private:
  struct Entry {
    Binding declared;
    std::uint32_t local = no_local;  // index of the innermost local meaning
    std::uint32_t sort = 0;          // index in sorts_; 0: the name never stood for a sort
  };
  struct Local {
    SymbolId id;
    std::uint32_t hidden;  // the local meaning that it hides
    Binding binding;
  };
  static constexpr std::uint32_t no_local = 0xffffffffu;

  static std::size_t index(SymbolId id) { return static_cast<std::size_t>(id); }
  Entry& entry(SymbolId id) { return entries_[index(id)]; }
  SortBinding& sort_entry(SymbolId id);
  void forget(const Declaration& declaration);
  void keep_globals_from(std::size_t count);

  Interner interner_;
  std::vector<Entry> entries_;      // by id
  std::vector<SortBinding> sorts_;  // of the few names that stand for sorts; the first is not bound
  std::vector<Local> locals_;
  std::vector<Declaration> declarations_;
  std::vector<std::size_t> levels_;  // number of declarations below each level
  bool global_declarations_ = false;
};

}  // namespace tarku::smtlib
