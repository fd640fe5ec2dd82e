// The mirror of a solver's implications.
#include "tests/tools/implied.h"

#include <algorithm>

namespace tarku::tester {

std::string ImpliedMirror::follow(const la::Solver& solver, std::vector<Entry>* fresh) {
  if (solver.num_implied_ < entries_.size()) return "implications were lost";
  if (solver.implied_reported_ != handed_out_) return "another number of implications counts as handed out";
  if (solver.proofs_enabled_ && solver.implication_proofs_.size() != solver.num_implied_) {
    return "not every implication has a proof";
  }
  for (std::size_t i = 0; i < solver.num_implied_; ++i) {
    const auto& [c, info] = solver.implied_[i];
    if (solver.proofs_enabled_ && solver.implication_proofs_[i].first != c) return "a proof of another implication";
    if (i == entries_.size()) {
      entries_.push_back({c, info.reason, info.level});
      fresh->push_back(entries_.back());
    }
    const Entry& known = entries_[i];
    if (known.c != c || known.reason != info.reason || known.level != info.level) {
      return "implication of " + std::to_string(known.c) + " has changed into one of " + std::to_string(c);
    }
  }
  return {};
}

void ImpliedMirror::pop_to(std::size_t height) {
  while (!entries_.empty() && entries_.back().level >= height) entries_.pop_back();
  handed_out_ = std::min(handed_out_, entries_.size());
}

void ImpliedMirror::forget(int c) {
  for (Entry& entry : entries_) {
    if (entry.c == c) entry.c = -1;
  }
}

void ImpliedMirror::clear() {
  entries_.clear();
  handed_out_ = 0;
}

const ImpliedMirror::Entry* ImpliedMirror::hand_out() {
  while (handed_out_ < entries_.size()) {
    const Entry& entry = entries_[handed_out_++];
    if (entry.c >= 0) return &entry;
  }
  return nullptr;
}

bool ImpliedMirror::stands(int c) const {
  return std::any_of(entries_.begin(), entries_.end(), [c](const Entry& entry) { return entry.c == c; });
}

}  // namespace tarku::tester
