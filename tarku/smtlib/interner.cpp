// The hash table of names.
#include "tarku/smtlib/interner.h"

#include <functional>

namespace tarku::smtlib {

namespace {

constexpr std::size_t initial_slots = 1024;

std::uint32_t hash_of(std::string_view name) {
  return static_cast<std::uint32_t>(std::hash<std::string_view>()(name));
}

}  // namespace

Interner::Interner() : slots_(initial_slots, Slot{0, no_id}) {}

SymbolId Interner::intern(std::string_view name) {
  const std::uint32_t hash = hash_of(name);
  std::size_t slot = find_slot(name, hash);
  if (slots_[slot].id != no_id) return static_cast<SymbolId>(slots_[slot].id);
  if (2 * (names_.size() + 1) > slots_.size()) {
    grow();
    slot = find_slot(name, hash);
  }
  const auto id = static_cast<std::uint32_t>(names_.size());
  names_.emplace_back(name);
  slots_[slot] = {hash, id};
  return static_cast<SymbolId>(id);
}

// The slot that holds the name, or the free one where it belongs.
std::size_t Interner::find_slot(std::string_view name, std::uint32_t hash) const {
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
    const Slot& slot = slots_[i];
    if (slot.id == no_id || (slot.hash == hash && names_[slot.id] == name)) return i;
  }
}

void Interner::grow() {
  std::vector<Slot> old(2 * slots_.size(), Slot{0, no_id});
  old.swap(slots_);
  const std::size_t mask = slots_.size() - 1;
  for (const Slot& slot : old) {
    if (slot.id == no_id) continue;
    std::size_t i = slot.hash & mask;
    while (slots_[i].id != no_id) i = (i + 1) & mask;
    slots_[i] = slot;
  }
}

}  // namespace tarku::smtlib
