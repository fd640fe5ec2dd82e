// A growable array indexed by variable, which can also remember which variables it holds.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <type_traits>
#include <utility>
#include <vector>

namespace tarku::la {

// Grow:  operator[] makes room for any variable (at least doubling); without it an access beyond the end aborts.
// Track: a variable becomes a member when operator[] touches it, even to read, and stops being one by erase(). Ask with
//        is_present() or find(), never with operator[].  Without Track there are no flags: find() knows only the
//        length.
// References and pointers into the map are valid until it grows.
// The data is public for the sake of tests; writers go through the operations.
template <class T, bool Grow, bool Track>
class VarMap {
 public:
  static_assert(!std::is_same_v<T, bool>, "std::vector<bool> has no references to its elements");

  // Walks the map in index order: over the members with Track, over every index without.
  class VarMapIterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = std::pair<int, T>;
    using difference_type = std::ptrdiff_t;
    using reference = const value_type&;
    using pointer = const value_type*;

    VarMapIterator(const VarMap* map, std::size_t index) : map_(map), index_(index) { skip_absent(); }

    // Index and value. The copy is made once per position and kept in the iterator.
    reference operator*() const;
    pointer operator->() const { return &**this; }
    VarMapIterator& operator++();
    friend bool operator==(const VarMapIterator& a, const VarMapIterator& b) { return a.index_ == b.index_; }
    friend bool operator!=(const VarMapIterator& a, const VarMapIterator& b) { return a.index_ != b.index_; }

   private:
    void skip_absent();

    const VarMap* map_;
    std::size_t index_;
    mutable value_type cached_{};  // copy of the element at index_ while is_cached_
    mutable bool is_cached_ = false;
  };

  // Length of the array, members or not.
  std::size_t size() const { return values_.size(); }
  // Whether v is a member; always false without Track.
  bool is_present(int v) const { return Track && in_range(v) && present_[static_cast<std::size_t>(v)] != 0; }
  std::uint64_t num_present() const { return num_present_; }

  // The slot of v, growing the map when it lies beyond the end; v becomes a member.
  T& operator[](int v);

  // Reading without growing: beyond the end, the default value.
  const T& get(int v) const { return in_range(v) ? values_[static_cast<std::size_t>(v)] : default_value(); }
  const T& operator[](int v) const { return get(v); }

  // The slot of v, or null when v is no member (without Track: lies beyond the end). Changes nothing.
  T* find(int v) { return is_known(v) ? &values_[static_cast<std::size_t>(v)] : nullptr; }
  const T* find(int v) const { return is_known(v) ? &values_[static_cast<std::size_t>(v)] : nullptr; }

  // The slot of v for hot loops. Needs: v within the length. Does not make v a member.
  T& raw(int v);
  const T& raw(int v) const;

  // Resets the slot of v to the default; v stops being a member. Gives whether find(v) had found it.
  bool erase(int v);
  // Sets the length exactly; new slots hold the default and are no members, surplus ones are destroyed.
  void resize(std::size_t length);
  void clear() { resize(0); }
  void swap(VarMap& other) noexcept;

  VarMapIterator begin() const { return VarMapIterator(this, 0); }
  VarMapIterator end() const { return VarMapIterator(this, values_.size()); }

  std::vector<T> values_;               // the value of variable v at index v
  std::vector<unsigned char> present_;  // with Track: 1 for members, as long as values_; else empty
  std::uint64_t num_present_ = 0;       // number of ones in present_

 private:
  // A negative v turns into an index beyond any length.
  bool in_range(int v) const { return static_cast<std::size_t>(v) < values_.size(); }
  bool is_known(int v) const { return Track ? is_present(v) : in_range(v); }
  void grow_for(int v);
  static const T& default_value();
};

template <class T, bool Grow, bool Track>
inline T& VarMap<T, Grow, Track>::operator[](int v) {
  assert(v >= 0);
  if (!in_range(v)) grow_for(v);
  const auto index = static_cast<std::size_t>(v);
  if (Track && present_[index] == 0) {
    present_[index] = 1;
    ++num_present_;
  }
  return values_[index];
}

template <class T, bool Grow, bool Track>
inline T& VarMap<T, Grow, Track>::raw(int v) {
  assert(in_range(v));
  return values_[static_cast<std::size_t>(v)];
}

template <class T, bool Grow, bool Track>
inline const T& VarMap<T, Grow, Track>::raw(int v) const {
  assert(in_range(v));
  return values_[static_cast<std::size_t>(v)];
}

template <class T, bool Grow, bool Track>
bool VarMap<T, Grow, Track>::erase(int v) {
  if (!is_known(v)) return false;
  values_[static_cast<std::size_t>(v)] = T();
  if (Track) {
    present_[static_cast<std::size_t>(v)] = 0;
    --num_present_;
  }
  return true;
}

// The flags go first when the map gets longer, so that a throwing resize of the values leaves each slot with its flag.
template <class T, bool Grow, bool Track>
void VarMap<T, Grow, Track>::resize(std::size_t length) {
  if (Track) {
    for (std::size_t i = length; i < present_.size(); ++i) num_present_ -= present_[i];
    present_.resize(length, 0);
  }
  values_.resize(length);
}

template <class T, bool Grow, bool Track>
void VarMap<T, Grow, Track>::swap(VarMap& other) noexcept {
  values_.swap(other.values_);
  present_.swap(other.present_);
  std::swap(num_present_, other.num_present_);
}

template <class T, bool Grow, bool Track>
void VarMap<T, Grow, Track>::grow_for(int v) {
  if (!Grow || v < 0) std::abort();
  resize(std::max(2 * values_.size(), static_cast<std::size_t>(v) + 1));
}

template <class T, bool Grow, bool Track>
const T& VarMap<T, Grow, Track>::default_value() {
  static const T value{};
  return value;
}

template <class T, bool Grow, bool Track>
inline auto VarMap<T, Grow, Track>::VarMapIterator::operator*() const -> reference {
  assert(index_ < map_->size());
  if (!is_cached_) {
    cached_ = value_type(static_cast<int>(index_), map_->values_[index_]);
    is_cached_ = true;
  }
  return cached_;
}

template <class T, bool Grow, bool Track>
inline auto VarMap<T, Grow, Track>::VarMapIterator::operator++() -> VarMapIterator& {
  ++index_;
  is_cached_ = false;
  skip_absent();
  return *this;
}

template <class T, bool Grow, bool Track>
inline void VarMap<T, Grow, Track>::VarMapIterator::skip_absent() {
  if (!Track) return;
  while (index_ < map_->size() && map_->present_[index_] == 0) ++index_;
}

}  // namespace tarku::la
