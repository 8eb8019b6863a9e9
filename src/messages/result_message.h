#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "libmfx/data_structures/point_cloud.h"

/// \file
/// Writing of results in the order of the calls. Numbers have a fixed count of decimals; one that
/// is not finite is written as null and none as a negative zero, so a result is always valid JSON.

namespace libmfx::messages {

/// Builds one JSON object, key by key.
class ResultMessage {
 public:
  ResultMessage() : _text("{") {}

  ResultMessage& Add(std::string_view key, std::string_view text);
  ResultMessage& Add(std::string_view key, const char* text) {
    return Add(key, std::string_view(text));
  }
  ResultMessage& Add(std::string_view key, double value, int decimals = 8);
  ResultMessage& Add(std::string_view key, bool value);
  ResultMessage& Add(std::string_view key, std::int64_t value);
  ResultMessage& Add(std::string_view key, int value) {
    return Add(key, static_cast<std::int64_t>(value));
  }
  ResultMessage& Add(std::string_view key, unsigned int value) {
    return Add(key, static_cast<std::int64_t>(value));
  }
  /// An array of x, y, z.
  ResultMessage& Add(std::string_view key, const data_structures::PointXYZW& p, int decimals = 8);
  ResultMessage& Add(std::string_view key, const data_structures::VectorXYZW& v, int decimals = 8);
  /// "ScanData" in "LR_XYZ": a row for each column of a cloud of 5 rows; an emptier cloud has none.
  ResultMessage& AddScanData(std::string_view format, const data_structures::PointCloud& cloud);
  /// "ScanData" in "LR_AER": a row for each sample.
  ResultMessage& AddScanData(const std::vector<data_structures::RawDataPoint>& samples);

  /// A member whose value the caller appends to the text, as JSON.
  /// \param append void(std::string&)
  template <typename Append>
  ResultMessage& AddText(std::string_view key, Append append) {
    Key(key);
    append(_text);
    return *this;
  }
  /// What every result ends with, after all other keys: "Warnings", an array of texts, where there
  /// is one.
  ResultMessage& AddEnd(const std::vector<std::string>& warnings);

  /// Closes the object and hands the text over; the message is spent.
  std::string Finish();

 private:
  void Key(std::string_view key);

  std::string _text;
};

/// A double as fixed text with `decimals` digits after the point; null if it is not finite.
void AppendNumber(std::string& text, double value, int decimals);

/// A double that holds a 32-bit number, truncated and held at its limits; NaN gives 0.
std::int32_t IntegerOf(double value);

}  // namespace libmfx::messages
