#pragma once

#include <cstddef>

namespace libmfx::data_structures {

/// Asks for large pages for an array that has its memory from elsewhere and was not written yet.
/// Nothing for one of less than several megabytes, nor for its ends where they share a page.
void AdviseLargePages(void* array, std::size_t bytes) noexcept;

/// The other way round, for one that its allocator asked large pages for.
void AdviseSmallPages(void* array, std::size_t bytes) noexcept;

}  // namespace libmfx::data_structures
