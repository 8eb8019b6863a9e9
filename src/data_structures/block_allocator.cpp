#include "libmfx/data_structures/block_allocator.h"

#include <cstdint>
#include <new>

#include "data_structures/large_pages.h"

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
  AdviseLargePages(block, bytes);
  return block;
}

void FreeBlock(void* block, std::size_t bytes) noexcept {
  if (bytes < kLargeBlock) {
    ::operator delete(block);
  } else {
    ::operator delete(block, std::align_val_t(kLargePage));
  }
}

namespace {

/// Hands an advice on for the large pages that lie within an array of several megabytes. Where it
/// can't be followed the array is as good as any other.
void Advise([[maybe_unused]] void* array, std::size_t bytes, [[maybe_unused]] bool large) {
  if (bytes < kLargeBlock) return;
#ifdef MADV_HUGEPAGE
  const auto begin = reinterpret_cast<std::uintptr_t>(array);
  const std::size_t skipped = (kLargePage - begin % kLargePage) % kLargePage;
  (void)madvise(static_cast<char*>(array) + skipped, (bytes - skipped) / kLargePage * kLargePage,
                large ? MADV_HUGEPAGE : MADV_NOHUGEPAGE);
#endif
}

}  // namespace

void AdviseLargePages(void* array, std::size_t bytes) noexcept { Advise(array, bytes, true); }

void AdviseSmallPages(void* array, std::size_t bytes) noexcept { Advise(array, bytes, false); }

}  // namespace libmfx::data_structures
