// A pool of equally sized blocks, carved out of ever larger chunks and recycled through a free list.
#pragma once

#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace tarku {

// Hands out raw blocks of BlockSize bytes, aligned like a pointer. Blocks never move, and a chunk goes back to the
// system only with the whole pool, so a structure that empties and refills itself does not touch the general allocator.
// With Zeroed every block is cleared when it is handed out; otherwise its contents are unspecified.
// The data is public for the sake of tests; only the pool writes it.
template <std::size_t BlockSize, bool Zeroed>
class MemoryPool {
 public:
  explicit MemoryPool(std::uint64_t chunk_elems = 16, float growth = 2.0f, std::uint64_t max_chunk_elems = 8192)
      : chunk_elems_(chunk_elems), growth_(growth), max_chunk_elems_(max_chunk_elems) {
    assert(chunk_elems >= 1 && growth >= 1.0f);
  }
  ~MemoryPool();
  MemoryPool(const MemoryPool&) = delete;
  MemoryPool& operator=(const MemoryPool&) = delete;

  // Gives a block; throws std::bad_alloc, leaving the pool as it was, when a new chunk is needed and cannot be had.
  void* allocate();

  // Takes back a block of this pool; the next allocate() will give it out again.
  void deallocate(void* block) noexcept { free_ = new (block) Link{free_}; }

  struct Link {
    Link* next;
  };

  std::uint64_t chunk_elems_;      // blocks of the next chunk
  float growth_;                   // factor applied to chunk_elems_ after each chunk
  std::uint64_t max_chunk_elems_;  // upper limit of chunk_elems_; 0 means none
  Link* chunks_ = nullptr;         // all chunks, newest first; each begins with its link
  Link* free_ = nullptr;           // blocks ready to be handed out, linked through their first word

 private:
  static_assert(BlockSize >= sizeof(Link) && BlockSize % sizeof(Link) == 0, "a free block must hold an aligned link");

  void add_chunk();
  void thread_blocks(char* first, std::uint64_t count) noexcept;
  void raise_chunk_elems() noexcept;
};

template <std::size_t BlockSize, bool Zeroed>
MemoryPool<BlockSize, Zeroed>::~MemoryPool() {
  while (chunks_ != nullptr) {
    Link* next = chunks_->next;
    std::free(chunks_);
    chunks_ = next;
  }
}

template <std::size_t BlockSize, bool Zeroed>
inline void* MemoryPool<BlockSize, Zeroed>::allocate() {
  if (free_ == nullptr) add_chunk();
  Link* block = free_;
  free_ = block->next;
  if (Zeroed) std::memset(static_cast<void*>(block), 0, BlockSize);
  return block;
}

template <std::size_t BlockSize, bool Zeroed>
void MemoryPool<BlockSize, Zeroed>::add_chunk() {
  if (chunk_elems_ > (SIZE_MAX - sizeof(Link)) / BlockSize) throw std::bad_alloc();
  void* memory = std::malloc(sizeof(Link) + chunk_elems_ * BlockSize);
  if (memory == nullptr) throw std::bad_alloc();
  chunks_ = new (memory) Link{chunks_};
  thread_blocks(static_cast<char*>(memory) + sizeof(Link), chunk_elems_);
  raise_chunk_elems();
}

// Makes `count` adjacent blocks the free list, in address order. Needs: an empty free list.
template <std::size_t BlockSize, bool Zeroed>
void MemoryPool<BlockSize, Zeroed>::thread_blocks(char* first, std::uint64_t count) noexcept {
  for (std::uint64_t i = count; i-- > 0;) deallocate(first + i * BlockSize);
}

template <std::size_t BlockSize, bool Zeroed>
void MemoryPool<BlockSize, Zeroed>::raise_chunk_elems() noexcept {
  chunk_elems_ = static_cast<std::uint64_t>(static_cast<float>(chunk_elems_) * growth_);
  if (max_chunk_elems_ != 0 && chunk_elems_ > max_chunk_elems_) chunk_elems_ = max_chunk_elems_;
}

}  // namespace tarku
