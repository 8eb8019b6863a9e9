#include "host/scene_driver.h"

#include <utility>

#include "host/drivable.h"
#include "host/errors.h"

namespace libmfx::host {

sim::Scene ReadScene(const std::string& path) {
  try {
    return sim::Scene::FromFile(path);
  } catch (const sim::SceneError& error) {
    throw CallError("scene " + OneLine(error.what()));
  }
}

SceneDriver::SceneDriver(const sim::Scene& scene, std::optional<std::uint64_t> seed,
                         std::string name)
    : _instrument(scene, seed.value_or(scene.seed)),
      _name(std::move(name)),
      _seed(seed.value_or(scene.seed)) {}

std::string SceneDriver::Name() const {
  return "virtual, scene " + _name + ", seed " + std::to_string(_seed);
}

std::unique_ptr<SceneDriver> SceneDriver::FromFile(const std::string& path,
                                                   std::optional<std::uint64_t> seed) {
  return std::make_unique<SceneDriver>(ReadScene(path), seed, path);
}

std::vector<RawDataPoint> SceneDriver::Drive(const std::vector<Position>& points,
                                             const std::string& step) {
  RequireDrivable(points);
  try {
    return _instrument.Drive(points);
  } catch (const sim::DriveError& error) {
    throw CallError("virtual instrument, step " + step + ": " + OneLine(error.what()));
  }
}

}  // namespace libmfx::host
