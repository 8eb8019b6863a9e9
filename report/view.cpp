#include "report/view.h"

#include <Eigen/SVD>
#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <nlohmann/json.hpp>

namespace libmfx::host::report {
namespace {

using Eigen::Vector3d;
using nlohmann::json;

/// The direction in which points scatter least, and whether they really span a plane across it.
std::optional<Vector3d> FlatDirection(const std::vector<Vector3d>& points, const Vector3d& middle) {
  Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
  for (const Vector3d& p : points) scatter += (p - middle) * (p - middle).transpose();
  const Eigen::JacobiSVD<Eigen::Matrix3d> svd(scatter, Eigen::ComputeFullU);
  // Points on one line leave the plane open.
  if (!(svd.singularValues()(1) > 1e-6 * svd.singularValues()(0))) return std::nullopt;
  return svd.matrixU().col(2);
}

Vector3d Mean(const std::vector<Vector3d>& points) {
  Vector3d sum = Vector3d::Zero();
  for (const Vector3d& p : points) sum += p;
  return points.empty() ? sum : Vector3d(sum / static_cast<double>(points.size()));
}

/// What stands under the first of the keys that holds a triple.
std::optional<Vector3d> FirstTriple(const json& object, std::initializer_list<const char*> keys) {
  for (const char* key : keys) {
    if (const auto triple = Triple(object, key)) return triple;
  }
  return std::nullopt;
}

}  // namespace

std::optional<double> Number(const json& object, const char* key) {
  if (!object.is_object() || !object.contains(key) || !object[key].is_number()) {
    return std::nullopt;
  }
  const double value = object[key].get<double>();
  return std::isfinite(value) ? std::optional<double>(value) : std::nullopt;
}

std::optional<Vector3d> Triple(const json& object, const char* key) {
  if (!object.is_object() || !object.contains(key)) return std::nullopt;
  const json& value = object[key];
  if (!value.is_array() || value.size() != 3) return std::nullopt;
  Vector3d triple;
  for (int i = 0; i < 3; ++i) {
    const json& entry = value[static_cast<std::size_t>(i)];
    if (!entry.is_number()) return std::nullopt;
    triple[i] = entry.get<double>();
  }
  return triple.allFinite() ? std::optional<Vector3d>(triple) : std::nullopt;
}

Vector3d Cartesian(const RawDataPoint& sample) {
  return data_structures::AzElRange(sample.azimuth, sample.elevation, sample.range)
      .ToPoint()
      .eigen()
      .head<3>();
}

Vector3d Cartesian(const Position& position) {
  return data_structures::AzElRange(position.azimuth, position.elevation, position.range)
      .ToPoint()
      .eigen()
      .head<3>();
}

std::vector<Vector3d> Cartesian(const std::vector<Position>& plan) {
  std::vector<Vector3d> points;
  points.reserve(plan.size());
  for (const Position& position : plan) points.push_back(Cartesian(position));
  return points;
}

std::optional<geometry::Plane> MeasuredSurface(const features::Stages& stages) {
  if (stages.surface) return stages.surface;
  // Of an edge the line shows the surface, in its cross section.
  if (!stages.profile || !(stages.profile->surface_normal.norm() > 0.0)) return std::nullopt;
  return geometry::Plane(stages.profile->surface_point, stages.profile->surface_normal);
}

View FindView(const json& request, const std::vector<Vector3d>& points,
              const std::optional<geometry::Plane>& surface) {
  View view;
  const json feature = request.is_object() ? request.value("Feature", json()) : json();
  const std::optional<Vector3d> place = FirstTriple(feature, {"Location", "SurfacePoint"});
  view.origin = place.value_or(Mean(points));
  std::optional<Vector3d> normal = FirstTriple(feature, {"Normal", "Axis", "SurfaceNormal"});
  view.plane = "the nominal's plane";
  if (surface && surface->Normal().xyz().norm() > 1e-12) {
    normal = surface->Normal().xyz().normalized();
    view.origin -= normal->dot(view.origin - surface->Point().xyz()) * *normal;
    view.plane = "the measured surface";
  }
  view.on_surface = normal && normal->norm() > 1e-12;
  if (!view.on_surface) {
    normal = place ? std::nullopt : FlatDirection(points, view.origin);
    view.plane = "the plane in which most samples lie";
  }
  if (!normal) {
    normal = -view.origin;
    view.plane = "a plane across the line of sight";
  }
  if (!(normal->norm() > 1e-12) || !normal->allFinite()) normal = -Vector3d::UnitZ();
  view.normal = normal->normalized();
  if (view.normal.dot(view.origin) > 0.0) view.normal = -view.normal;

  // A plane of the samples' own goes through most of them: what lies far behind has no say.
  if (!place && !surface && !points.empty()) {
    std::vector<double> heights;
    heights.reserve(points.size());
    for (const Vector3d& p : points) heights.push_back(view.normal.dot(p - view.origin));
    const auto middle = heights.begin() + static_cast<std::ptrdiff_t>(heights.size() / 2);
    std::nth_element(heights.begin(), middle, heights.end());
    view.origin += *middle * view.normal;
  }

  // Upright as the instrument stands; a plane that lies flat is seen with +z up.
  Vector3d up = Vector3d::UnitY();
  if (up.cross(view.normal).norm() < 1e-3) up = Vector3d::UnitZ();
  view.up = (up - up.dot(view.normal) * view.normal).normalized();
  view.right = view.up.cross(view.normal);
  return view;
}

}  // namespace libmfx::host::report
