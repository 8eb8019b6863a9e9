#include "features/custom_scan/scan_path_result.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <span>
#include <string_view>

#include "features/custom_scan/base64.h"

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

/// \param tail how many characters the caller is going to append
void AppendBinary(std::string& text, const std::vector<RawDataPoint>& samples,
                  std::string_view line_end, std::size_t tail) {
  const std::array<std::uint32_t, 2> head{static_cast<std::uint32_t>(samples.size()), kRecordTag};
  const std::size_t size = samples.size() * sizeof(RawDataPoint);
  const auto bytes_of = [](const void* data, std::size_t count) {
    return std::span(static_cast<const unsigned char*>(data), count);
  };
  text.reserve(text.size() + Base64Size(sizeof head + size, line_end) + tail);
  AppendBase64(text, bytes_of(head.data(), sizeof head), bytes_of(samples.data(), size), line_end);
}

}  // namespace

std::string BinaryScanData(const std::vector<RawDataPoint>& samples) {
  std::string text;
  AppendBinary(text, samples, "\n", 0);
  return text;
}

std::string ScanPathResult(const ScanPathHead& head, const std::vector<RawDataPoint>& samples,
                           bool binary) {
  const std::string id = Dump(head.id);
  const std::string tail =
      std::string(head.successful ? R"(,"Success":true)" : R"(,"Success":false)") +
      R"(,"Target":)" + id +
      (head.warnings.empty() ? std::string() : R"(,"Warnings":)" + Dump(json(head.warnings))) + '}';
  std::string text = R"({"$id":)" + id + R"(,"$type":"ScanPathTargetResult")";
  if (!head.name.empty()) text += R"(,"Name":)" + Dump(head.name);
  if (binary) {
    text += R"(,"ScanData":")";
    AppendBinary(text, samples, R"(\n)", 1 + tail.size());  // a line feed, escaped
    text += '"';
  } else {
    text += R"(,"ScanData":{"$type":"ScanData","Count":)" + std::to_string(samples.size());
    text += R"(,"Data":[)";
    AppendRows(text, samples);
    text += R"(],"DataFormat":"LR_AER"})";
  }
  return text += tail;
}

}  // namespace libmfx::features
