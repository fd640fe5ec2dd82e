// Sorted sets of variables: VarSet, which removes lazily, and VarSparseSet, a plain sorted vector.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <utility>
#include <vector>

namespace tarku::la {

// A sorted vector of entries in which a removed element leaves a tombstone: removing moves nothing, and inserting the
// element again revives its entry in place. Inserting an element above all entries is an append.
// Elements lie in [-2^30, 2^30).
class VarSet {
 public:
  // One word: the variable above bit 0, the removed mark in bit 0. As signed words, entries order like their variables.
  struct VarFlag {
    std::uint32_t word;

    int var() const { return static_cast<std::int32_t>(word) >> 1; }
    bool is_removed() const { return (word & 1u) != 0; }
  };

  // Visits the live entries in ascending order. Valid until the set is changed.
  class Iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = int;
    using difference_type = std::ptrdiff_t;
    using reference = int;
    using pointer = const int*;

    Iterator() = default;
    Iterator(const VarFlag* entry, const VarFlag* end) : entry_(entry), end_(end) { skip_removed(); }

    int operator*() const { return entry_->var(); }
    Iterator& operator++() {
      ++entry_;
      skip_removed();
      return *this;
    }
    Iterator operator++(int) {
      Iterator before = *this;
      ++*this;
      return before;
    }
    friend bool operator==(const Iterator& a, const Iterator& b) { return a.entry_ == b.entry_; }
    friend bool operator!=(const Iterator& a, const Iterator& b) { return a.entry_ != b.entry_; }

   private:
    void skip_removed() {
      while (entry_ != end_ && entry_->is_removed()) ++entry_;
    }

    const VarFlag* entry_ = nullptr;
    const VarFlag* end_ = nullptr;
  };
  using iterator = Iterator;
  using const_iterator = Iterator;

  std::uint64_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  std::uint64_t num_removed() const { return entries_.size() - size_; }  // tombstones
  Iterator begin() const { return at(0); }
  Iterator end() const { return at(entries_.size()); }

  bool contains(int v) const;

  // Adds v; gives its place and whether it is new.
  std::pair<Iterator, bool> insert(int v);
  // Adds the elements from first to last, which come from any VarSet.
  void insert(Iterator first, Iterator last);
  // Adds v at the end. Needs: v above every entry, removed ones included.
  void append(int v);

  // Marks v as removed; gives whether it was an element.
  bool erase(int v);
  void clear();
  // Drops the tombstones.
  void compact();
  void reserve(std::size_t count) { entries_.reserve(count); }
  void swap(VarSet& other) noexcept;

  std::vector<VarFlag> entries_;  // ascending by variable, live and removed
  std::uint64_t size_ = 0;        // number of live entries

 private:
  static VarFlag live_entry(int v);
  Iterator at(std::size_t index) const { return {entries_.data() + index, entries_.data() + entries_.size()}; }
  std::size_t lower_bound(int v) const;
};

// A sorted vector of variables without duplicates.
class VarSparseSet {
 public:
  using iterator = std::vector<int>::const_iterator;
  using const_iterator = iterator;

  std::size_t size() const { return vars_.size(); }
  bool empty() const { return vars_.empty(); }
  iterator begin() const { return vars_.begin(); }
  iterator end() const { return vars_.end(); }
  const std::vector<int>& values() const { return vars_; }

  bool contains(int v) const { return std::binary_search(vars_.begin(), vars_.end(), v); }
  // Adds v; gives its place and whether it is new.
  std::pair<iterator, bool> insert(int v);
  // Removes v; gives whether it was an element.
  bool erase(int v);
  void clear() { vars_.clear(); }
  // Exchanges the elements with `vars`, for owners that merge many at once. Needs: `vars` strictly ascending.
  void swap_values(std::vector<int>& vars);

 private:
  std::vector<int> vars_;
};

// ---- VarSet ----

inline VarSet::VarFlag VarSet::live_entry(int v) {
  assert(-(1 << 30) <= v && v < (1 << 30));
  return {static_cast<std::uint32_t>(v) << 1};
}

// Index of the first entry whose variable is not less than v.
inline std::size_t VarSet::lower_bound(int v) const {
  const auto word = static_cast<std::int32_t>(live_entry(v).word);
  auto is_less = [](VarFlag entry, std::int32_t bound) { return static_cast<std::int32_t>(entry.word) < bound; };
  return static_cast<std::size_t>(std::lower_bound(entries_.begin(), entries_.end(), word, is_less) - entries_.begin());
}

inline bool VarSet::contains(int v) const {
  std::size_t index = lower_bound(v);
  return index < entries_.size() && entries_[index].word == live_entry(v).word;
}

inline std::pair<VarSet::Iterator, bool> VarSet::insert(int v) {
  if (entries_.empty() || entries_.back().var() < v) {
    append(v);
    return {at(entries_.size() - 1), true};
  }
  const std::size_t index = lower_bound(v);  // within the entries, since the last one is not less than v
  VarFlag& entry = entries_[index];
  const bool is_entry = entry.var() == v;
  if (is_entry && !entry.is_removed()) return {at(index), false};
  if (is_entry) {
    entry = live_entry(v);
  } else {
    entries_.insert(entries_.begin() + static_cast<std::ptrdiff_t>(index), live_entry(v));
  }
  ++size_;
  return {at(index), true};
}

inline void VarSet::insert(Iterator first, Iterator last) {
  for (; first != last; ++first) insert(*first);
}

inline void VarSet::append(int v) {
  assert(entries_.empty() || entries_.back().var() < v);
  entries_.push_back(live_entry(v));
  ++size_;
}

inline bool VarSet::erase(int v) {
  const std::size_t index = lower_bound(v);
  if (index == entries_.size() || entries_[index].word != live_entry(v).word) return false;
  entries_[index].word |= 1u;
  --size_;
  return true;
}

inline void VarSet::clear() {
  entries_.clear();
  size_ = 0;
}

inline void VarSet::compact() {
  auto is_removed = [](VarFlag entry) { return entry.is_removed(); };
  entries_.erase(std::remove_if(entries_.begin(), entries_.end(), is_removed), entries_.end());
  assert(entries_.size() == size_);
}

inline void VarSet::swap(VarSet& other) noexcept {
  entries_.swap(other.entries_);
  std::swap(size_, other.size_);
}

// ---- VarSparseSet ----

inline std::pair<VarSparseSet::iterator, bool> VarSparseSet::insert(int v) {
  auto place = std::lower_bound(vars_.begin(), vars_.end(), v);
  if (place != vars_.end() && *place == v) return {place, false};
  return {vars_.insert(place, v), true};
}

inline bool VarSparseSet::erase(int v) {
  auto place = std::lower_bound(vars_.begin(), vars_.end(), v);
  if (place == vars_.end() || *place != v) return false;
  vars_.erase(place);
  return true;
}

inline void VarSparseSet::swap_values(std::vector<int>& vars) {
  assert(std::adjacent_find(vars.begin(), vars.end(), std::greater_equal<int>()) == vars.end());
  vars_.swap(vars);
}

}  // namespace tarku::la
