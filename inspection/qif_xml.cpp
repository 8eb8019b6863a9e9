#include "inspection/qif_xml.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>

#include "host/numbers.h"
#include "inspection/written.h"

namespace libmfx::inspection {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

// FNV-1a, 64 bits: the usual offset and prime.
constexpr std::uint64_t kOffset = 14695981039346656037u;
constexpr std::uint64_t kPrime = 1099511628211u;

std::uint64_t HashOf(std::string_view content, std::uint64_t hash) {
  for (const char c : content) hash = (hash ^ static_cast<unsigned char>(c)) * kPrime;
  // What differs in the last letters alone would differ in the low bits alone.
  hash = (hash ^ (hash >> 33)) * 0xFF51AFD7ED558CCDu;
  hash = (hash ^ (hash >> 33)) * 0xC4CEB9FE1A85EC53u;
  return hash ^ (hash >> 33);
}

void AppendEscaped(std::string& out, char c, bool is_attribute) {
  switch (c) {
    case '&':
      out += "&amp;";
      return;
    case '<':
      out += "&lt;";
      return;
    case '>':
      out += "&gt;";
      return;
    case '"':
      out += "&quot;";
      return;
    case '\r':
      out += "&#13;";
      return;
    case '\t':
    case '\n':
      // A reader would make spaces of them in an attribute.
      if (is_attribute) {
        out += c == '\t' ? "&#9;" : "&#10;";
      } else {
        out += c;
      }
      return;
    default:
      if (static_cast<unsigned char>(c) < 0x20) {
        out += kReplacement;
      } else {
        out += c;
      }
  }
}

/// The number that some digits spell; nothing where there are others.
std::optional<int> DigitsOf(std::string_view text) {
  const bool all =
      std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
  return all ? host::NumberOf<int>(text) : std::nullopt;
}

}  // namespace

std::string XmlEscaped(std::string_view text, bool is_attribute) {
  const std::string sound = Utf8Text(std::string(text));
  std::string out;
  out.reserve(sound.size());
  for (std::size_t i = 0; i < sound.size(); ++i) {
    const std::string_view three = std::string_view(sound).substr(i, 3);
    if (three == "\xEF\xBF\xBE" || three == "\xEF\xBF\xBF") {  // U+FFFE, U+FFFF
      out += kReplacement;
      i += 2;
    } else {
      AppendEscaped(out, sound[i], is_attribute);
    }
  }
  return out;
}

void XmlText::Begin(std::string_view name, Attributes attributes) {
  _text.append(2 * _open.size(), ' ');
  _text += '<';
  _text += name;
  for (const auto& [key, value] : attributes) {
    _text += ' ';
    _text += key;
    _text += "=\"" + XmlEscaped(value, true) + '"';
  }
}

void XmlText::Open(std::string_view name, Attributes attributes) {
  Begin(name, attributes);
  _text += ">\n";
  _open.emplace_back(name);
}

void XmlText::Close() {
  const std::string name = _open.back();
  _open.pop_back();
  _text.append(2 * _open.size(), ' ');
  _text += "</" + name + ">\n";
}

void XmlText::Leaf(std::string_view name, std::string_view text, Attributes attributes) {
  Begin(name, attributes);
  _text += '>' + XmlEscaped(text, false) + "</";
  _text += name;
  _text += ">\n";
}

void XmlText::Empty(std::string_view name, Attributes attributes) {
  Begin(name, attributes);
  _text += "/>\n";
}

std::optional<std::string> DecimalText(double value) {
  if (!(std::fabs(value) < 1e15)) return std::nullopt;
  // What is smaller has more digits behind its point than a reader takes.
  const double kept = RoundedTo(value, 12);
  char buffer[64];
  const auto end =
      std::to_chars(buffer, buffer + sizeof buffer, kept, std::chars_format::fixed).ptr;
  return std::string(buffer, end);
}

bool IsUtcTime(std::string_view text) {
  constexpr std::string_view form = "dddd-dd-ddTdd:dd:ddZ";
  if (text.size() != form.size()) return false;
  for (std::size_t i = 0; i < form.size(); ++i) {
    if (form[i] != 'd' && text[i] != form[i]) return false;
  }
  const auto number = [&](std::size_t from, std::size_t count) {
    return DigitsOf(text.substr(from, count)).value_or(-1);
  };
  const int year = number(0, 4);
  const int month = number(5, 2);
  const int day = number(8, 2);
  const int hour = number(11, 2);
  const int minute = number(14, 2);
  const int second = number(17, 2);
  if (year < 1 || month < 1 || day < 1) return false;
  const std::chrono::year_month_day date{std::chrono::year(year),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  return date.ok() && hour >= 0 && hour < 24 && minute >= 0 && minute < 60 && second >= 0 &&
         second < 60;
}

std::string UuidOf(std::string_view content) {
  std::uint64_t high = HashOf(content, kOffset);
  std::uint64_t low = HashOf(content, ~kOffset);
  high = (high & ~std::uint64_t{0xF000}) | 0x8000u;                   // version 8
  low = (low & (~std::uint64_t{0} >> 2)) | (std::uint64_t{1} << 63);  // variant
  std::string text;
  for (const std::uint64_t half : {high, low}) {
    for (int shift = 60; shift >= 0; shift -= 4) text += "0123456789abcdef"[(half >> shift) & 0xFu];
  }
  for (const std::size_t place : {8u, 13u, 18u, 23u}) text.insert(place, 1, '-');
  return text;
}

}  // namespace libmfx::inspection
