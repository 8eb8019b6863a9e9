#pragma once

#include <malloc.h>

#include <algorithm>
#include <cstddef>

/// \file
/// Counts what the whole program takes from the heap. To be included by one file of a program only:
/// it puts itself in front of the C library's allocation.

namespace libmfx::bench {

inline std::size_t heap_in_use = 0;
inline std::size_t heap_peak = 0;

inline void* Count(void* block) {
  heap_in_use += malloc_usable_size(block);
  heap_peak = std::max(heap_peak, heap_in_use);
  return block;
}
inline void Discount(void* block) { heap_in_use -= malloc_usable_size(block); }

/// Bytes that `work` held at its worst beyond what was held when it began.
template <typename Work>
std::size_t PeakBytes(Work work) {
  const std::size_t before = heap_peak = heap_in_use;
  work();
  return heap_peak - before;
}

}  // namespace libmfx::bench

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);

void* malloc(std::size_t size) { return libmfx::bench::Count(__libc_malloc(size)); }
void* calloc(std::size_t count, std::size_t size) {
  return libmfx::bench::Count(__libc_calloc(count, size));
}
void* realloc(void* block, std::size_t size) {
  libmfx::bench::Discount(block);
  return libmfx::bench::Count(__libc_realloc(block, size));
}
void free(void* block) {
  libmfx::bench::Discount(block);
  __libc_free(block);
}
}
