// How much memory the process has, and giving back what it no longer uses.
#pragma once

#include <cstdint>

namespace tarku::smt {

// Bytes of memory that the process occupies now, of whatever kind; 0 where the system does not tell. Takes about a
// microsecond.
std::uint64_t resident_memory() noexcept;

// Returns freed memory to the system, so that it counts no longer. Takes time in proportion to the heap.
void release_freed_memory() noexcept;

}  // namespace tarku::smt
