// One array of literals, one of records, and closing up.
#include "tarku/proof/checker/clause_store.h"

#include <algorithm>
#include <cassert>

namespace tarku::checker {

std::uint32_t ClauseStore::place(std::uint64_t id) const {
  return index_.find(mix(0, id), [&](std::uint32_t i) { return records_[i].id == id && !records_[i].is_removed; });
}

Words ClauseStore::operator[](std::uint64_t id) const {
  const Record& record = records_[place(id)];
  return {words_.data() + record.first, record.size};
}

void ClauseStore::add(std::uint64_t id, const std::vector<std::uint32_t>& literals) {
  assert(!contains(id));
  records_.push_back({id, words_.size(), static_cast<std::uint32_t>(literals.size()), false});
  words_.insert(words_.end(), literals.begin(), literals.end());
  index_.insert(static_cast<std::uint32_t>(records_.size() - 1), mix(0, id));
}

void ClauseStore::remove(std::uint64_t id) {
  assert(contains(id));
  Record& record = records_[place(id)];
  record.is_removed = true;
  ++num_removed_;
  num_gap_words_ += record.size;
  constexpr std::size_t few = 1024;
  if (2 * (num_gap_words_ + num_removed_) > words_.size() + records_.size() + few) close_gaps();
}

void ClauseStore::close_gaps() {
  std::size_t kept = 0, end = 0;
  index_.clear();
  for (const Record& record : records_) {
    if (record.is_removed) continue;
    const auto from = words_.begin() + static_cast<std::ptrdiff_t>(record.first);
    std::copy(from, from + record.size, words_.begin() + static_cast<std::ptrdiff_t>(end));
    records_[kept] = {record.id, end, record.size, false};
    index_.insert(static_cast<std::uint32_t>(kept), mix(0, record.id));
    end += record.size;
    ++kept;
  }
  records_.resize(kept);
  words_.resize(end);
  num_removed_ = num_gap_words_ = 0;
}

}  // namespace tarku::checker
