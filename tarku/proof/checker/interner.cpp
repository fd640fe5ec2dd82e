// Open addressing, and the two tables on top of it.
#include "tarku/proof/checker/interner.h"

#include <algorithm>
#include <stdexcept>

namespace tarku::checker {

// ---- index ----

void HashIndex::insert(std::uint32_t entry, std::uint64_t hash) {
  if (4 * (size_ + 1) > 3 * slots_.size()) grow();
  place({entry, static_cast<std::uint32_t>(hash)});
  ++size_;
}

void HashIndex::clear() {
  slots_.clear();
  size_ = 0;
}

void HashIndex::place(Slot slot) {
  std::size_t i = slot.hash & mask();
  while (slots_[i].entry != none) i = (i + 1) & mask();
  slots_[i] = slot;
}

void HashIndex::grow() {
  std::vector<Slot> old(std::max<std::size_t>(16, 2 * slots_.size()), Slot{none, 0});
  old.swap(slots_);
  for (const Slot& slot : old) {
    if (slot.entry != none) place(slot);
  }
}

// ---- tables ----

std::uint32_t NumberTable::intern(const Number& value) {
  const std::uint64_t hashed = mix(0, hash(value));
  const std::uint32_t old = index_.find(hashed, [&](std::uint32_t id) { return values_[id] == value; });
  if (old != HashIndex::none) return old;
  const auto id = static_cast<std::uint32_t>(values_.size());
  values_.push_back(value);
  index_.insert(id, hashed);
  return id;
}

std::uint32_t SequenceTable::intern(const std::vector<std::uint32_t>& words) {
  std::uint64_t hashed = words.size();
  for (const std::uint32_t word : words) hashed = mix(hashed, word);
  const auto is_same = [&](std::uint32_t id) {
    const Words known = (*this)[id];
    return known.size() == words.size() && std::equal(known.begin(), known.end(), words.begin());
  };
  const std::uint32_t old = index_.find(hashed, is_same);
  if (old != HashIndex::none) return old;
  constexpr std::size_t most = std::size_t{1} << 30;  // so that a number and a sign fit into a word
  if (ends_.size() >= most) throw std::length_error("too many terms");
  const auto id = static_cast<std::uint32_t>(ends_.size());
  words_.insert(words_.end(), words.begin(), words.end());
  ends_.push_back(words_.size());
  index_.insert(id, hashed);
  return id;
}

Words SequenceTable::operator[](std::uint32_t id) const {
  const std::size_t first = id == 0 ? 0 : ends_[id - 1];
  return {words_.data() + first, ends_[id] - first};
}

}  // namespace tarku::checker
