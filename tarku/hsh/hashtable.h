// A chained hash table for integer keys whose nodes come from its own pool and never move.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "tarku/hsh/memory_pool.h"
#include "tarku/hsh/primes.h"

namespace tarku::hsh {

// The identity on integers; signed keys are sign-extended to 64 bits, so -1 hashes to 2^64 - 1.
template <class Key>
struct hash {
  static_assert(std::is_integral_v<Key>, "only integers have a hash of their own");
  std::uint64_t operator()(Key key) const { return static_cast<std::uint64_t>(key); }
};

// Key extractor of a set: the value is its own key.
template <class Key>
struct GetKey_identity {
  const Key& operator()(const Key& value) const { return value; }
};

// Key extractor of a map.
template <class Key, class T>
struct GetKey_pair {
  const Key& operator()(const std::pair<Key, T>& value) const { return value.first; }
};

// With the default arguments this is a set of Value.
//
// Growth:    an insertion (operator[] of the map included) first looks at the load, even if it then finds its key;
// above
//            0.7 the bucket count becomes the next prime. Neither clear() nor erase() ever lowers it.
// Memory:    no allocation per element. Freed nodes and all chunks are kept until the table dies, so that a cleared
//            table refills without allocating.
// Failure:   std::bad_alloc, or what a value's constructor throws, leaves the elements as they were.
// Validity:  references stay valid until their element goes. An iterator may be dereferenced as long, but growth ends
//            its walk: it must not be incremented any more.
// The order of iteration depends on the history of the table and must not reach any result.
// The data is public for the sake of tests; only the table writes it.
template <class Value, class GetKey = GetKey_identity<Value>, class Key = Value, class Hash = hash<Key>,
          class Equal = std::equal_to<Key>>
class Hashtable {
 public:
  struct Bucket {  // a node of a chain
    Bucket* next_;
    Value value_;
  };

  // Walks the buckets in index order and each chain from its head. Reference is Value& or const Value&.
  template <class Reference>
  class Iter {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = Value;
    using difference_type = std::ptrdiff_t;
    using reference = Reference;
    using pointer = std::remove_reference_t<Reference>*;

    Iter() = default;
    Iter(const std::vector<Bucket*>* buckets, std::uint64_t index, Bucket* node)
        : buckets_(buckets), count_(buckets->size()), index_(index), node_(node) {}
    operator Iter<const Value&>() const { return {buckets_, index_, node_}; }

    reference operator*() const { return node_->value_; }
    pointer operator->() const { return &node_->value_; }
    Iter& operator++();
    Iter operator++(int);
    friend bool operator==(const Iter& a, const Iter& b) { return a.node_ == b.node_; }
    friend bool operator!=(const Iter& a, const Iter& b) { return a.node_ != b.node_; }

    // Moves to the first node of the next non-empty bucket, or to the end.
    void adjust();

   private:
    const std::vector<Bucket*>* buckets_ = nullptr;
    std::uint64_t count_ = 0;  // length of *buckets_ when the iterator was made
    std::uint64_t index_ = 0;  // current bucket; count_ at the end
    Bucket* node_ = nullptr;   // null at the end
  };

  // The elements of a set are their own keys and cannot be written.
  using iterator = Iter<std::conditional_t<std::is_same_v<GetKey, GetKey_identity<Value>>, const Value&, Value&>>;
  using const_iterator = Iter<const Value&>;

  Hashtable() : buckets_(primes.front(), nullptr), modulus_(primes.front()), grow_at_(overload_size(primes.front())) {}
  ~Hashtable() { clear(); }
  Hashtable(const Hashtable&) = delete;
  Hashtable& operator=(const Hashtable&) = delete;

  std::uint64_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  std::uint64_t bucket_count() const { return buckets_.size(); }

  iterator begin() { return first<iterator>(); }
  iterator end() { return iterator(&buckets_, buckets_.size(), nullptr); }
  const_iterator begin() const { return first<const_iterator>(); }
  const_iterator end() const { return const_iterator(&buckets_, buckets_.size(), nullptr); }

  // The element with this key, or end(). An empty table answers without hashing.
  iterator find(const Key& key) { return lookup<iterator>(key); }
  const_iterator find(const Key& key) const { return lookup<const_iterator>(key); }
  bool contains(const Key& key) const { return find(key) != end(); }

  // Adds a value unless its key is present; gives the element with that key and whether it is new.
  std::pair<iterator, bool> insert(const Value& value) { return find_or_emplace(GetKey()(value), value); }

  // Removes the element with this key; gives whether there was one. Keeps the bucket count.
  bool erase(const Key& key);

  // Removes all elements. Keeps the bucket count and the memory.
  void clear() noexcept;

  MemoryPool<sizeof(Bucket), false> pool_;  // owns the nodes
  std::vector<Bucket*> buckets_;            // chain heads, null when empty
  std::uint64_t size_ = 0;                  // number of elements
  Modulus modulus_;                         // divides by buckets_.size(); written by grow()
  std::uint64_t grow_at_;                   // sizes from here on overload the buckets; written by grow()

 protected:
  // Finds the element with this key, or makes it as Value(args...).
  template <class... Args>
  std::pair<iterator, bool> find_or_emplace(const Key& key, Args&&... args);

 private:
  static_assert(alignof(Bucket) <= alignof(void*), "the pool aligns its blocks like pointers");

  std::uint64_t bucket_of(const Key& key) const { return modulus_.remainder(Hash()(key)); }
  Bucket* find_in_chain(Bucket* node, const Key& key) const;
  template <class It>
  It lookup(const Key& key) const;
  template <class It>
  It first() const;
  template <class... Args>
  Bucket* make_node(Args&&... args);
  void destroy_node(Bucket* node) noexcept;
  void grow();
};

template <class Value, class GetKey, class Key, class Hash, class Equal>
template <class Reference>
inline auto Hashtable<Value, GetKey, Key, Hash, Equal>::Iter<Reference>::operator++() -> Iter& {
  node_ = node_->next_;
  if (node_ == nullptr) adjust();
  return *this;
}

template <class Value, class GetKey, class Key, class Hash, class Equal>
template <class Reference>
inline auto Hashtable<Value, GetKey, Key, Hash, Equal>::Iter<Reference>::operator++(int) -> Iter {
  Iter before = *this;
  ++*this;
  return before;
}

template <class Value, class GetKey, class Key, class Hash, class Equal>
template <class Reference>
inline void Hashtable<Value, GetKey, Key, Hash, Equal>::Iter<Reference>::adjust() {
  do ++index_;
  while (index_ < count_ && (*buckets_)[index_] == nullptr);
  node_ = index_ < count_ ? (*buckets_)[index_] : nullptr;
}

template <class Value, class GetKey, class Key, class Hash, class Equal>
inline auto Hashtable<Value, GetKey, Key, Hash, Equal>::find_in_chain(Bucket* node, const Key& key) const -> Bucket* {
  while (node != nullptr && !Equal()(GetKey()(node->value_), key)) node = node->next_;
  return node;
}

template <class Value, class GetKey, class Key, class Hash, class Equal>
template <class It>
inline It Hashtable<Value, GetKey, Key, Hash, Equal>::lookup(const Key& key) const {
  if (size_ == 0) return It(&buckets_, buckets_.size(), nullptr);
  std::uint64_t index = bucket_of(key);
  Bucket* node = find_in_chain(buckets_[index], key);
  return It(&buckets_, node == nullptr ? buckets_.size() : index, node);
}

template <class Value, class GetKey, class Key, class Hash, class Equal>
template <class It>
inline It Hashtable<Value, GetKey, Key, Hash, Equal>::first() const {
  if (size_ == 0) return It(&buckets_, buckets_.size(), nullptr);
  It it(&buckets_, 0, buckets_[0]);
  if (buckets_[0] == nullptr) it.adjust();
  return it;
}

template <class Value, class GetKey, class Key, class Hash, class Equal>
template <class... Args>
inline auto Hashtable<Value, GetKey, Key, Hash, Equal>::find_or_emplace(const Key& key, Args&&... args)
    -> std::pair<iterator, bool> {
  if (size_ >= grow_at_) grow();
  std::uint64_t index = bucket_of(key);
  Bucket* node = find_in_chain(buckets_[index], key);
  if (node != nullptr) return {iterator(&buckets_, index, node), false};
  node = make_node(std::forward<Args>(args)...);
  node->next_ = buckets_[index];
  buckets_[index] = node;
  ++size_;
  return {iterator(&buckets_, index, node), true};
}

// A node that is in no chain yet. The block returns to the pool when the value's constructor throws.
template <class Value, class GetKey, class Key, class Hash, class Equal>
template <class... Args>
inline auto Hashtable<Value, GetKey, Key, Hash, Equal>::make_node(Args&&... args) -> Bucket* {
  void* block = pool_.allocate();
  try {
    return new (block) Bucket{nullptr, Value(std::forward<Args>(args)...)};
  } catch (...) {
    pool_.deallocate(block);
    throw;
  }
}

template <class Value, class GetKey, class Key, class Hash, class Equal>
inline void Hashtable<Value, GetKey, Key, Hash, Equal>::destroy_node(Bucket* node) noexcept {
  node->~Bucket();
  pool_.deallocate(node);
}

template <class Value, class GetKey, class Key, class Hash, class Equal>
bool Hashtable<Value, GetKey, Key, Hash, Equal>::erase(const Key& key) {
  if (size_ == 0) return false;
  Bucket** link = &buckets_[bucket_of(key)];
  while (*link != nullptr && !Equal()(GetKey()((*link)->value_), key)) link = &(*link)->next_;
  Bucket* node = *link;
  if (node == nullptr) return false;
  *link = node->next_;
  --size_;
  destroy_node(node);  // last, since `key` may refer into the node
  return true;
}

// Stops at the last element instead of at the last bucket: a few elements in a large table are common.
template <class Value, class GetKey, class Key, class Hash, class Equal>
void Hashtable<Value, GetKey, Key, Hash, Equal>::clear() noexcept {
  for (std::uint64_t index = 0; size_ != 0; ++index) {
    Bucket* node = buckets_[index];
    buckets_[index] = nullptr;
    for (; node != nullptr; --size_) {
      Bucket* next = node->next_;
      destroy_node(node);
      node = next;
    }
  }
}

// Moves every node to the next bucket count; old chains are walked from their heads, so chains come out reversed.
// The new buckets are made before anything is given up. At the last bucket count nothing changes.
template <class Value, class GetKey, class Key, class Hash, class Equal>
void Hashtable<Value, GetKey, Key, Hash, Equal>::grow() {
  const std::uint64_t count = next_bucket_count(buckets_.size());
  if (count == buckets_.size()) return;
  std::vector<Bucket*> old(count, nullptr);
  old.swap(buckets_);
  modulus_ = Modulus(count);
  grow_at_ = overload_size(count);
  for (Bucket* node : old) {
    while (node != nullptr) {
      Bucket* next = node->next_;
      Bucket*& head = buckets_[bucket_of(GetKey()(node->value_))];
      node->next_ = head;
      head = node;
      node = next;
    }
  }
}

}  // namespace tarku::hsh
