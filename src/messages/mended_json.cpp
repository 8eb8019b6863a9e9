#include "messages/mended_json.h"

#include <utf8.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>

namespace libmfx::messages {
namespace {

/// Walks a text from token to token, no further than it takes to know what is a string, a comment
/// or a number. Whether the text is sound is for the parser to say.
class Mender {
 public:
  explicit Mender(std::string_view text) : _text(text) {}

  std::string Run() && {
    _mended.reserve(_text.size());
    while (_at < _text.size()) {
      const char c = _text[_at];
      if (c == '"') {
        TakeString();
      } else if (c == '/') {
        Keep(std::max<std::size_t>(EndOfComment() - _at, 1));
      } else if (c == '-' || (c >= '0' && c <= '9')) {
        TakeNumber();
      } else {
        TakeSign(c);
      }
    }
    return std::move(_mended);
  }

 private:
  void Keep(std::size_t count) {
    _mended += _text.substr(_at, count);
    _at = std::min(_at + count, _text.size());
  }

  /// What is no string, number or comment. Before a colon a number had no business to be, and its
  /// quotes would turn it into a name.
  void TakeSign(char c) {
    if (c == ':' && _closing_quote > 0) _mended[_opening_quote] = _mended[_closing_quote] = ' ';
    if (c != ' ' && c != '\t' && c != '\r' && c != '\n') _closing_quote = 0;
    Keep(1);
  }

  /// The index past the comment that begins here, or this one if none does.
  std::size_t EndOfComment() const {
    const std::string_view begin = _text.substr(_at, 2);
    std::size_t end = _at;
    if (begin == "//") end = _text.find_first_of(std::string_view("\n\r\0", 3), _at);
    if (begin == "/*") end = _text.find("*/", _at + 2);
    return end == std::string_view::npos ? _text.size() : end;
  }

  void TakeString() {
    Keep(1);
    while (_at < _text.size()) {
      Keep(_text.find_first_of("\"\\", _at) - _at);
      if (_at == _text.size()) return;
      if (_text[_at] == '"') return Keep(1);
      TakeEscape();
    }
  }

  void TakeEscape() {
    constexpr std::size_t kLength = 6;
    const std::optional<unsigned int> unit = UnitAt(_at);
    if (!unit) return Keep(2);
    if (!IsSurrogate(*unit)) return Keep(kLength);
    const std::optional<unsigned int> next = UnitAt(_at + kLength);
    if (*unit < kFirstLow && next && IsSurrogate(*next) && *next >= kFirstLow) {
      return Keep(2 * kLength);
    }
    _mended += "\\ufffd";
    _at += kLength;
  }

  static constexpr unsigned int kFirstLow = 0xDC00;  ///< of the surrogates that end a pair
  static bool IsSurrogate(unsigned int unit) { return unit >= 0xD800 && unit <= 0xDFFF; }

  /// The code unit that an escape of four hexadecimal digits spells.
  std::optional<unsigned int> UnitAt(std::size_t at) const {
    const std::string_view escape = _text.substr(std::min(at, _text.size()), 6);
    if (escape.size() < 6 || !escape.starts_with("\\u")) return std::nullopt;
    const char* const end = escape.data() + escape.size();
    unsigned int unit = 0;
    const auto read = std::from_chars(escape.data() + 2, end, unit, 16);
    return read.ptr == end ? std::optional<unsigned int>(unit) : std::nullopt;
  }

  void TakeNumber() {
    const std::size_t end = std::min(_text.find_first_not_of("+-.0123456789eE", _at), _text.size());
    const std::size_t size = end - _at;
    if (!Overflows(_text.substr(_at, size))) return Keep(size);
    _opening_quote = _mended.size();
    _mended += '"';
    Keep(size);
    _closing_quote = _mended.size();
    _mended += '"';
  }

  std::string_view _text;
  std::size_t _at = 0;
  std::string _mended;
  // Where the quotes of the number just mended stand; the second is 0 once something follows it.
  std::size_t _opening_quote = 0;
  std::size_t _closing_quote = 0;
};

}  // namespace

bool Overflows(std::string_view number) {
  double value = 0.0;
  const char* const end = number.data() + number.size();
  const auto read = std::from_chars(number.data(), end, value);
  if (read.ec != std::errc::result_out_of_range || read.ptr != end) return false;
  // It is too large or too small; the parser takes one that is too small, as 0. It takes neither if
  // the number is not spelled as JSON has it, and then not with the point moved to its front
  // either.
  using nlohmann::json;
  const std::string digits(number.substr(0, number.find_first_of("eE")));
  return !json::accept(number) && json::accept(digits + "e-" + std::to_string(digits.size()));
}

std::string MendedJson(std::string_view text) {
  std::string valid;
  valid.reserve(text.size());
  utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid));
  return Mender(valid).Run();
}

}  // namespace libmfx::messages
