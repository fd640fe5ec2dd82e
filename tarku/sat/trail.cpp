// The trail's changes.
#include "tarku/sat/trail.h"

#include <algorithm>

namespace tarku::sat {

// Room grows geometrically: reserve by itself may take exactly what is asked for.
void Trail::add_variable(bool observed) {
  if (observed && literals_.capacity() <= num_observed_) {
    literals_.reserve(std::max<std::size_t>(16, 2 * literals_.capacity()));
  }
  Entry entry;
  entry.observed = observed;
  variables_.push_back(entry);
  num_observed_ += observed;
}

void Trail::reserve_levels(std::size_t number) {
  if (starts_.capacity() < number) starts_.reserve(2 * number);
}

void Trail::open_level() noexcept {
  assert(starts_.size() < starts_.capacity());
  starts_.push_back(literals_.size());
}

void Trail::push(Literal literal) noexcept {
  assert(is_observed(std::abs(literal)) && !is_false(literal));
  Entry& entry = at(literal);
  if (entry.value != 0) return;
  entry.value = literal < 0 ? -1 : 1;
  entry.position = static_cast<std::uint32_t>(literals_.size());
  literals_.push_back(literal);
}

void Trail::fix(Literal literal) noexcept {
  assert(is_variable(std::abs(literal)) && !is_fixed(-literal));
  at(literal).fixed = literal < 0 ? -1 : 1;
  if (at(literal).observed) push(literal);
}

std::size_t Trail::backtrack(std::size_t level) noexcept {
  assert(level <= levels());
  if (level == levels()) return size();
  const std::size_t kept = starts_[level];
  std::size_t end = kept;
  for (std::size_t i = kept; i < literals_.size(); ++i) {
    const Literal literal = literals_[i];
    Entry& entry = at(literal);
    if (entry.fixed != 0) {
      entry.position = static_cast<std::uint32_t>(end);
      literals_[end++] = literal;
    } else {
      entry.value = 0;
    }
  }
  literals_.resize(end);
  starts_.resize(level);
  return kept;
}

}  // namespace tarku::sat
