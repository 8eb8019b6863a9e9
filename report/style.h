#pragma once

namespace libmfx::host::report {

/// How a report looks on a screen of any width, in a dark browser and on paper.
extern const char* const kPageStyle;

/// What is added for a report that tells how sure its numbers are.
extern const char* const kSpreadStyle;

}  // namespace libmfx::host::report
