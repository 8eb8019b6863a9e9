#pragma once

/// \file
/// The one macro that makes a symbol visible outside the shared library; all else stays hidden.

#define LIBMFX_EXPORT __attribute__((visibility("default")))
