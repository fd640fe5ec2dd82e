// Interner: gives every name a small number, equal names the same one.
//
// Each word of a script passes through it, so a look-up should touch little memory. It is a flat table with linear
// probing whose slots hold a digest of eight bytes: the whole of a name up to seven characters, else the length and a
// hash, and only then the text is compared. Texts lie one after the other in blocks. Names are never taken out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string_view>
#include <vector>

namespace tarku::smtlib {

// Index of an interned name; names are numbered from 0 in the order of their first appearance.
enum class SymbolId : std::uint32_t {};

class Interner {
 public:
  Interner();

  SymbolId intern(std::string_view name);
  // Valid as long as the interner.
  std::string_view name(SymbolId id) const { return names_[static_cast<std::size_t>(id)]; }
  std::size_t size() const { return names_.size(); }

 private:
  struct Slot {
    std::uint64_t digest;
    std::uint32_t hash;
    std::uint32_t id;  // no_id: the slot is free
  };
  static constexpr std::uint32_t no_id = 0xffffffffu;

  std::size_t find_slot(std::string_view name, std::uint64_t digest, std::uint32_t hash) const;
  std::string_view store(std::string_view name);
  void grow();

  std::vector<Slot> slots_;             // a power of two in number, at most three quarters of them taken
  std::deque<std::string_view> names_;  // by id
  std::vector<std::unique_ptr<char[]>> blocks_;
  char* free_ = nullptr;  // the rest of the latest block
  std::size_t room_ = 0;
};

}  // namespace tarku::smtlib
