#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

#include "libmfx/data_structures/point.h"
#include "libmfx/export.h"

/// \file
/// The plain records that cross the boundary to the instrument, and the library's own spherical
/// coordinate. Angles are radians, lengths metres. Azimuth 0 and elevation 0 look along +Z,
/// elevation pi/2 along +Y, and a positive azimuth turns towards -X.

namespace libmfx::data_structures {

/// A spherical coordinate in the instrument's frame.
class LIBMFX_EXPORT AzElRange {
 public:
  double azimuth = 0.0;    ///< radians
  double elevation = 0.0;  ///< radians
  double range = 2.0;      ///< metres

  /// A position two metres straight ahead.
  AzElRange() = default;
  AzElRange(double az, double el, double r) : azimuth(az), elevation(el), range(r) {}
  /// The direction and distance of a cartesian point. The point at the origin gives azimuth -0.
  AzElRange(const PointXYZW& p)
      : azimuth(-std::atan2(p.x(), p.z())),
        elevation(std::atan2(p.y(), std::sqrt(p.x() * p.x() + p.z() * p.z()))),
        range(std::sqrt(p.x() * p.x() + p.y() * p.y() + p.z() * p.z())) {}
  /// From a (3,1) vector that holds azimuth, elevation, range.
  /// \throws std::string if the vector has another shape.
  template <typename Derived>
  explicit AzElRange(const Eigen::MatrixBase<Derived>& v) {
    if (v.rows() != 3 || v.cols() != 1) {
      throw std::string("AzElRange constructor requires a (3,1)-(row,col) vector!");
    }
    azimuth = v(0, 0);
    elevation = v(1, 0);
    range = v(2, 0);
  }

  /// The cartesian point, `w` 1.
  PointXYZW ToPoint() const {
    const double horizontal = std::cos(elevation) * range;
    return {-std::sin(azimuth) * horizontal, std::sin(elevation) * range,
            std::cos(azimuth) * horizontal};
  }
};

/// One drive point that goes out to the instrument: 32 bytes.
struct Position {
  double azimuth = 0.0;        ///< radians; beyond +-pi on a path that crosses the seam
  double elevation = 0.0;      ///< radians; below -pi/2 on a path sent over the top
  double range = 0.0;          ///< metres
  double point_spacing = 0.0;  ///< metres between samples on the way here; 0: not sampled

  Position() = default;
  Position(double az, double el, double r, double spacing)
      : azimuth(az), elevation(el), range(r), point_spacing(spacing) {}
  Position(const AzElRange& aer, double spacing)
      : Position(aer.azimuth, aer.elevation, aer.range, spacing) {}
  Position(const PointXYZW& p, double spacing) : Position(AzElRange(p), spacing) {}

  friend bool operator==(const Position&, const Position&) = default;
};

/// One sample that comes back: 48 bytes, also its form in a binary result.
struct RawDataPoint {
  double azimuth = 0.0;     ///< radians
  double elevation = 0.0;   ///< radians
  double range = 0.0;       ///< metres
  double quality = 0.0;     ///< larger is better
  std::int32_t status = 0;  ///< segment number: index of the drive point that ends the move
  std::int32_t padding = 0;
  double reserved = 0.0;

  RawDataPoint() = default;
  RawDataPoint(double az, double el, double r, double q, std::int32_t s)
      : azimuth(az), elevation(el), range(r), quality(q), status(s) {}

  friend bool operator==(const RawDataPoint&, const RawDataPoint&) = default;
};

static_assert(sizeof(Position) == 32);
static_assert(sizeof(RawDataPoint) == 48);
static_assert(offsetof(RawDataPoint, quality) == 24 && offsetof(RawDataPoint, status) == 32 &&
              offsetof(RawDataPoint, reserved) == 40);

/// Whether a sample may take part in a measurement: all of its numbers are finite and its quality
/// is at least `min_quality`. A sample that is not finite counts as one that fails the threshold.
inline bool IsUsable(const RawDataPoint& sample, double min_quality) {
  return sample.quality >= min_quality && std::isfinite(sample.quality) &&
         std::isfinite(sample.azimuth) && std::isfinite(sample.elevation) &&
         std::isfinite(sample.range);
}

}  // namespace libmfx::data_structures
