#include "host/plain_rows.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

namespace libmfx::host {
namespace {

/// Goes through a line from token to token. What is not there is not taken.
class Line {
 public:
  explicit Line(std::string_view text) : _at(text.data()), _end(text.data() + text.size()) {}

  bool AtEnd() {
    SkipBlanks();
    return _at == _end;
  }

  bool Take(char sign) {
    SkipBlanks();
    return Step(sign);
  }

  /// A text in quotes that is these characters.
  bool TakeText(std::string_view text) { return Take('"') && TakeWord(text) && Step('"'); }

  /// A text in quotes, of letters and underscores.
  bool TakeName() {
    if (!Take('"')) return false;
    const auto is_part = [](char c) {
      return c == '_' || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    };
    _at = std::find_if_not(_at, _end, is_part);
    return Step('"');
  }

  /// A number as JSON spells it, or null.
  bool TakeNumber(double& value) {
    SkipBlanks();
    if (TakeWord("null")) {
      value = std::numeric_limits<double>::quiet_NaN();
      return true;
    }
    const char* const begin = _at;
    Step('-');
    // A zero in front stands alone: digits behind it belong to no row.
    if (!Step('0') && !TakeDigits()) return false;
    const char* const whole_end = _at;
    if (Step('.') && !TakeDigits()) return false;
    if (Step('e') || Step('E')) {
      if (!Step('+')) Step('-');
      if (!TakeDigits()) return false;
    }
    const auto [end, status] = std::from_chars(begin, _at, value);
    // "-0" is a whole number, and those have no negative zero.
    if (_at == whole_end && value == 0.0) value = 0.0;
    return status == std::errc() && end == _at;
  }

 private:
  void SkipBlanks() {
    while (_at != _end && (*_at == ' ' || *_at == '\t' || *_at == '\n' || *_at == '\r')) ++_at;
  }

  bool Step(char c) {
    if (_at == _end || *_at != c) return false;
    ++_at;
    return true;
  }

  bool TakeWord(std::string_view word) {
    if (!std::string_view(_at, _end).starts_with(word)) return false;
    _at += word.size();
    return true;
  }

  bool TakeDigits() {
    const char* const begin = _at;
    while (_at != _end && *_at >= '0' && *_at <= '9') ++_at;
    return _at != begin;
  }

  const char* _at;
  const char* const _end;
};

bool TakeRow(Line& line, std::size_t width, PlainRow& row) {
  if (!line.Take('[')) return false;
  for (std::size_t i = 0; i < width; ++i) {
    if ((i > 0 && !line.Take(',')) || !line.TakeNumber(row[i])) return false;
  }
  return line.Take(']');
}

}  // namespace

bool ReadPlainRows(std::string_view text, std::string_view key, std::size_t width,
                   const std::function<bool(const PlainRow&)>& take) {
  Line line(text);
  if (!line.Take('{') || !line.TakeText(key) || !line.Take(':') || !line.Take('[')) return false;
  PlainRow row{};
  if (!line.Take(']')) {
    do {
      if (!TakeRow(line, width, row) || !take(row)) return false;
    } while (line.Take(','));
    if (!line.Take(']')) return false;
  }
  if (line.Take(',') && !(line.TakeText("step") && line.Take(':') && line.TakeName())) return false;
  return line.Take('}') && line.AtEnd();
}

}  // namespace libmfx::host
