#pragma once

#include <stdexcept>
#include <string>

namespace libmfx::host {

/// What the process tells a script by its exit status.
enum ExitStatus : int {
  kMeasured = 0,     ///< the measurement succeeded, or the call did what it was asked for
  kNotMeasured = 1,  ///< it ran, and failed; with --strict, or is doubtful
  kCallFailed = 2,   ///< the call could not be carried out
};

/// A call that cannot be carried out. The text is one line that says what and where.
class CallError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// `text` as an excerpt that fits on one line of a terminal, in quotes: control characters and
/// bytes outside ASCII are replaced, the rest is cut off.
std::string Excerpt(const std::string& text);

/// The text with every line end and control character replaced by a blank.
std::string OneLine(std::string text);

}  // namespace libmfx::host
