// Told bound constraints and the per-variable stacks of the bounds in force.
//
// A variable's bounds form a stack of levels. Every level carries both bounds in full, so that the bounds in force are
// read from the last level without a search; a level remembers which constraint made it and which of its two bounds
// that constraint set. The bottom level is a sentinel without bounds; it is never popped.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tarku/numbers/dnumber.h"

namespace tarku::la {

// What a constraint says about its variable. The numbers are part of the interface.
enum RangeKind : std::uint8_t {
  RANGE_LOWER = 1,  // var >= bound
  RANGE_EQUAL = 2,  // var = bound
  RANGE_UPPER = 3,  // var <= bound
  RANGE_DISEQ = 4   // var != bound
};

// Bits above the kind in RangeConstraint::flags.
enum RangeFlag : std::uint8_t {
  RANGE_KIND_MASK = 15,
  RANGE_UNPUSHED = 16,  // told, but not asserted now
  RANGE_EXCLUDED = 32,  // set by the owner only: propagation passes over the constraint
  RANGE_IMPLIED = 64,   // reported as implied, and the implication stands
  RANGE_KEEP = 128      // set by the owner only: survives telling the constraint again
};

// A bound constraint as it was told.
struct RangeConstraint {
  int var = 0;
  DNumber bound;           // a strict bound carries its delta part
  std::uint8_t flags = 0;  // RangeKind in the low four bits, RangeFlag above

  int kind() const { return flags & RANGE_KIND_MASK; }
  bool has(RangeFlag flag) const { return (flags & flag) != 0; }
  void set(RangeFlag flag) { flags = static_cast<std::uint8_t>(flags | flag); }
  void clear(RangeFlag flag) { flags = static_cast<std::uint8_t>(flags & ~flag); }
};

// The bound levels of one variable, the bounds in force on top.
class VariableBounds {
 public:
  struct BoundElement {
    int constraint_index;  // whose push made this level, -1 for the sentinel
    bool is_upper;         // which bound that push set; false for the sentinel
    DNumber lower;
    DNumber upper;
  };
  using const_iterator = std::vector<BoundElement>::const_iterator;

  VariableBounds();

  // Appends a level. `lower` and `upper` may refer into the level that is on top now.
  void push_bounds(int c, bool is_upper, const DNumber& lower, const DNumber& upper);

  // Removes the last level. Needs: it is not the sentinel.
  void pop_bounds() {
    assert(levels_.size() > 1);
    levels_.pop_back();
  }

  const BoundElement& back() const { return levels_.back(); }
  const DNumber& lower() const { return levels_.back().lower; }
  const DNumber& upper() const { return levels_.back().upper; }
  const DNumber& bound(bool is_upper) const { return is_upper ? upper() : lower(); }

  std::size_t size() const { return levels_.size(); }
  const BoundElement& operator[](std::size_t level) const { return levels_[level]; }
  const_iterator begin() const { return levels_.begin(); }
  const_iterator end() const { return levels_.end(); }

  // The constraint that set the upper (lower) bound in force: that of the topmost level of that side. The sentinel
  // counts as a lower level; when there is no level of that side at all the process aborts.
  int constraint_of(bool is_upper) const;

  // "{ <c,is_upper,lower,upper> ; ... } ", the sentinel first.
  std::string to_str() const;

 private:
  std::vector<BoundElement> levels_;  // never empty
};

using BoundElement = VariableBounds::BoundElement;

}  // namespace tarku::la
