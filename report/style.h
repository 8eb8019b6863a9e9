#pragma once

namespace libmfx::host::report {

/// How a report looks on a screen of any width, in a dark browser and on paper.
extern const char* const kPageStyle;

}  // namespace libmfx::host::report
