#include <algorithm>
#include <cmath>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "geometry/decompositions.h"
#include "libmfx/geometry/cylinder_fitter.h"

namespace libmfx::geometry {
namespace {

using BasePlane = ThreadedCylinderFitter::BasePlane;
using PointList = std::vector<Eigen::Vector3d>;

constexpr std::size_t kFewestPoints = 3;
constexpr int kTrimmingRounds = 8;
// Least second scatter of the points, as a share of their mean square, that fixes a normal: points
// nearer to one line than a 1e-8 of their extent are in one line.
constexpr double kLeastWidth = 1e-16;

void Require(std::size_t count) {
  if (count < kFewestPoints) throw std::runtime_error("Too few points for plane fitting");
}

// Centroid and mean squared distance from it: the scale that the scatter is divided by.
BasePlane Centre(const PointList& points) {
  BasePlane plane;
  for (const Eigen::Vector3d& p : points) plane.point += p;
  plane.point /= static_cast<double>(points.size());
  for (const Eigen::Vector3d& p : points) plane.scale += (p - plane.point).squaredNorm();
  plane.scale /= static_cast<double>(points.size());
  plane.points = static_cast<int>(points.size());
  return plane;
}

double Distance(const BasePlane& plane, const Eigen::Vector3d& p) {
  return (p - plane.point).dot(plane.normal);
}

void FillRms(const PointList& points, BasePlane& plane) {
  double sum = 0.0;
  for (const Eigen::Vector3d& p : points) sum += Distance(plane, p) * Distance(plane, p);
  plane.rms = std::sqrt(sum / static_cast<double>(points.size()));
}

BasePlane FreePlane(const PointList& points, const Eigen::Vector3d& side) {
  BasePlane plane = Centre(points);
  if (!(plane.scale > 0.0)) throw std::runtime_error("Plane fitting failed");
  const double unit = 1.0 / std::sqrt(plane.scale);
  Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
  for (const Eigen::Vector3d& p : points) {
    const Eigen::Vector3d d = (p - plane.point) * unit;
    scatter += d * d.transpose();
  }
  scatter /= static_cast<double>(points.size());
  const Svd svd = ThinSvd(scatter);
  if (!(svd.singularValues()[1] > kLeastWidth)) throw std::runtime_error("Plane fitting failed");
  plane.normal = svd.matrixU().col(2);
  if (plane.normal.dot(side) < 0.0) plane.normal = -plane.normal;
  return plane;
}

BasePlane TrimmedPlane(const PointList& points, const Eigen::Vector3d& side, double tolerance) {
  BasePlane plane = FreePlane(points, side);
  PointList kept = points;
  for (int round = 0; round < kTrimmingRounds; ++round) {
    PointList near;
    std::copy_if(
        points.begin(), points.end(), std::back_inserter(near),
        [&](const Eigen::Vector3d& p) { return std::abs(Distance(plane, p)) <= tolerance; });
    if (near == kept) break;
    kept = std::move(near);
    Require(kept.size());
    plane = FreePlane(kept, side);
  }
  FillRms(kept, plane);
  return plane;
}

}  // namespace

BasePlane ThreadedCylinderFitter::FitBasePlane(const PointList& points,
                                               const Eigen::Vector3d& normal, int mode,
                                               double tolerance) {
  Require(points.size());
  switch (mode) {
    case kFixedNormal: {
      BasePlane plane = Centre(points);
      plane.normal = normal.stableNormalized();
      if (!(plane.normal.norm() > 0.0)) throw std::runtime_error("Plane fitting failed");
      FillRms(points, plane);
      return plane;
    }
    case kFreePlane: {
      BasePlane plane = FreePlane(points, normal);
      FillRms(points, plane);
      return plane;
    }
    case kTrimmedPlane:
      return TrimmedPlane(points, normal, tolerance);
    default:
      throw std::invalid_argument("Unknown mode of plane fitting");
  }
}

}  // namespace libmfx::geometry
