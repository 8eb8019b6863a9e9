#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "converse.h"
#include "host/scene_driver.h"

/// \file
/// What the measurements with the virtual instrument share.

namespace libmfx::test {

inline nlohmann::json Triple(const sim::Vec3& v) { return {v.x(), v.y(), v.z()}; }

/// Three numbers of a result.
inline sim::Vec3 VectorIn(const nlohmann::json& result, const char* key) {
  const nlohmann::json& v = result[key];
  return sim::Vec3(v[0], v[1], v[2]);
}

/// Distance of the measured place from the true one, metres.
inline double DistanceFrom(const sim::Vec3& truth, const nlohmann::json& result) {
  return (VectorIn(result, "Location") - truth).norm();
}

/// The virtual instrument in front of a scene. It remembers what it was driven for.
class WatchedDriver final : public host::Driver {
 public:
  WatchedDriver(const sim::Scene& scene, std::uint64_t seed) : _driver(scene, seed) {}

  std::string Name() const override { return _driver.Name(); }
  std::vector<host::RawDataPoint> Drive(const std::vector<host::Position>& points,
                                        const std::string& step) override {
    steps.push_back(step);
    std::vector<host::RawDataPoint> samples = _driver.Drive(points, step);
    if (hides) std::erase_if(samples, hides);
    return samples;
  }

  std::vector<std::string> steps;
  std::function<bool(const host::RawDataPoint&)> hides;  ///< samples that do not come back

 private:
  host::SceneDriver _driver;
};

/// The result message of a measurement without a search.
/// \param max_passes most re-scans around a moved nominal
/// \throws host::CallError if a path brings back no sample twice in a row
inline nlohmann::json ResultOf(const std::string& request, const sim::Scene& scene,
                               std::uint64_t seed, int max_passes = 0) {
  const std::unique_ptr<features::Feature> feature(features::Feature::Create(request));
  host::SceneDriver driver(scene, seed);
  return nlohmann::json::parse(Converse(*feature, driver, max_passes).result);
}

}  // namespace libmfx::test
