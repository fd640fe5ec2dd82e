// Memory functions for GMP that throw. Nothing of GMP needs cleaning up when they do: it allocates before it changes a
// number, and the numbers here own what they hold.
#include "tarku/numbers/allocation.h"

#include <gmp.h>

#include <cstddef>
#include <cstdlib>
#include <new>

namespace tarku {

namespace {

void* required(void* block) {
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void* allocate(std::size_t size) {
  return required(std::malloc(size));
}

void* reallocate(void* block, std::size_t, std::size_t size) {
  return required(std::realloc(block, size));
}

void release(void* block, std::size_t) {
  std::free(block);
}

}  // namespace

void throw_when_numbers_run_out_of_memory() {
  mp_set_memory_functions(allocate, reallocate, release);
}

}  // namespace tarku
