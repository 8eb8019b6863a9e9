#pragma once

#include <charconv>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>

/// \file
/// Numbers as text and back, the same under every locale.

namespace libmfx::host {

/// Appends the shortest text that reads back as `value`; a value that is not finite gives "null".
inline void AppendNumber(std::string& text, double value) {
  if (!std::isfinite(value)) {
    text += "null";
    return;
  }
  if (value == 0.0 && std::signbit(value)) {
    text += "-0.0";  // "-0" would be read as an integer, which has no negative zero
    return;
  }
  char buffer[32];
  text.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

inline void AppendNumber(std::string& text, long long value) {
  char buffer[24];
  text.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

/// A number for people, to some significant digits, those before the point all kept; "null" for one
/// that is not finite.
inline std::string Rounded(double value, int digits = 4) {
  if (!std::isfinite(value)) return "null";
  const double size = std::fabs(value);
  const bool whole = size < 1e7 && size >= std::pow(10.0, digits) - 0.5;
  char buffer[40];
  const auto end =
      whole ? std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 0)
            : std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general,
                            digits);
  return {buffer, end.ptr};
}

/// A length in metres for people, in the unit that suits it.
inline std::string LengthText(double metres, int digits = 3) {
  if (!std::isfinite(metres)) return "null";
  return std::fabs(metres) < 0.1 ? Rounded(metres * 1000.0, digits) + " mm"
                                 : Rounded(metres, digits) + " m";
}

/// The number that the whole of `text` spells, if it spells one.
template <typename T>
std::optional<T> NumberOf(std::string_view text) {
  T value{};
  const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (status != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

}  // namespace libmfx::host
