// VariableMap: from the numbers that a certificate gives its variables to indices without gaps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace tarku::checker {

// Numbers that are used up densely cost one word each; one that is far beyond the others is kept apart, so that memory
// depends on how many there are and never on how large they are.
class VariableMap {
 public:
  static constexpr std::uint32_t none = 0xffffffffu;

  // The index of a variable, or none.
  std::uint32_t find(int variable) const {
    const auto place = static_cast<std::size_t>(variable);
    if (place < near_.size() && near_[place] != none) return near_[place];
    const auto found = far_.find(variable);
    return found == far_.end() ? none : found->second;
  }

  // The next index, from 0, for a variable that has none. Needs: variable > 0.
  std::uint32_t add(int variable) {
    const auto place = static_cast<std::size_t>(variable);
    if (place < 2 * std::size_t{size_} + 1024) {
      if (place >= near_.size()) near_.resize(place + 1, none);
      near_[place] = size_;
    } else {
      far_.emplace(variable, size_);
    }
    return size_++;
  }

 private:
  std::vector<std::uint32_t> near_;  // by variable
  std::unordered_map<int, std::uint32_t> far_;
  std::uint32_t size_ = 0;
};

}  // namespace tarku::checker
