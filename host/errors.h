#pragma once

#include <stdexcept>
#include <string>

namespace libmfx::host {

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
