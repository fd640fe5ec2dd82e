// The hash table of names.
#include "tarku/smtlib/interner.h"

#include <algorithm>
#include <cstring>

namespace tarku::smtlib {

namespace {

constexpr std::size_t initial_slots = 1024;
constexpr std::size_t block_size = std::size_t{1} << 16;
constexpr std::size_t short_length = 7;

template <class Word>
std::uint64_t load(const char* from) {
  Word word = 0;
  std::memcpy(&word, from, sizeof word);
  return word;
}

// Every bit of the result depends on every bit of the word: table places are taken from the lowest bits, and names
// often differ in their last characters only, which are the highest.
std::uint64_t mix(std::uint64_t x) {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(x ^ 0xe7037ed1a0b428dbu) * 0x9e3779b97f4a7c15u;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

// The characters and the length of a short name in one word: no two names have the same.
std::uint64_t pack(std::string_view name) {
  const std::size_t length = name.size();
  std::uint64_t word = static_cast<std::uint64_t>(length) << 56;
  const char* const text = name.data();
  if (length >= 4) {  // the parts overlap, and agree where they do
    word |= load<std::uint32_t>(text) | load<std::uint32_t>(text + length - 4) << (8 * (length - 4));
  } else if (length > 0) {
    const std::size_t middle = length / 2, last = length - 1;
    word |= load<std::uint8_t>(text) | load<std::uint8_t>(text + middle) << (8 * middle) |
            load<std::uint8_t>(text + last) << (8 * last);
  }
  return word;
}

// A hash of all characters of a long name below its length, as far as that fits into a byte.
std::uint64_t summarize(std::string_view name) {
  const char* const last = name.data() + name.size() - 8;
  std::uint64_t hash = name.size();
  for (const char* at = name.data(); at < last; at += 8) hash = mix(hash ^ load<std::uint64_t>(at));
  hash = mix(hash ^ load<std::uint64_t>(last));
  return hash >> 8 | static_cast<std::uint64_t>(std::min<std::size_t>(name.size(), 255)) << 56;
}

}  // namespace

Interner::Interner() : slots_(initial_slots, Slot{0, 0, no_id}) {}

// The slot that holds the name, or the free one where it belongs.
inline std::size_t Interner::find_slot(std::string_view name, std::uint64_t digest, std::uint32_t hash) const {
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
    const Slot& slot = slots_[i];
    if (slot.id == no_id) return i;
    if (slot.digest == digest && (name.size() <= short_length || names_[slot.id] == name)) return i;
  }
}

SymbolId Interner::intern(std::string_view name) {
  const std::uint64_t digest = name.size() <= short_length ? pack(name) : summarize(name);
  const auto hash = static_cast<std::uint32_t>(mix(digest));
  std::size_t slot = find_slot(name, digest, hash);
  if (slots_[slot].id != no_id) return static_cast<SymbolId>(slots_[slot].id);
  if (4 * (names_.size() + 1) > 3 * slots_.size()) {
    grow();
    slot = find_slot(name, digest, hash);
  }
  const auto id = static_cast<std::uint32_t>(names_.size());
  names_.push_back(store(name));
  slots_[slot] = {digest, hash, id};
  return static_cast<SymbolId>(id);
}

// A copy of the text that stays.
std::string_view Interner::store(std::string_view name) {
  if (name.size() > room_) {
    room_ = std::max(name.size(), block_size);
    blocks_.push_back(std::make_unique<char[]>(room_));
    free_ = blocks_.back().get();
  }
  std::copy(name.begin(), name.end(), free_);
  const std::string_view stored(free_, name.size());
  free_ += name.size();
  room_ -= name.size();
  return stored;
}

void Interner::grow() {
  std::vector<Slot> old(2 * slots_.size(), Slot{0, 0, no_id});
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
