#pragma once

namespace libmfx::host {

/// What the process tells a script by its exit status.
enum ExitStatus : int {
  kMeasured = 0,     ///< the measurement succeeded, or the call did what it was asked for
  kNotMeasured = 1,  ///< it ran, and failed; with --strict, or is doubtful
  kCallFailed = 2,   ///< the call could not be carried out
  kUndecided = 3,    ///< an inspection found nothing wrong, and something that it cannot decide
};

}  // namespace libmfx::host
