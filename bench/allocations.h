// Counts allocations of a benchmark program: every operator new and every block that GMP takes or resizes.
//
// Defines the replaceable global allocation functions, so exactly one source file of a program may include it.
#pragma once

#include <gmp.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace tarku::bench {

inline std::uint64_t allocation_count = 0;  // since the program started; single-threaded programs only

inline void* counted_malloc(std::size_t size) {
  ++allocation_count;
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

// Makes GMP count too; call it before the first GMP number exists.
inline void count_gmp_allocations() {
  mp_set_memory_functions(
      counted_malloc,
      [](void* block, std::size_t, std::size_t size) {
        ++allocation_count;
        return std::realloc(block, size);
      },
      [](void* block, std::size_t) { std::free(block); });
}

}  // namespace tarku::bench

void* operator new(std::size_t size) {
  return tarku::bench::counted_malloc(size);
}
void* operator new[](std::size_t size) {
  return tarku::bench::counted_malloc(size);
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete[](void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  std::free(block);
}
