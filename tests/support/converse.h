#pragma once

#include "host/conversation.h"

namespace libmfx::test {

/// Holds a measurement as the host tool does, without a search.
/// \param max_passes most re-scans around a moved nominal
/// \throws host::CallError if a path brings back no sample twice in a row
inline host::Conversation Converse(features::Feature& feature, host::Driver& driver,
                                   int max_passes = 0) {
  return host::Measure(feature, driver, {.max_passes = max_passes}, [] { return false; });
}

}  // namespace libmfx::test
