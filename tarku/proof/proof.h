// The base of all proof nodes: an intrusive reference count and destruction that does not recurse.
#pragma once

#include <cassert>
#include <cstdint>
#include <memory>

namespace tarku::proof {

// A node is born with one reference, which belongs to whoever made it. A holder gives its reference back with
// release(), and the last one destroys the node through its virtual destructor. Nodes own references to their premises,
// so a proof is a directed acyclic graph. Counts are plain integers: one thread at a time.
class Proof {
 public:
  Proof() = default;
  virtual ~Proof() = default;
  Proof(const Proof&) = delete;
  Proof& operator=(const Proof&) = delete;

  void retain() { ++count_; }
  std::uint32_t count() const { return count_; }

  // Gives back one reference; null is allowed. Destroys everything that nobody holds any more, however deep, in
  // constant stack and without allocating.
  static void release(Proof* node) noexcept;

 private:
  // The place where the node keeps its i-th premise, null when i is not below the number of premises (which must fit in
  // the count). The premise itself may be null. Lets release() take a dying node apart; a node that does not tell its
  // premises must release them in its destructor, at the price of recursion.
  virtual Proof** premise_slot(std::uint32_t i) noexcept;

  std::uint32_t count_ = 1;
};

// Holds one reference and gives it back at the end of its scope: `Ref step(new LaHyp(...))`.
struct Releaser {
  void operator()(Proof* node) const noexcept { Proof::release(node); }
};
using Ref = std::unique_ptr<Proof, Releaser>;

inline Proof** Proof::premise_slot(std::uint32_t) noexcept {
  return nullptr;
}

// Depth-first by pointer reversal. Of a node whose count has dropped to zero nothing is needed but its premises, so the
// count serves as the number of premises already dealt with, and the slot of the premise being taken apart keeps the
// way back. A node is destroyed when all its slots are null.
inline void Proof::release(Proof* node) noexcept {
  assert(node == nullptr || node->count_ != 0);
  if (node == nullptr || --node->count_ != 0) return;
  Proof* parent = nullptr;
  while (true) {
    if (Proof** slot = node->premise_slot(node->count_)) {
      ++node->count_;
      Proof* premise = *slot;
      *slot = nullptr;
      if (premise == nullptr || --premise->count_ != 0) continue;
      *slot = parent;
      parent = node;
      node = premise;
      continue;
    }
    delete node;
    if (parent == nullptr) return;
    node = parent;
    Proof** slot = node->premise_slot(node->count_ - 1);
    parent = *slot;
    *slot = nullptr;
  }
}

}  // namespace tarku::proof
