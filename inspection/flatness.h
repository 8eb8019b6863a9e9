#pragma once

#include <Eigen/Core>
#include <optional>
#include <vector>

/// \file
/// Planes through places. Lengths are metres.

namespace libmfx::inspection {

/// Points about their plane of least squares.
struct PlaneSpread {
  Eigen::Vector3d normal;  ///< unit, of either sense
  double length = 0.0;     ///< root mean square along the plane's longest direction
  double width = 0.0;      ///< the same across it, in the plane
  double height = 0.0;     ///< the same off the plane
};

/// \returns none for fewer than three points, for coordinates that are not finite (or so large that
///     their squares are not), and for points that all coincide
std::optional<PlaneSpread> SpreadAboutPlane(const std::vector<Eigen::Vector3d>& points);

/// The least distance of two parallel planes that hold all points: the minimum zone of ISO 1101.
/// The points lie nearly in a plane; of a body whose height is like its width, the distance is that
/// of a zone which no small turn makes thinner.
/// \returns none for fewer than three points, for coordinates that are not finite, and for points on
///     a line, to a millionth of its length: it has no one plane
std::optional<double> MinimumZone(const std::vector<Eigen::Vector3d>& points);

}  // namespace libmfx::inspection
