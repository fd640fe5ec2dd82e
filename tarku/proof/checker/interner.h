// Tables that keep each thing once: numbers, and sequences of words. What is kept is numbered in the order of arrival.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tarku/proof/checker/number.h"

namespace tarku::checker {

inline std::uint64_t mix(std::uint64_t hash, std::uint64_t value) {
  hash = (hash ^ value) * 0x9fb21c651e98df25u;
  return hash ^ (hash >> 29);
}

// Finds the entries of a growing table by content. The owner keeps the entries and says which of them is the one looked
// for; this keeps their numbers, by half of their hashes, with open addressing.
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
  // Needs: the entry is not there.
  void insert(std::uint32_t entry, std::uint64_t hash);
  void clear();

 private:
  struct Slot {
    std::uint32_t entry;
    std::uint32_t hash;
  };
  std::size_t mask() const { return slots_.size() - 1; }
  void place(Slot slot);
  void grow();

  std::vector<Slot> slots_;  // a power of two in number; at least a quarter of them is free
  std::size_t size_ = 0;
};

class NumberTable {
 public:
  std::uint32_t intern(const Number& value);
  const Number& operator[](std::uint32_t id) const { return values_[id]; }  // valid until the next one is interned

 private:
  std::vector<Number> values_;
  HashIndex index_;
};

// A sequence of words that lies somewhere else.
class Words {
 public:
  Words(const std::uint32_t* first, std::size_t size) : first_(first), size_(size) {}
  std::uint32_t operator[](std::size_t i) const { return first_[i]; }
  std::size_t size() const { return size_; }
  const std::uint32_t* begin() const { return first_; }
  const std::uint32_t* end() const { return first_ + size_; }

 private:
  const std::uint32_t* first_;
  std::size_t size_;
};

class SequenceTable {
 public:
  // Throws std::length_error when there are too many to be numbered.
  std::uint32_t intern(const std::vector<std::uint32_t>& words);
  Words operator[](std::uint32_t id) const;  // valid until the next one is interned
  std::size_t size() const { return ends_.size(); }

 private:
  std::vector<std::uint32_t> words_;  // of all sequences, one after the other
  std::vector<std::size_t> ends_;     // by id: where its words end
  HashIndex index_;
};

}  // namespace tarku::checker
