// Interner: gives every name a small number, equal names the same one.
//
// Each word of a script passes through it, so it is a flat table with linear probing in which a part of the hash stands
// beside the number: a look-up touches the table once and the name once. Names are never taken out.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace tarku::smtlib {

// Index of an interned name; names are numbered from 0 in the order of their first appearance.
enum class SymbolId : std::uint32_t {};

class Interner {
 public:
  Interner();

  SymbolId intern(std::string_view name);
  const std::string& name(SymbolId id) const { return names_[static_cast<std::size_t>(id)]; }
  std::size_t size() const { return names_.size(); }

 private:
  struct Slot {
    std::uint32_t hash;
    std::uint32_t id;  // no_id: the slot is free
  };
  static constexpr std::uint32_t no_id = 0xffffffffu;

  std::size_t find_slot(std::string_view name, std::uint32_t hash) const;
  void grow();

  std::vector<Slot> slots_;        // a power of two in number, at most half of them taken
  std::deque<std::string> names_;  // by id; a deque keeps its strings in place
};

}  // namespace tarku::smtlib
