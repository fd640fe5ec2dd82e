// HashIndex: finds entries of a growing array by content, eight bytes per slot.
//
// The owner keeps the entries in an array of its own and hands in what the table cannot know: the hash of an entry and
// whether an entry is the one looked for. Each slot holds half of the hash, so that a miss rarely looks at an entry and
// growing never does. Nothing is ever taken out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarku::smt {

// Mixes `value` into the running hash.
inline std::uint64_t mix_hash(std::uint64_t hash, std::uint64_t value) {
  hash = (hash ^ (value + 0x9e3779b97f4a7c15u)) * 0xff51afd7ed558ccdu;
  return hash ^ (hash >> 32);
}

class HashIndex {
 public:
  static constexpr std::uint32_t none = 0xffffffffu;

  // The entry with this hash for which matches(entry) holds, or none.
  template <class Matches>
  std::uint32_t find(std::uint64_t hash, Matches matches) const {
    if (slots_.empty()) return none;
    const auto half = static_cast<std::uint32_t>(hash);
    for (std::size_t i = half & mask();; i = (i + 1) & mask()) {
      const Slot& slot = slots_[i];
      if (slot.entry == none || (slot.hash == half && matches(slot.entry))) return slot.entry;
    }
  }

  // Starts to fetch the slots where an entry with this hash would be, for a search that follows soon.
  void prefetch(std::uint64_t hash) const {
    if (!slots_.empty()) __builtin_prefetch(&slots_[static_cast<std::uint32_t>(hash) & mask()]);
  }

  // Adds `entry`, which must not be there.
  void insert(std::uint32_t entry, std::uint64_t hash) {
    if (4 * (size_ + 1) > 3 * slots_.size()) grow();
    place({entry, static_cast<std::uint32_t>(hash)});
    ++size_;
  }

  std::size_t size() const { return size_; }

 private:
  struct Slot {
    std::uint32_t entry;
    std::uint32_t hash;
  };

  std::size_t mask() const { return slots_.size() - 1; }

  void place(Slot slot) {
    std::size_t i = slot.hash & mask();
    while (slots_[i].entry != none) i = (i + 1) & mask();
    slots_[i] = slot;
  }

  void grow() {
    std::vector<Slot> old(slots_.empty() ? 16 : 2 * slots_.size(), Slot{none, 0});
    old.swap(slots_);
    for (const Slot& slot : old) {
      if (slot.entry != none) place(slot);
    }
  }

  std::vector<Slot> slots_;  // a power of two in number, linear probing
  std::size_t size_ = 0;
};

}  // namespace tarku::smt
