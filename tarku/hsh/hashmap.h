// A map from integer keys to values on top of the chained hash table.
#pragma once

#include <functional>
#include <tuple>
#include <utility>

#include "tarku/hsh/hashtable.h"

namespace tarku::hsh {

// Elements are std::pair<Key, T>; a writer must leave the key alone.
template <class Key, class T, class Hash = hash<Key>, class Equal = std::equal_to<Key>>
class HashMap : public Hashtable<std::pair<Key, T>, GetKey_pair<Key, T>, Key, Hash, Equal> {
 public:
  // The value of this key, default-constructed first when the key is absent. Checks the load before it looks.
  T& operator[](const Key& key) {
    auto found = this->find_or_emplace(key, std::piecewise_construct, std::forward_as_tuple(key), std::tuple<>());
    return found.first->second;
  }
};

}  // namespace tarku::hsh
