#pragma once

#include <cstdint>
#include <queue>
#include <vector>

#include "libmfx/data_structures/records.h"
#include "sim/echo.h"
#include "sim/faces/planar_face.h"
#include "sim/path_walk.h"
#include "sim/rng.h"
#include "sim/scene.h"

namespace libmfx::sim {

/// A scanning laser rangefinder that stands in the origin of its frame and looks at a scene. Scans
/// follow each other: the second scan of an instrument differs from its first by its noise, and
/// the same scans of two instruments with the same seed are the same to the last bit.
///
/// One instrument serves one thread; a scene's part may be shared between threads.
class Instrument {
 public:
  /// \param seed of every random draw
  Instrument(Scene scene, std::uint64_t seed);
  /// With the scene's own seed.
  explicit Instrument(Scene scene);

  const Scene& scene() const { return _scene; }

  /// Drives along the points and returns the samples in order. The status of a sample is the index
  /// of the drive point that ends its move; its angles lie in the branch of the drive points.
  /// \throws DriveError
  std::vector<data_structures::RawDataPoint> Drive(
      const std::vector<data_structures::Position>& path);
  std::vector<data_structures::RawDataPoint> Drive(std::queue<data_structures::Position> path);

  /// The first thing that a beam from the instrument meets, in the instrument's frame.
  /// \param direction unit vector
  /// \returns whether it meets anything
  bool Cast(const Vec3& direction, Hit& hit) const;

 private:
  bool CastLocal(const Vec3& local_direction, Hit& hit) const;
  Echo Measure(const Vec3& direction);
  void Append(const Aim& aim, std::vector<data_structures::RawDataPoint>& samples);

  Scene _scene;
  Rng _rng;
  Vec3 _origin;  ///< of the instrument, in the part's frame
  std::optional<PlanarFace> _background;
  std::vector<Vec2> _footprint;  ///< directions' offsets, radians
  std::vector<RayEcho> _echoes;
};

}  // namespace libmfx::sim
