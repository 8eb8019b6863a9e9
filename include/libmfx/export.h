#pragma once

// Here, since every public header that needs C++20 includes this one.
#if __cplusplus <= 201703L
#error "libmfx needs C++20: compile with -std=c++20"
#endif

/// \file
/// The one macro that makes a symbol visible outside the shared library; all else stays hidden.

#define LIBMFX_EXPORT __attribute__((visibility("default")))
