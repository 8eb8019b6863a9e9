#pragma once

#include <cstddef>
#include <new>

#include "libmfx/export.h"

namespace libmfx::data_structures {

/// Memory for large arrays. A block of several megabytes is asked from the system in large pages
/// where it has them: a graph of a million points is written once, in order, and with small pages a
/// good part of that time would go into setting up the pages.
/// \throws std::bad_alloc
LIBMFX_EXPORT void* AllocateBlock(std::size_t bytes);
LIBMFX_EXPORT void FreeBlock(void* block, std::size_t bytes) noexcept;

/// The allocator of standard containers over AllocateBlock.
template <typename T>
struct BlockAllocator {
  using value_type = T;

  BlockAllocator() = default;
  template <typename U>
  BlockAllocator(const BlockAllocator<U>&) {}  // NOLINT: converts, as allocators do

  T* allocate(std::size_t n) {
    if (n > static_cast<std::size_t>(-1) / sizeof(T)) throw std::bad_array_new_length();
    return static_cast<T*>(AllocateBlock(n * sizeof(T)));
  }
  void deallocate(T* p, std::size_t n) noexcept { FreeBlock(p, n * sizeof(T)); }
  friend bool operator==(const BlockAllocator&, const BlockAllocator&) { return true; }
};

}  // namespace libmfx::data_structures
