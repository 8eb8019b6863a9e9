// Requests: any text through the whole conversation, with an instrument that answers what was
// asked, spoiled in the ways that the first byte of the input tells. The rest of the input is the
// request.

#include <cmath>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <queue>
#include <string>
#include <vector>

#include "byte_source.h"
#include "check.h"
#include "libmfx/features/feature.h"
#include "libmfx/win32_support/exports.h"
#include "toy_instrument.h"

namespace {

using fuzz::ToyInstrument;
using libmfx::data_structures::Position;
using libmfx::features::Feature;
using nlohmann::json;

constexpr int kMostRounds = 4;

void CountLine(const wchar_t* name, int level, const wchar_t* text) {
  FUZZ_CHECK(name != nullptr && text != nullptr && level >= 0 && level <= 4);
}

/// The FNV-1a hash: the same seed for the same request with every compiler.
std::uint64_t SeedOf(const std::string& text) {
  std::uint64_t hash = 0xcbf29ce484222325u;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3u;
  return hash;
}

void CheckPlan(std::queue<Position> plan) {
  FUZZ_CHECK(plan.size() <= 1000000);
  for (; !plan.empty(); plan.pop()) {
    const Position& p = plan.front();
    FUZZ_CHECK(std::isfinite(p.azimuth) && std::isfinite(p.elevation) && std::isfinite(p.range));
  }
}

/// A result is one JSON object; one that reports success has no error text and no measured value
/// that is missing.
void CheckResult(Feature& feature) {
  const std::string text = feature.GetResult();
  FUZZ_CHECK(text == feature.GetResult());
  const json result = json::parse(text, nullptr, false);
  FUZZ_CHECK(result.is_object());
  FUZZ_CHECK(result.contains("$type") && result.contains("Success"));
  if (!feature.GetIsSuccessful()) {
    FUZZ_CHECK(result["Success"] != json(true));
    return;
  }
  FUZZ_CHECK(result["Success"] == json(true));
  FUZZ_CHECK(!result.contains("ErrorMessage"));
  for (const auto& [key, value] : result.items()) {
    if (key == "ScanData") continue;
    FUZZ_CHECK(!value.is_null());
    for (const json& element : value) FUZZ_CHECK(!element.is_null());
  }
}

/// Drives `plan` and offers the samples until the feature takes them.
void Deliver(Feature& feature, std::queue<Position> plan, ToyInstrument& instrument) {
  for (int round = 0; round < kMostRounds; ++round) {
    CheckPlan(plan);
    std::queue<Position> next;
    if (feature.SetRawData(instrument.Drive(plan), next)) return;
    plan.swap(next);
  }
}

void Converse(Feature& feature, ToyInstrument& instrument) {
  feature.OutputDataBySegment(false);
  CheckResult(feature);
  Deliver(feature, feature.GetDrivePoints(false), instrument);
  feature.AnalyzeFeature();
  CheckResult(feature);
  if (feature.GetDriveStep() == libmfx::features::RESCAN) {
    const std::queue<Position>& plan = feature.GetDrivePoints(true);
    CheckPlan(plan);
    feature.UpdateRawData(instrument.Drive(plan));
    feature.AnalyzeFeature();
    CheckResult(feature);
  }
  feature.Reset(false, true);
  Deliver(feature, feature.GetDrivePoints(true), instrument);
  feature.AnalyzeFeature();
  CheckResult(feature);
  feature.Reset(true, false);
  feature.SetScanPathReturnType(libmfx::features::SCANPATH_RETURN_BINARY);
  feature.AnalyzeFeature();
  CheckResult(feature);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  RegisterLogCallbackFunction(CountLine);
  ByteSource bytes(data, size);
  const std::uint8_t damage = bytes.Take<std::uint8_t>();
  const std::string request = bytes.Rest();
  ToyInstrument instrument(damage, SeedOf(request));
  const std::unique_ptr<Feature> feature(Feature::Create(request));
  FUZZ_CHECK(feature != nullptr);
  Converse(*feature, instrument);
  return 0;
}
