// ClauseStore: the clauses in use, found by id.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tarku/proof/checker/interner.h"

namespace tarku::checker {

// The literals of all clauses lie in one array. A removed clause leaves a gap; once half of the array is gaps, it is
// closed up, so that memory stays proportional to the clauses in use and each addition costs its literals.
class ClauseStore {
 public:
  // Needs: the id was never added before.
  void add(std::uint64_t id, const std::vector<std::uint32_t>& literals);
  // Needs: contains(id).
  void remove(std::uint64_t id);
  bool contains(std::uint64_t id) const { return place(id) != HashIndex::none; }
  // Needs: contains(id). Valid until the next change.
  Words operator[](std::uint64_t id) const;

  std::size_t size() const { return records_.size() - num_removed_; }
  std::size_t num_words() const { return words_.size(); }  // used by literals and gaps

 private:
  struct Record {
    std::uint64_t id;
    std::size_t first;  // in words_
    std::uint32_t size;
    bool is_removed;
  };

  std::uint32_t place(std::uint64_t id) const;
  void close_gaps();

  std::vector<std::uint32_t> words_;
  std::vector<Record> records_;  // in the order of arrival
  HashIndex index_;              // into records_; those of removed clauses stay until the gaps are closed
  std::size_t num_removed_ = 0;
  std::size_t num_gap_words_ = 0;
};

}  // namespace tarku::checker
