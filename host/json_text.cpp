#include "host/json_text.h"

#include <nlohmann/json.hpp>

namespace libmfx::host {
namespace {

using nlohmann::json;

/// Takes the first key of an object, and stops the parser at it.
class KeyReader final : public nlohmann::json_sax<json> {
 public:
  std::string first;

  bool start_object(std::size_t) override { return true; }
  bool key(string_t& name) override {
    first = name;
    return false;
  }
  bool null() override { return false; }
  bool boolean(bool) override { return false; }
  bool number_integer(number_integer_t) override { return false; }
  bool number_unsigned(number_unsigned_t) override { return false; }
  bool number_float(number_float_t, const string_t&) override { return false; }
  bool string(string_t&) override { return false; }
  bool binary(binary_t&) override { return false; }
  bool start_array(std::size_t) override { return false; }
  bool end_object() override { return false; }
  bool end_array() override { return false; }
  bool parse_error(std::size_t, const std::string&, const json::exception&) override {
    return false;
  }
};

}  // namespace

std::string FirstKey(std::string_view text) {
  KeyReader reader;
  json::sax_parse(text.begin(), text.end(), &reader);
  return std::move(reader.first);
}

std::string WithoutSamples(std::string result) {
  // A quote within a JSON string has a backslash before it: what is found here are members.
  const std::size_t scan = result.find("\"ScanData\":{");
  if (scan == std::string::npos) return result;
  constexpr std::string_view kCount = "\"Count\":";
  if (const std::size_t count = result.find(kCount, scan); count != std::string::npos) {
    const std::size_t digits = count + kCount.size();
    result.replace(digits, result.find_first_of(",}", digits) - digits, "0");
  }
  constexpr std::string_view kData = "\"Data\":[";
  if (const std::size_t data = result.find(kData, scan); data != std::string::npos) {
    // Rows hold numbers and null: no bracket stands for anything else.
    const std::size_t rows = data + kData.size();
    std::size_t end = rows;
    for (int depth = 1; end < result.size(); ++end) {
      if (result[end] == '[') ++depth;
      if (result[end] == ']' && --depth == 0) break;
    }
    result.erase(rows, end - rows);
  }
  return result;
}

}  // namespace libmfx::host
