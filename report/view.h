#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/recording.h"
#include "libmfx/features/stages.h"
#include "report/plot.h"

namespace libmfx::host::report {

/// Where the reader of a picture stands: in front of the feature, on the instrument's side. `right`
/// and `up` span the plane of the feature, `normal` points to the reader.
struct View {
  Eigen::Vector3d origin = Eigen::Vector3d::Zero();
  Eigen::Vector3d right = Eigen::Vector3d::UnitX();
  Eigen::Vector3d up = Eigen::Vector3d::UnitY();
  Eigen::Vector3d normal = -Eigen::Vector3d::UnitZ();
  std::string plane;        ///< which plane it is, in words
  bool on_surface = false;  ///< it is a surface of the part, measured or nominal

  /// A point of the instrument's frame in the plane of the picture, metres.
  Point2 Front(const Eigen::Vector3d& p) const {
    return {right.dot(p - origin), up.dot(p - origin)};
  }
  std::vector<Point2> Front(const std::vector<Eigen::Vector3d>& points) const {
    std::vector<Point2> flat;
    flat.reserve(points.size());
    for (const Eigen::Vector3d& p : points) flat.push_back(Front(p));
    return flat;
  }
  /// How far it stands out of that plane, towards the reader, metres.
  double Height(const Eigen::Vector3d& p) const { return normal.dot(p - origin); }
};

/// The surface that an analysis found; nothing if it did not get that far, or looks for none.
std::optional<geometry::Plane> MeasuredSurface(const features::Stages& stages);

/// The view of a measurement: the measured surface where there is one, the plane of the nominal
/// where the request names one, else the plane that fits the points best. Its origin is the foot of
/// the nominal place on it.
View FindView(const nlohmann::json& request, const std::vector<Eigen::Vector3d>& points,
              const std::optional<geometry::Plane>& surface = std::nullopt);

/// The cartesian point of a sample or a drive point, in the instrument's frame.
Eigen::Vector3d Cartesian(const RawDataPoint& sample);
Eigen::Vector3d Cartesian(const Position& position);

/// The end points of a plan.
std::vector<Eigen::Vector3d> Cartesian(const std::vector<Position>& plan);

/// Three finite numbers under a key, or nothing.
std::optional<Eigen::Vector3d> Triple(const nlohmann::json& object, const char* key);
/// A finite number under a key, or nothing.
std::optional<double> Number(const nlohmann::json& object, const char* key);

}  // namespace libmfx::host::report
