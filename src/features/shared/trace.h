#pragma once

#include <ostream>

/// \file
/// The second channel of diagnostics: lines for developers on standard output, which never reach
/// the log callback.

namespace libmfx::features::shared {

/// Standard output as a stream whose numbers read the same under every locale.
std::ostream& Trace();

/// Formatted diagnostics on standard output, in the form of `std::printf`; the decimal point is a
/// point under every locale.
void TracePrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace libmfx::features::shared
