#include "libmfx/data_structures/block_allocator.h"

#include <new>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace libmfx::data_structures {
namespace {

constexpr std::size_t kLargePage = std::size_t{1} << 21;
/// From here on a block begins and ends on the borders of large pages.
constexpr std::size_t kLargeBlock = 2 * kLargePage;

}  // namespace

void* AllocateBlock(std::size_t bytes) {
  if (bytes < kLargeBlock) return ::operator new(bytes);
  void* const block = ::operator new(bytes, std::align_val_t(kLargePage));
#ifdef MADV_HUGEPAGE
  // An advice: where it can't be followed the block is as good as any other.
  (void)madvise(block, bytes / kLargePage * kLargePage, MADV_HUGEPAGE);
#endif
  return block;
}

void FreeBlock(void* block, std::size_t bytes) noexcept {
  if (bytes < kLargeBlock) {
    ::operator delete(block);
  } else {
    ::operator delete(block, std::align_val_t(kLargePage));
  }
}

}  // namespace libmfx::data_structures
