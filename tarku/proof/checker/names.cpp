// Bindings, levels and histories.
#include "tarku/proof/checker/names.h"

#include <algorithm>

#include "tarku/proof/checker/refused.h"

namespace tarku::checker {

Names::Names() {
  for (int i = 0; i <= static_cast<int>(Op::to_real); ++i) {
    const Op op = static_cast<Op>(i);
    entries_[std::string(to_str(op))].declared = Meaning::of(op);
  }
  for (const bool value : {false, true}) {
    entries_[value ? "true" : "false"].declared = Meaning::of(Value::of(Formula::truth(value)));
  }
  sorts_["Bool"] = {0, {}, Sort::boolean};
  sorts_["Real"] = {0, {}, Sort::real};
}

const Meaning* Names::find(const std::string& name) const {
  const auto found = entries_.find(name);
  if (found == entries_.end()) return nullptr;
  const Entry& entry = found->second;
  const Meaning& meaning = entry.local == no_local ? entry.declared : locals_[entry.local].meaning;
  return meaning.kind == Meaning::Kind::none ? nullptr : &meaning;
}

const SortMeaning* Names::find_sort(const std::string& name) const {
  const auto found = sorts_.find(name);
  return found == sorts_.end() ? nullptr : &found->second;
}

// ==== declarations ====

void Names::declare(const std::string& name, const Meaning& meaning) {
  Entry& entry = entries_[name];
  if (entry.declared.kind != Meaning::Kind::none) throw Refused("'" + name + "' has a meaning already");
  entry.declared = meaning;
  declared_.push_back({name, false, are_global_});
}

void Names::declare_symbol(const std::string& name, Value symbol, Time now) {
  declare(name, Meaning::of(symbol));
  entries_[name].history.push_back({symbol, now, never});
}

void Names::declare_sort(const std::string& name, const SortMeaning& meaning) {
  if (!sorts_.emplace(name, meaning).second) throw Refused("the sort '" + name + "' has a meaning already");
  declared_.push_back({name, true, are_global_});
}

void Names::pop(Time now) {
  forget_from(levels_.back(), false, now);
  levels_.pop_back();
}

void Names::pop_all(Time now) {
  levels_.clear();
  forget_from(0, false, now);
}

void Names::reset(Time now) {
  levels_.clear();
  forget_from(0, true, now);
  are_global_ = false;
}

void Names::forget_from(std::size_t first, bool even_global, Time now) {
  std::size_t kept = first;
  for (std::size_t i = first; i < declared_.size(); ++i) {
    const Declared& declared = declared_[i];
    if (declared.is_global && !even_global) {
      if (kept != i) declared_[kept] = declared;
      ++kept;
    } else if (declared.is_sort) {
      sorts_.erase(declared.name);
    } else {
      Entry& entry = entries_[declared.name];
      entry.declared = Meaning();
      if (!entry.history.empty()) entry.history.back().forgotten = std::min(now, entry.history.back().forgotten);
    }
  }
  declared_.resize(kept);
}

// ==== local bindings ====

bool Names::bind(std::size_t scope, const std::string& name, Value value) {
  Entry& entry = entries_[name];
  if (entry.local != no_local && entry.local >= scope) return false;
  locals_.push_back({&entry, Meaning::of(value), entry.local});
  entry.local = locals_.size() - 1;
  return true;
}

void Names::close_scope(std::size_t scope) {
  while (locals_.size() > scope) {
    locals_.back().entry->local = locals_.back().hidden;
    locals_.pop_back();
  }
}

// ==== history ====

std::optional<Value> Names::symbol_at(const std::string& name, Time moment) const {
  const auto found = entries_.find(name);
  if (found == entries_.end()) return {};
  const std::vector<Symbol>& history = found->second.history;
  const auto later =
      std::partition_point(history.begin(), history.end(), [moment](const Symbol& s) { return s.declared < moment; });
  if (later == history.begin() || (later - 1)->forgotten <= moment) return {};
  return (later - 1)->value;
}

}  // namespace tarku::checker
