#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "host/driver.h"
#include "sim/instrument.h"

namespace libmfx::host {

/// The scene of a file.
/// \throws CallError that names the file, the key and its value
sim::Scene ReadScene(const std::string& path);

/// The virtual instrument in front of a scene.
class SceneDriver final : public Driver {
 public:
  /// \param seed of every random draw; without one, the scene's own
  /// \param name of the scene, for people
  SceneDriver(const sim::Scene& scene, std::optional<std::uint64_t> seed, std::string name = {});

  /// With the scene of a file, read by ReadScene.
  static std::unique_ptr<SceneDriver> FromFile(const std::string& path,
                                               std::optional<std::uint64_t> seed);

  std::string Name() const override;
  std::vector<RawDataPoint> Drive(const std::vector<Position>& points,
                                  const std::string& step) override;

 private:
  sim::Instrument _instrument;
  std::string _name;
  std::uint64_t _seed;
};

}  // namespace libmfx::host
