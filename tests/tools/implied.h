// Follows the implications that a solver finds and hands out, from outside.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tarku/la/lasolver.h"

namespace tarku::tester {

// A mirror of the solver's list, moved along by what is known of pushes, pops and telling. The solver may append to the
// list at any time; whatever else it does shows as a difference.
class ImpliedMirror {
 public:
  struct Entry {
    int c;  // -1: told anew or retracted since, not to be handed out
    std::vector<int> reason;
    std::uint64_t level;
  };

  // Compares the two lists as far as they are known and takes over what is new. Gives the first difference.
  std::string follow(const la::Solver& solver, std::vector<Entry>* fresh);
  // Entries found at this height of the constraint stack or above are taken back.
  void pop_to(std::size_t height);
  void forget(int c);
  void clear();
  // The entry that has to be handed out next, null when there is none. It counts as handed out.
  const Entry* hand_out();

  bool stands(int c) const;
  std::size_t size() const { return entries_.size(); }

 private:
  std::vector<Entry> entries_;
  std::size_t handed_out_ = 0;
};

}  // namespace tarku::tester
