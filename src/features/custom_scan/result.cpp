#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <span>
#include <string_view>

#include "libmfx/features/custom_scan.h"
#include "messages/base64.h"
#include "messages/result_message.h"

namespace libmfx::features {
namespace {

using data_structures::RawDataPoint;
using nlohmann::json;

static_assert(std::endian::native == std::endian::little, "records go out as they lie in memory");

/// The first two bytes give the size of a record, 48.
constexpr std::uint32_t kRecordTag = 0x010D0030;
constexpr std::size_t kBlockRows = 512;

std::string Dump(const json& value) {
  return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

/// Appends the rows, comma between them, in the JSON library's own spelling of numbers. One block
/// of rows is filled and dumped again and again: a tree of all the samples would cost half as much
/// again as dumping it.
void AppendRows(std::string& text, std::span<const RawDataPoint> samples) {
  json block = json::array();
  for (std::size_t i = 0; i < std::min(kBlockRows, samples.size()); ++i) {
    block.push_back({0.0, 0.0, 0.0, 0.0, 0});
  }
  for (bool first = true; !samples.empty(); first = false) {
    const std::size_t count = std::min(kBlockRows, samples.size());
    auto& rows = block.get_ref<json::array_t&>();
    rows.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
      auto& row = rows[i].get_ref<json::array_t&>();
      const RawDataPoint& s = samples[i];
      row[0].get_ref<json::number_float_t&>() = s.azimuth;
      row[1].get_ref<json::number_float_t&>() = s.elevation;
      row[2].get_ref<json::number_float_t&>() = s.range;
      row[3].get_ref<json::number_float_t&>() = s.quality;
      row[4].get_ref<json::number_integer_t&>() = s.status;
    }
    const std::string dumped = Dump(block);
    if (!first) text += ',';
    text.append(dumped, 1, dumped.size() - 2);  // without the block's own brackets
    samples = samples.subspan(count);
  }
}

/// Appends the samples as base64 text, in a string of JSON. Of the bytes, all little-endian, 0 to 3
/// hold the number of records, 4 to 7 the constant 0x010D0030, and record i begins at 8 + 48 i. A
/// line feed follows every 72 characters, and one more ends the text.
/// \param tail how many characters the caller is going to append
void AppendBinary(std::string& text, const std::vector<RawDataPoint>& samples, std::size_t tail) {
  constexpr std::string_view kLineEnd = R"(\n)";  // escaped
  const std::array<std::uint32_t, 2> head{static_cast<std::uint32_t>(samples.size()), kRecordTag};
  const std::size_t size = samples.size() * sizeof(RawDataPoint);
  const auto bytes_of = [](const void* data, std::size_t count) {
    return std::span(static_cast<const unsigned char*>(data), count);
  };
  text.reserve(text.size() + messages::Base64Size(sizeof head + size, kLineEnd) + tail);
  text += '"';
  messages::AppendBase64(text, bytes_of(head.data(), sizeof head), bytes_of(samples.data(), size),
                         kLineEnd);
  text += '"';
}

}  // namespace

std::string CustomScan::GenerateResult() const {
  const bool binary = _scan_path_return_type == SCANPATH_RETURN_BINARY;
  // Keys are sorted, but for what every result ends with, and doubles round-trip.
  messages::ResultMessage message;
  message.Add("$id", _id).Add("$type", "ScanPathTargetResult");
  if (!_name.empty()) message.Add("Name", _name);
  message.AddText("ScanData", [&](std::string& text) {
    constexpr std::size_t kEnd = 64;  // of the keys behind, beside the id
    if (binary) return AppendBinary(text, _filtered_data, kEnd + _id.size());
    text += R"({"$type":"ScanData","Count":)" + std::to_string(_filtered_data.size());
    text += R"(,"Data":[)";
    AppendRows(text, _filtered_data);
    text += R"(],"DataFormat":"LR_AER"})";
  });
  message.Add("Success", _is_successful).Add("Target", _id);
  return message.AddEnd(GetWarnings()).Finish();
}

}  // namespace libmfx::features
