#include "host/json_places.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "libmfx/features/request_text.h"

namespace libmfx::host {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kDigits = "0123456789";

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// Walks over a text, token by token. A walk that meets a fault remembers the first and stays
/// there.
class Walker {
 public:
  explicit Walker(std::string_view text, std::size_t at = 0) : _text(text), _at(at) {
    if (at == 0 && text.starts_with(kByteOrderMark)) _at = kByteOrderMark.size();
  }

  std::size_t at() const { return _at; }
  const std::optional<JsonFault>& fault() const { return _fault; }
  bool AtEnd() const { return _at >= _text.size(); }
  char Peek() const { return AtEnd() ? '\0' : _text[_at]; }
  bool Take(char c) {
    if (AtEnd() || _text[_at] != c) return false;
    ++_at;
    return true;
  }

  /// Blanks and comments.
  bool SkipBlanks() {
    while (!AtEnd()) {
      const char c = Peek();
      if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
        ++_at;
      } else if (c != '/') {
        return true;
      } else if (!SkipComment()) {
        return false;
      }
    }
    return true;
  }

  bool SkipString() {
    const std::size_t start = _at;
    for (++_at; !AtEnd(); ++_at) {
      const char c = Peek();
      if (c == '"') return Take('"');
      if (static_cast<unsigned char>(c) < 0x20) {
        return Fail(_at, "a control character in a text has to be written as an escape");
      }
      if (c == '\\' && !SkipEscape()) return false;
    }
    return Fail(start, "this text has no closing quote");
  }

  bool SkipNumber() {
    const std::size_t start = _at;
    Take('-');
    if (!Take('0') && !SkipDigits()) return Fail(start, "expected digits after '-'");
    if (Take('.') && !SkipDigits()) return Fail(start, "expected digits after the decimal point");
    if (Take('e') || Take('E')) {
      if (!Take('+')) Take('-');
      if (!SkipDigits()) return Fail(start, "expected digits in the exponent");
    }
    return true;
  }

  /// A text, a number, true, false or null.
  bool SkipScalar() {
    if (Peek() == '"') return SkipString();
    if (Peek() == '-' || IsDigit(Peek())) return SkipNumber();
    for (const std::string_view word : {"true", "false", "null"}) {
      if (_text.substr(_at, word.size()) == word) {
        _at += word.size();
        return true;
      }
    }
    return Expected("a value: a number, a text in quotes, true, false, null, '[' or '{'");
  }

  /// One value, whatever it holds.
  /// \param nesting how deep objects and arrays may nest from here
  bool SkipValue(int nesting) {
    if (!SkipBlanks()) return false;
    const char c = Peek();
    if (c != '{' && c != '[') return SkipScalar();
    return SkipContainer(nesting, [](std::size_t, std::size_t) {});
  }

  /// An object or an array.
  /// \param visit is given the places of each key (of an array: of the value) and value in it
  template <typename Visit>
  bool SkipContainer(int nesting, Visit visit) {
    if (nesting <= 0) return Fail(_at, "objects and arrays nest too deep here");
    const bool object = Peek() == '{';
    const char close = object ? '}' : ']';
    ++_at;
    if (!SkipBlanks()) return false;
    if (Take(close)) return true;
    for (;;) {
      const std::size_t key = _at;
      if (object && !SkipKey()) return false;
      visit(key, _at);
      if (!SkipValue(nesting - 1) || !SkipBlanks()) return false;
      if (Take(close)) return true;
      if (!Take(',')) return Expected(object ? "',' or '}'" : "',' or ']'");
      if (!SkipBlanks()) return false;
    }
  }

  bool Expected(const std::string& what) { return Fail(_at, "expected " + what + ", " + Found()); }
  bool Fail(std::size_t at, const std::string& text) {
    _fault = JsonFault{at, text};
    return false;
  }

 private:
  std::string Found() const {
    if (AtEnd()) return "but the text ends here";
    const char c = Peek();
    if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) >= 0x7f) {
      return "but something else stands here";
    }
    return std::string("but '") + c + "' stands here";
  }

  /// A key, to where its value begins.
  bool SkipKey() {
    if (Peek() != '"') return Expected("a key in quotes");
    if (!SkipString() || !SkipBlanks()) return false;
    return Take(':') ? SkipBlanks() : Expected("':' after the key");
  }

  bool SkipComment() {
    const std::string_view begin = _text.substr(_at, 2);
    if (begin == "//") {
      _at = std::min(_text.find_first_of("\n\r", _at), _text.size());
      return true;
    }
    if (begin != "/*") return Fail(_at, "'/' begins no comment here: it is // or /* ... */");
    const std::size_t end = _text.find("*/", _at + 2);
    if (end == std::string_view::npos) return Fail(_at, "this comment has no closing */");
    _at = end + 2;
    return true;
  }

  /// From the backslash to the last character of the escape.
  bool SkipEscape() {
    const std::size_t start = _at++;
    if (std::string_view("\"\\/bfnrt").find(Peek()) != std::string_view::npos && !AtEnd()) {
      return true;
    }
    const std::string_view digits = _text.substr(std::min(_at + 1, _text.size()), 4);
    if (Peek() == 'u' && digits.size() == 4 &&
        digits.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos) {
      _at += 4;
      return true;
    }
    return Fail(start, "a backslash in a text begins no escape that JSON knows");
  }

  bool SkipDigits() {
    const std::size_t start = _at;
    _at = std::min(_text.find_first_not_of(kDigits, _at), _text.size());
    return _at > start;
  }

  std::string_view _text;
  std::size_t _at;
  std::optional<JsonFault> _fault;
};

/// Deeper than any text that has no fault.
constexpr int kAnyNesting = features::kRequestNesting + 1;

}  // namespace

TextPlace PlaceOf(std::string_view text, std::size_t at) {
  TextPlace place;
  const std::size_t start = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
  for (std::size_t i = start; i < std::min(at, text.size()); ++i) {
    const char c = text[i];
    const bool ends_line = c == '\n' || (c == '\r' && text.substr(i + 1, 1) != "\n");
    if (ends_line) {
      ++place.line;
      place.column = 1;
    } else if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) {
      ++place.column;  // but not for the further bytes of a character
    }
  }
  return place;
}

std::optional<JsonFault> FaultOf(std::string_view text, int nesting) {
  Walker walker(text);
  if (!walker.SkipBlanks()) return walker.fault();
  if (walker.Peek() != '{') walker.Expected("'{': a request is an object");
  if (!walker.fault()) walker.SkipValue(nesting);
  return walker.fault();
}

std::vector<MemberPlace> MembersAt(std::string_view text, std::size_t object) {
  std::vector<MemberPlace> members;
  Walker walker(text, object);
  if (walker.Peek() != '{') return members;
  walker.SkipContainer(kAnyNesting, [&](std::size_t key, std::size_t value) {
    members.push_back({key, value});
  });
  return members;
}

std::size_t ElementAt(std::string_view text, std::size_t array, std::size_t index) {
  std::size_t place = array;
  Walker walker(text, array);
  if (walker.Peek() != '[') return array;
  walker.SkipContainer(kAnyNesting, [&](std::size_t, std::size_t value) {
    if (index-- == 0) place = value;
  });
  return place;
}

std::vector<std::size_t> ElementsAt(std::string_view text, std::size_t array) {
  std::vector<std::size_t> elements;
  Walker walker(text, array);
  if (walker.Peek() != '[') return elements;
  walker.SkipContainer(kAnyNesting,
                       [&](std::size_t, std::size_t value) { elements.push_back(value); });
  return elements;
}

std::size_t RootOf(std::string_view text) {
  Walker walker(text);
  walker.SkipBlanks();
  return walker.at();
}

std::optional<std::size_t> AfterRoot(std::string_view text) {
  Walker walker(text, RootOf(text));
  if (!walker.SkipValue(kAnyNesting)) return std::nullopt;
  walker.SkipBlanks();
  if (walker.AtEnd()) return std::nullopt;
  return walker.at();
}

std::string KeyAt(std::string_view text, std::size_t key) {
  Walker walker(text, key);
  if (walker.Peek() != '"' || !walker.SkipString()) return {};
  const std::string object = "{" + std::string(text.substr(key, walker.at() - key)) + ":0}";
  const std::optional<std::string> strict = features::StrictJson(object);
  if (!strict) return {};
  return nlohmann::json::parse(*strict).begin().key();
}

}  // namespace libmfx::host
