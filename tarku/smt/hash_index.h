// HashIndex: finds entries of a growing array by content, four bytes of overhead per slot.
//
// The owner keeps the entries in an array of its own and hands in what the table cannot know: the hash of an entry and
// whether an entry is the one looked for. Nothing is ever taken out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarku::smt {

// Mixes `value` into the running hash.
inline std::uint64_t mix_hash(std::uint64_t hash, std::uint64_t value) {
  hash ^= value + 0x9e3779b97f4a7c15u + (hash << 6) + (hash >> 2);
  hash *= 0xff51afd7ed558ccdu;
  return hash ^ (hash >> 32);
}

class HashIndex {
 public:
  static constexpr std::uint32_t none = 0xffffffffu;

  // The entry with this hash for which matches(entry) holds, or none.
  template <class Matches>
  std::uint32_t find(std::uint64_t hash, Matches matches) const {
    if (slots_.empty()) return none;
    for (std::size_t i = hash & mask();; i = (i + 1) & mask()) {
      if (slots_[i] == none || matches(slots_[i])) return slots_[i];
    }
  }

  // Adds `entry`, which must not be there. hash_of(e) gives the hash of any entry, for when the table grows.
  template <class HashOf>
  void insert(std::uint32_t entry, HashOf hash_of) {
    if (4 * (size_ + 1) > 3 * slots_.size()) grow(hash_of);
    place(entry, hash_of(entry));
    ++size_;
  }

  std::size_t size() const { return size_; }

 private:
  std::size_t mask() const { return slots_.size() - 1; }

  void place(std::uint32_t entry, std::uint64_t hash) {
    std::size_t i = hash & mask();
    while (slots_[i] != none) i = (i + 1) & mask();
    slots_[i] = entry;
  }

  template <class HashOf>
  void grow(HashOf hash_of) {
    std::vector<std::uint32_t> old(slots_.empty() ? 16 : 2 * slots_.size(), none);
    old.swap(slots_);
    for (std::uint32_t entry : old) {
      if (entry != none) place(entry, hash_of(entry));
    }
  }

  std::vector<std::uint32_t> slots_;  // entries, power of two in number, linear probing
  std::size_t size_ = 0;
};

}  // namespace tarku::smt
