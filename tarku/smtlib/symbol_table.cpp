// Interning and the two stacks of meanings.
#include "tarku/smtlib/symbol_table.h"

#include <cassert>

#include "tarku/smtlib/words.h"

namespace tarku::smtlib {

SymbolTable::SymbolTable() : sorts_(1) {
  for (const char* word : {"let", "forall", "exists", "match", "par", "_", "!", "as"}) intern(word);
  assert(entries_.size() == static_cast<std::size_t>(Reserved::count));
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
  sort_entry(intern(name)) = {true, true, 0, {false, 0, sort}};
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
  if (lookup_sort(id).is_bound) return false;
  sort_entry(id) = binding;
  declarations_.push_back({id, Origin::sort, global_declarations_, smt::Term()});
  return true;
}

std::string SymbolTable::why_taken(SymbolId id, bool is_sort) const {
  const bool is_theory = is_sort ? lookup_sort(id).is_theory : entries_[index(id)].declared.is_theory;
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

// By reference into sorts_: valid until another name becomes that of a sort.
SortBinding& SymbolTable::sort_entry(SymbolId id) {
  std::uint32_t& sort = entry(id).sort;
  if (sort == 0) {
    sort = static_cast<std::uint32_t>(sorts_.size());
    sorts_.emplace_back();
  }
  return sorts_[sort];
}

void SymbolTable::forget(const Declaration& declaration) {
  if (declaration.origin == Origin::sort) {
    sort_entry(declaration.id) = SortBinding();
  } else {
    entry(declaration.id).declared = Binding();
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
