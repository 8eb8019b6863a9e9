#include "messages/result_message.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

namespace libmfx::messages {
namespace {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::VectorXYZW;

void AppendInteger(std::string& text, std::int64_t value) {
  char digits[24];
  const auto result = std::to_chars(digits, digits + sizeof digits, value);
  text.append(digits, result.ptr);
}

/// A string with quotes. Bytes that are not valid UTF-8 become the replacement character.
void AppendString(std::string& text, std::string_view value) {
  text += nlohmann::json(value).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void AppendTriple(std::string& text, double x, double y, double z, int decimals) {
  text += '[';
  AppendNumber(text, x, decimals);
  text += ',';
  AppendNumber(text, y, decimals);
  text += ',';
  AppendNumber(text, z, decimals);
  text += ']';
}

/// One row of "Data": three coordinates and the quality with 8 decimals, then the status.
void AppendRow(std::string& text, const double* values, std::int32_t status) {
  text += text.back() == '[' ? "[" : ",[";
  for (int i = 0; i < 4; ++i) {
    AppendNumber(text, values[i], 8);
    text += ',';
  }
  AppendInteger(text, status);
  text += ']';
}

}  // namespace

void AppendNumber(std::string& text, double value, int decimals) {
  if (!std::isfinite(value)) {
    text += "null";
    return;
  }
  // The longest finite double has 309 digits before the point.
  char digits[352];
  const auto result =
      std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, decimals);
  const std::string_view written(digits, static_cast<std::size_t>(result.ptr - digits));
  const bool zero = written.find_first_not_of("-0.") == std::string_view::npos;
  text += zero && written.front() == '-' ? written.substr(1) : written;
}

std::int32_t IntegerOf(double value) {
  if (std::isnan(value)) return 0;
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(
      std::clamp(value, static_cast<double>(Limits::min()), static_cast<double>(Limits::max())));
}

void ResultMessage::Key(std::string_view key) {
  if (_text.size() > 1) _text += ',';
  AppendString(_text, key);
  _text += ':';
}

ResultMessage& ResultMessage::Add(std::string_view key, std::string_view text) {
  Key(key);
  AppendString(_text, text);
  return *this;
}

ResultMessage& ResultMessage::Add(std::string_view key, double value, int decimals) {
  Key(key);
  AppendNumber(_text, value, decimals);
  return *this;
}

ResultMessage& ResultMessage::Add(std::string_view key, bool value) {
  Key(key);
  _text += value ? "true" : "false";
  return *this;
}

ResultMessage& ResultMessage::Add(std::string_view key, std::int64_t value) {
  Key(key);
  AppendInteger(_text, value);
  return *this;
}

ResultMessage& ResultMessage::Add(std::string_view key, const PointXYZW& p, int decimals) {
  Key(key);
  AppendTriple(_text, p.x(), p.y(), p.z(), decimals);
  return *this;
}

ResultMessage& ResultMessage::Add(std::string_view key, const VectorXYZW& v, int decimals) {
  Key(key);
  AppendTriple(_text, v.x(), v.y(), v.z(), decimals);
  return *this;
}

ResultMessage& ResultMessage::AddScanData(std::string_view format, const PointCloud& cloud) {
  const Eigen::Index rows = cloud.rows() >= 5 ? cloud.cols() : 0;
  Key("ScanData");
  ResultMessage data;
  data.Add("$type", "ScanData").Add("DataFormat", format).Key("Data");
  data._text += '[';
  data._text.reserve(static_cast<std::size_t>(rows) * 64);
  for (Eigen::Index i = 0; i < rows; ++i) {
    const double* column = &cloud.data()(0, i);
    AppendRow(data._text, column, IntegerOf(column[4]));
  }
  data._text += ']';
  _text += data.Add("Count", static_cast<std::int64_t>(rows)).Finish();
  return *this;
}

ResultMessage& ResultMessage::AddScanData(
    const std::vector<data_structures::RawDataPoint>& samples) {
  Key("ScanData");
  ResultMessage data;
  data.Add("$type", "ScanData").Add("DataFormat", "LR_AER").Key("Data");
  data._text += '[';
  data._text.reserve(samples.size() * 64);
  for (const auto& sample : samples) {
    const double values[] = {sample.azimuth, sample.elevation, sample.range, sample.quality};
    AppendRow(data._text, values, sample.status);
  }
  data._text += ']';
  _text += data.Add("Count", static_cast<std::int64_t>(samples.size())).Finish();
  return *this;
}

ResultMessage& ResultMessage::AddEnd(const std::vector<std::string>& warnings) {
  if (warnings.empty()) return *this;
  Key("Warnings");
  _text += '[';
  for (const std::string& text : warnings) {
    if (_text.back() != '[') _text += ',';
    AppendString(_text, text);
  }
  _text += ']';
  return *this;
}

std::string ResultMessage::Finish() {
  _text += '}';
  return std::move(_text);
}

}  // namespace libmfx::messages
