#include "features/custom_scan/scan_path_result.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <utility>

namespace libmfx::features {
namespace {

using data_structures::RawDataPoint;
using nlohmann::json;

static_assert(std::endian::native == std::endian::little, "records go out as they lie in memory");

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kGroupsPerLine = 18;
/// The first two bytes give the size of a record, 48.
constexpr std::uint32_t kRecordTag = 0x010D0030;

/// Writes the four characters of up to three bytes.
void EncodeGroup(const unsigned char* bytes, std::size_t count, char* out) {
  const std::uint32_t b0 = bytes[0];
  const std::uint32_t b1 = count > 1 ? bytes[1] : 0;
  const std::uint32_t b2 = count > 2 ? bytes[2] : 0;
  const std::uint32_t bits = b0 << 16 | b1 << 8 | b2;
  out[0] = kAlphabet[bits >> 18];
  out[1] = kAlphabet[bits >> 12 & 63];
  out[2] = count > 1 ? kAlphabet[bits >> 6 & 63] : '=';
  out[3] = count > 2 ? kAlphabet[bits & 63] : '=';
}

std::string Base64(const std::vector<unsigned char>& bytes) {
  const std::size_t groups = (bytes.size() + 2) / 3;
  std::string text(groups * 4 + groups / kGroupsPerLine + 1, '\n');
  char* out = text.data();
  for (std::size_t g = 0; g < groups; ++g) {
    EncodeGroup(&bytes[3 * g], std::min<std::size_t>(3, bytes.size() - 3 * g), out);
    out += 4;
    if ((g + 1) % kGroupsPerLine == 0) ++out;
  }
  return text;
}

json ScanDataObject(const std::vector<RawDataPoint>& samples) {
  json::array_t rows;
  rows.reserve(samples.size());
  for (const RawDataPoint& s : samples) {
    json::array_t row;
    row.reserve(5);
    row.emplace_back(s.azimuth);
    row.emplace_back(s.elevation);
    row.emplace_back(s.range);
    row.emplace_back(s.quality);
    row.emplace_back(s.status);
    rows.emplace_back(std::move(row));
  }
  json data;
  data["$type"] = "ScanData";
  data["DataFormat"] = "LR_AER";
  data["Count"] = samples.size();
  data["Data"] = std::move(rows);
  return data;
}

}  // namespace

std::string BinaryScanData(const std::vector<RawDataPoint>& samples) {
  const std::array<std::uint32_t, 2> head{static_cast<std::uint32_t>(samples.size()), kRecordTag};
  const std::size_t record_bytes = samples.size() * sizeof(RawDataPoint);
  std::vector<unsigned char> bytes(sizeof head + record_bytes);
  std::memcpy(bytes.data(), head.data(), sizeof head);
  if (record_bytes > 0) std::memcpy(bytes.data() + sizeof head, samples.data(), record_bytes);
  return Base64(bytes);
}

std::string ScanPathResult(const ScanPathHead& head, const std::vector<RawDataPoint>& samples,
                           bool binary) {
  json result;
  result["$id"] = head.id;
  result["$type"] = "ScanPathTargetResult";
  if (!head.name.empty()) result["Name"] = head.name;
  result["ScanData"] = binary ? json(BinaryScanData(samples)) : ScanDataObject(samples);
  result["Success"] = head.successful;
  result["Target"] = head.id;
  return result.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace libmfx::features
