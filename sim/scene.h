#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "sim/disturbances/instrument_errors.h"
#include "sim/noise.h"
#include "sim/obstacles/obstacles.h"
#include "sim/part.h"
#include "sim/pose.h"
#include "sim/surface/surface.h"

namespace libmfx::sim {

/// A scene that cannot be built. The text is one line that names the key and its value.
class SceneError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Everything that the instrument looks at, and how it errs.
struct Scene {
  std::shared_ptr<const Part> part;
  Pose pose;
  /// Distance (m) of an endless plane behind the part, parallel to its front, from the part's
  /// origin; none: whatever misses the part is lost.
  std::optional<double> behind;
  Noise noise;
  Obstacles obstacles;  ///< in the part's frame
  InstrumentErrors instrument;
  std::shared_ptr<const Surface> surface;  ///< none: matte and clean
  std::uint64_t seed = 1;
  std::vector<std::filesystem::path> files;  ///< part files that were read for it

  /// Reads a scene file; docs/scenes.md tells its keys. Part files are looked for beside it.
  /// \throws SceneError
  static Scene FromFile(const std::filesystem::path& file);
  /// The same from a text that was read elsewhere.
  /// \param folder where part files with a relative path are looked for
  /// \throws SceneError
  static Scene FromText(std::string_view json, const std::filesystem::path& folder = ".");
  /// The same from a value that was parsed elsewhere.
  static Scene FromJson(const nlohmann::json& value, const std::filesystem::path& folder = ".");

  /// The truth of the part in the instrument's frame.
  Truth TruthInInstrument() const;
  /// The same as one object: points and directions as arrays of three, values as numbers.
  nlohmann::json TruthJson() const;
};

}  // namespace libmfx::sim
