// Interning and the two stacks of meanings.
#include "tarku/smtlib/symbol_table.h"

#include <cassert>

#include "tarku/smtlib/words.h"

namespace tarku::smtlib {

SymbolTable::SymbolTable() {
  for (const char* word : {"let", "forall", "exists", "match", "par", "_", "!", "as"}) intern(word);
  assert(entries_.size() == static_cast<std::size_t>(Reserved::count));
}

SymbolId SymbolTable::intern(std::string_view name) {
  const SymbolId id = interner_.intern(name);
  if (index(id) == entries_.size()) entries_.emplace_back();
  return id;
}

const Binding& SymbolTable::lookup(SymbolId id) const {
  const Entry& entry = entries_[index(id)];
  return entry.local == no_local ? entry.declared : locals_[entry.local].binding;
}

bool SymbolTable::bind_local(Scope scope, SymbolId id, Value value) {
  Entry& e = entry(id);
  if (e.local != no_local && e.local >= scope) return false;
  locals_.push_back({id, e.local, Binding::to_value(value)});
  e.local = static_cast<std::uint32_t>(locals_.size() - 1);
  return true;
}

void SymbolTable::close_scope(Scope scope) {
  while (locals_.size() > scope) {
    entry(locals_.back().id).local = locals_.back().hidden;
    locals_.pop_back();
  }
}

void SymbolTable::bind_theory(std::string_view name, Binding binding) {
  binding.is_theory = true;
  entry(intern(name)).declared = binding;
}

void SymbolTable::bind_theory_sort(std::string_view name, smt::Sort sort) {
  entry(intern(name)).sort = {true, true, 0, {false, 0, sort}};
}

bool SymbolTable::declare(SymbolId id, const Binding& binding, Origin origin) {
  Entry& e = entry(id);
  if (e.declared.kind != Binding::Kind::none) return false;
  e.declared = binding;
  assert(origin == Origin::defined || binding.value.is_closed());
  const smt::Term term = origin == Origin::defined ? smt::Term() : binding.value.term;
  declarations_.push_back({id, origin, global_declarations_, term});
  return true;
}

bool SymbolTable::declare_sort(SymbolId id, const SortBinding& binding) {
  Entry& e = entry(id);
  if (e.sort.is_bound) return false;
  e.sort = binding;
  declarations_.push_back({id, Origin::sort, global_declarations_, smt::Term()});
  return true;
}

std::string SymbolTable::why_taken(SymbolId id, bool is_sort) const {
  const Entry& e = entries_[index(id)];
  const bool is_theory = is_sort ? e.sort.is_theory : e.declared.is_theory;
  const std::string what = (is_sort ? "sort " : "") + quoted(name(id));
  return what + (is_theory ? " is a name of the theory and cannot be declared" : " is declared already");
}

void SymbolTable::pop() {
  assert(!levels_.empty());
  keep_globals_from(levels_.back());
  levels_.pop_back();
}

void SymbolTable::pop_all() {
  levels_.clear();
  keep_globals_from(0);
}

void SymbolTable::roll_back(std::size_t count) {
  while (declarations_.size() > count) {
    forget(declarations_.back());
    declarations_.pop_back();
  }
}

void SymbolTable::forget(const Declaration& declaration) {
  Entry& e = entry(declaration.id);
  if (declaration.origin == Origin::sort) {
    e.sort = SortBinding();
  } else {
    e.declared = Binding();
  }
}

// Of the declarations after the first `count` only the global ones stay.
void SymbolTable::keep_globals_from(std::size_t count) {
  std::size_t kept = count;
  for (std::size_t i = count; i < declarations_.size(); ++i) {
    if (declarations_[i].is_global) {
      declarations_[kept++] = declarations_[i];
    } else {
      forget(declarations_[i]);
    }
  }
  declarations_.resize(kept);
}

}  // namespace tarku::smtlib
