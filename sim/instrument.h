#pragma once

#include <cstdint>
#include <queue>
#include <vector>

#include "libmfx/data_structures/records.h"
#include "sim/disturbances/clock.h"
#include "sim/disturbances/disturbance.h"
#include "sim/echo.h"
#include "sim/faces/planar_face.h"
#include "sim/path_walk.h"
#include "sim/rng.h"
#include "sim/scene.h"

namespace libmfx::sim {

/// A scanning laser rangefinder that stands in the origin of its frame and looks at a scene. Scans
/// follow each other: the second scan of an instrument differs from its first by its noise, and
/// the same scans of two instruments with the same seed are the same to the last bit. All scans of
/// an instrument are one measurement: what drifts has its beginning at the first one.
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
  /// What a ray of the beam meets, in the part's frame.
  bool CastLocal(const Ray& local, Hit& hit) const;
  /// The same of a ray that is not of the beam.
  bool CastAlone(const Ray& local, Hit& hit) const;
  /// The echo of a beam.
  /// \param direction unit, of its middle
  /// \param shift of the instrument, metres
  /// \param range of the point on the path, metres
  Echo Measure(const Vec3& direction, const Vec3& shift, double range);
  /// The echo of a ray from a surface that is told.
  void AddEcho(const Ray& ray, const Hit& hit);
  /// The ghost: what the mirrored middle ray meets is seen behind the surface, as far on as it lies
  /// off. Each ray of the beam has one, as the middle has it.
  /// \returns how many ghosts there are
  int AddGhost(const Ray& ray, const Hit& hit);
  /// Finds what a beam may meet of the obstacles.
  void Gather(const Ray& middle, double widening);
  /// Radians of the beam's 1/e^2 radius at a range, where the focus does not follow it.
  double WideningAt(double range) const;
  void Append(const Aim& aim, std::vector<data_structures::RawDataPoint>& samples);
  void AppendLost(const Aim& aim, std::vector<data_structures::RawDataPoint>& samples) const;

  Scene _scene;
  Rng _rng;
  Vec3 _origin;  ///< of the instrument, in the part's frame
  std::optional<PlanarFace> _background;
  std::vector<Vec2> _footprint;  ///< directions' offsets, radians; of a focus that stays, in units
                                 ///< of the beam's 1/e^2 radius
  Disturbances _disturbances;
  Clock _clock;
  double _widest = 0.0;               ///< of these offsets
  std::vector<const Face*> _in_beam;  ///< what it may meet of the obstacles
  std::vector<RayEcho> _echoes;
};

}  // namespace libmfx::sim
