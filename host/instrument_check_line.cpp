#include "host/instrument_check_line.h"

#include <utf8.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "host/errors.h"
#include "host/numbers.h"

namespace libmfx::host {
namespace {

using nlohmann::json;

const std::string kByteOrderMark = "\xef\xbb\xbf";

/// What may lie deeper than an answer does is not kept.
bool IsShallow(int depth, json::parse_event_t, json&) { return depth < 8; }

/// What the parser says of a line, and where.
class Scan final : public nlohmann::json_sax<json> {
 public:
  std::size_t failed_at = 0;
  bool null() override { return true; }
  bool boolean(bool) override { return true; }
  bool number_integer(number_integer_t) override { return true; }
  bool number_unsigned(number_unsigned_t) override { return true; }
  bool number_float(number_float_t, const string_t&) override { return true; }
  bool string(string_t&) override { return true; }
  bool binary(binary_t&) override { return true; }
  bool start_object(std::size_t) override { return true; }
  bool key(string_t&) override { return true; }
  bool end_object() override { return true; }
  bool start_array(std::size_t) override { return true; }
  bool end_array() override { return true; }
  bool parse_error(std::size_t position, const std::string&, const json::exception&) override {
    failed_at = position;
    return false;
  }
};

std::string Cut(const std::string& text, std::size_t at) {
  const std::size_t from = at < 20 ? 0 : at - 20;
  return Excerpt(text.substr(from, 40));
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// How long a word like NaN or -Infinity is that begins here, its sign counted; 0 if none does.
std::size_t WordAt(const std::string& text, std::size_t at) {
  const std::size_t sign = text[at] == '-' || text[at] == '+' ? 1 : 0;
  std::string word;
  for (std::size_t i = at + sign; i < text.size() && word.size() < 9; ++i) {
    const char lower = static_cast<char>(text[i] | 0x20);
    if (lower < 'a' || lower > 'z') break;
    word += lower;
  }
  return word == "nan" || word == "inf" || word == "infinity" ? word.size() + sign : 0;
}

/// The text with null for each such word outside of strings, and where the first one stands.
std::pair<std::string, std::size_t> WithoutWords(const std::string& text) {
  std::string nulls;
  std::size_t first = std::string::npos;
  bool in_string = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') in_string = !in_string;
    const std::size_t length = in_string ? 0 : WordAt(text, i);
    if (length == 0) {
      nulls += text[i];
      continue;
    }
    first = std::min(first, i);
    nulls += "null";
    i += length - 1;
  }
  return {std::move(nulls), first};
}

/// Where a comma stands within a number: after it come a 0 and a digit, which begin no number.
std::size_t FindSplitNumber(const std::string& text) {
  for (std::size_t i = 1; i + 2 < text.size(); ++i) {
    if (text[i] == ',' && IsDigit(text[i - 1]) && text[i + 1] == '0' && IsDigit(text[i + 2])) {
      return i;
    }
  }
  return std::string::npos;
}

std::string Named(std::size_t row) { return "row " + std::to_string(row); }

/// Reads one line.
class AnswerReader {
 public:
  explicit AnswerReader(std::string line) : _text(std::move(line)) {}

  CheckedLine Read() {
    if (_text.ends_with('\r')) _text.pop_back();
    if (ReadBytes()) ReadText();
    return std::move(_checked);
  }

 private:
  void Find(const char* name, std::string what, std::string advice) {
    _checked.findings.push_back({name, std::move(what), std::move(advice), {}});
  }

  /// \returns whether it makes sense to go on
  bool ReadBytes() {
    if (_text.size() > kLongestAnswer) {
      Find("line-huge", "the answer is a line of " + std::to_string(_text.size()) + " bytes",
           "the path asks for a few hundred samples: send those of this drive alone");
      return false;
    }
    if (_text.find_first_not_of(" \t") == std::string::npos) {
      Find("line-blank", "the answer is a blank line",
           "send {\"samples\": [...]} on one line, and no blank lines");
      return false;
    }
    if (_text.starts_with(kByteOrderMark)) {
      Find("byte-order-mark", "the answer begins with a byte-order mark (bytes EF BB BF)",
           "write UTF-8 without one");
      _text.erase(0, kByteOrderMark.size());
    }
    const auto bad = utf8::find_invalid(_text.begin(), _text.end());
    if (bad == _text.end()) return true;
    char byte[8];
    std::snprintf(byte, sizeof byte, "%02X",
                  static_cast<unsigned>(static_cast<unsigned char>(*bad)));
    Find("not-utf8",
         "the answer is not UTF-8: byte " + std::to_string(bad - _text.begin()) + " is " + byte +
             " in " + Cut(_text, static_cast<std::size_t>(bad - _text.begin())),
         "write UTF-8, or nothing but ASCII");
    _text = utf8::replace_invalid(_text, U'?');
    return true;
  }

  void ReadText() {
    std::string refused;
    try {
      Answer answer = ReadAnswer(_text);
      _checked.is_object = true;
      _checked.samples = std::move(answer.samples);
      if (answer.error) {
        Find("says-error", "the instrument says that it cannot drive: " + Excerpt(*answer.error),
             "see to what it says; the path is an ordinary one, straight ahead");
      }
      return;
    } catch (const CallError& error) {
      refused = error.what();
    }
    const json line = json::parse(_text, IsShallow, false);
    if (line.is_discarded()) {
      ReadBroken(refused);
    } else {
      ReadOther(line, refused);
    }
  }

  /// A text that is no JSON: what it may have been meant to be.
  void ReadBroken(const std::string& refused) {
    const auto [nulls, word_at] = WithoutWords(_text);
    const std::size_t comma_at = FindSplitNumber(_text);
    Scan scan;
    json::sax_parse(_text, &scan);
    _checked.is_object = _text.front() == '{';
    if (!_checked.is_object) {
      Find("line-no-json", "the answer is no JSON but a text: " + Excerpt(_text),
           "send nothing but answers to standard output, and everything else to standard error");
    } else if (_text.find("'samples'") != std::string::npos) {
      Find("single-quotes", "the answer is quoted with ' instead of \": " + Excerpt(_text),
           "write it with a JSON library; the text form of a dictionary is not JSON");
    } else if (word_at != std::string::npos) {
      Find("nan-word",
           "the answer holds a word for a number, which JSON does not know: " + Cut(_text, word_at),
           "write null for a number that is not finite");
      const json line = json::parse(nulls, IsShallow, false);
      if (line.is_object() && line.contains("samples")) ReadRows(line["samples"]);
    } else if (comma_at != std::string::npos) {
      FindComma(Cut(_text, comma_at));
    } else if (scan.failed_at >= _text.size()) {
      Find("line-cut-off",
           "the answer breaks off after " + std::to_string(_text.size()) + " bytes: it ends with " +
               Excerpt(_text.substr(_text.size() - std::min<std::size_t>(_text.size(), 30))),
           "send the whole object on one line, without a line end inside; look for a buffer that "
           "is too small");
    } else {
      Find("line-malformed", "the answer is not JSON: " + refused, "write it with a JSON library");
    }
  }

  void FindComma(const std::string& shown) {
    Find("decimal-comma", "the numbers have decimal commas: " + shown,
         "write a point, whatever the locale; switch the locale off where numbers are written");
  }

  /// JSON that is no answer.
  void ReadOther(const json& line, const std::string& refused) {
    _checked.is_object = line.is_object() || line.is_array();
    if (line.is_array()) {
      Find("line-array", "the answer is an array, without an object around it: " + Excerpt(_text),
           "send {\"samples\": [...]}");
      ReadRows(line);
    } else if (!line.is_object()) {
      Find("line-no-object", "the answer is no JSON object: " + Excerpt(_text),
           "send {\"samples\": [...]}");
    } else if (!line.contains("samples")) {
      ReadOtherKey(line);
    } else if (line["samples"].is_array()) {
      ReadRows(line["samples"]);
      if (_checked.findings.empty()) {
        Find("line-malformed", "the answer cannot be used: " + refused, "send five numbers a row");
      }
    } else {
      Find("samples-no-array",
           std::string("\"samples\" is ") + (line["samples"].is_null() ? "null" : "no array") +
               ", not an array of rows",
           "send [] where there are no samples");
    }
  }

  void ReadOtherKey(const json& line) {
    std::string keys;
    for (const auto& [key, value] : line.items()) {
      if (value.is_array() && !value.empty() && value.front().is_structured()) {
        Find("wrong-key", "the samples stand under " + Excerpt(key) + ", not under \"samples\"",
             "the key has to be \"samples\", in lower case");
        ReadRows(value);
        return;
      }
      keys += (keys.empty() ? "" : ", ") + Excerpt(key);
    }
    Find("missing-key",
         "the answer has neither \"samples\" nor \"error\"; its keys are: " +
             (keys.empty() ? "none" : keys),
         "answer every drive with {\"samples\": [...]}, or with {\"error\": \"why not\"}");
  }

  void ReadRows(const json& rows) {
    if (!rows.empty() && rows.front().is_number()) {
      Find("samples-flat", "\"samples\" is one flat list of numbers: " + Excerpt(rows.dump()),
           "give each sample an array of its own: [[azimuth, elevation, range, quality, status], "
           "...]");
      return;
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (!ReadRow(rows[i], i)) return;
    }
  }

  /// \returns whether the next row is to be looked at
  bool ReadRow(const json& row, std::size_t index) {
    if (row.is_object()) {
      Find("row-object", "the samples are objects: " + Named(index) + " is " + Excerpt(row.dump()),
           "give five numbers in order: [azimuth, elevation, range, quality, status]");
      return false;
    }
    if (!row.is_array()) {
      Find("row-no-array", Named(index) + " is " + Excerpt(row.dump()) + ", not five numbers",
           "give each sample as [azimuth, elevation, range, quality, status]");
      return false;
    }
    if (row.size() != 5) {
      FindWidth(row, index);
      return false;
    }
    std::array<double, 5> values{};
    for (std::size_t c = 0; c < 5; ++c) {
      const std::optional<double> value = ReadValue(row[c], index, c == 4);
      if (!value) return false;
      values[c] = *value;
    }
    if (!std::isfinite(values[4])) values[4] = 0.0;  // the text "nan" is a number too
    constexpr double kLimit = std::numeric_limits<std::int32_t>::max();
    _checked.samples.emplace_back(
        values[0], values[1], values[2], values[3],
        static_cast<std::int32_t>(std::clamp(values[4], -kLimit, kLimit)));
    return true;
  }

  void FindWidth(const json& row, std::size_t index) {
    const bool is_split = row.size() > 6 && std::all_of(row.begin(), row.end(), [](const json& v) {
                            return v.is_number_integer();
                          });
    if (is_split) {
      FindComma(Excerpt(row.dump()));
      return;
    }
    Find(row.size() < 5 ? "row-too-short" : "row-too-long",
         Named(index) + " has " + std::to_string(row.size()) +
             " values, not five: " + Excerpt(row.dump()),
         "give each sample as [azimuth, elevation, range, quality, status]" +
             std::string(row.size() < 5 ? "; none may be left out" : "; nothing may follow"));
  }

  /// The value of a number, and the finding where it is none. A status has to be a whole one.
  std::optional<double> ReadValue(const json& value, std::size_t row, bool is_status) {
    const std::string shown = Named(row) + " holds " + Excerpt(value.dump());
    if (value.is_string()) {
      FindOnce("number-as-text", "numbers are texts: " + shown, "write numbers without quotes");
      return NumberOf<double>(value.get<std::string>());
    }
    if (value.is_null() && !is_status) return std::numeric_limits<double>::quiet_NaN();
    if (value.is_null()) {
      FindOnce("status-null", "the status is null: " + shown,
               "the status is the index of the drive point that ends the move, never null");
      return 0.0;
    }
    if (!value.is_number()) {
      FindOnce("row-no-number", shown + " where a number belongs",
               "give each sample as [azimuth, elevation, range, quality, status]");
      return std::nullopt;
    }
    const double number = value.get<double>();
    if (is_status && number != std::trunc(number)) {
      FindOnce("status-fraction", "the status is no whole number: " + shown,
               "the status is the index of the drive point that ends the move, not a share of the "
               "way or a time");
    } else if (is_status && !(std::fabs(number) <= 2147483647.0)) {
      FindOnce("status-too-large", "the status does not fit into 32 bits: " + shown,
               "the status is the index of the drive point that ends the move, not a time or a "
               "word of flags");
    }
    return number;
  }

  void FindOnce(const char* name, std::string what, std::string advice) {
    const auto is_it = [name](const InstrumentFinding& finding) { return finding.name == name; };
    if (std::none_of(_checked.findings.begin(), _checked.findings.end(), is_it)) {
      Find(name, std::move(what), std::move(advice));
    }
  }

  std::string _text;
  CheckedLine _checked;
};

}  // namespace

CheckedLine CheckLine(std::string line) { return AnswerReader(std::move(line)).Read(); }

}  // namespace libmfx::host
