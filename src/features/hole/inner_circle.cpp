#include <algorithm>
#include <cmath>

#include "features/shared/directions.h"
#include "features/shared/segments.h"
#include "libmfx/features/hole.h"

namespace libmfx::features {
namespace {

constexpr double kMicrometre = 1e-6;

/// The clouds that the inner circle is fitted to, as one cloud of x, y, z, segment number: for
/// each edge point the wall of its line, or the edge point itself on a line without wall.
PointCloud WallOrEdge(const PointCloud& edges, const std::vector<PointCloud>& wall_points) {
  std::vector<Eigen::Vector4d> points;
  for (Eigen::Index j = 0; j < edges.cols(); ++j) {
    const int segment = static_cast<int>(edges.data()(3, j));
    const auto wall =
        std::find_if(wall_points.begin(), wall_points.end(), [segment](const PointCloud& cloud) {
          return cloud.cols() > 0 && shared::SegmentOf(cloud, 0) == segment;
        });
    if (wall == wall_points.end()) {
      points.emplace_back(edges.col(j));
      continue;
    }
    for (Eigen::Index k = 0; k < wall->cols(); ++k) {
      points.emplace_back(wall->data()(0, k), wall->data()(1, k), wall->data()(2, k), segment);
    }
  }
  Eigen::MatrixXd data(4, static_cast<Eigen::Index>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i) {
    data.col(static_cast<Eigen::Index>(i)) = points[i];
  }
  return PointCloud(std::move(data), {{data_structures::EMBEDDING_XYZ, {0}}});
}

/// All wall points as one cloud of x, y, z, segment number.
PointCloud WallAlone(const std::vector<PointCloud>& wall_points) {
  Eigen::MatrixXd data(4, shared::ColumnsOf(wall_points));
  Eigen::Index column = 0;
  for (const PointCloud& cloud : wall_points) {
    for (Eigen::Index k = 0; k < cloud.cols(); ++k, ++column) {
      data.col(column) << cloud.col(k).head<3>(), cloud.data()(4, k);
    }
  }
  return PointCloud(std::move(data), {{data_structures::EMBEDDING_XYZ, {0}}});
}

void MoveCenter(geometry::Circle& circle, const VectorXYZW& by) {
  circle.Center(circle.Center() + by);
}

}  // namespace

VectorXYZW Hole::ShiftDirection(const geometry::Circle& circle) const {
  const VectorXYZW from_foot = circle.Center() - _plane.Project(_scan_origin);
  if (from_foot.isZero(shared::kZeroDirection)) return {};
  return from_foot / from_foot.norm();
}

bool Hole::LinearBiasShift(geometry::Circle& circle) {
  const double amount = (_incidence_angle / 1.0471975511965976) * 4.9999999999999996e-5;
  MoveCenter(circle, -amount * ShiftDirection(circle));
  return true;
}

bool Hole::SigmoidBiasShift(double amplitude, double steepness, double offset,
                            geometry::Circle& circle) {
  const double amount =
      (amplitude / (std::exp(-steepness * _incidence_angle) + 1.0) + offset) * kMicrometre;
  MoveCenter(circle, -amount * ShiftDirection(circle));
  return true;
}

bool Hole::LowIncidentBiasShift(geometry::Circle& circle) {
  constexpr double kFullShiftRadius = 0.008;
  constexpr double kSigma = 0.0017;
  const double r = circle.Radius();
  const double a = r > kFullShiftRadius ? 0.0 : std::abs(r - kFullShiftRadius);
  const double g = std::exp(-(a * a) / (2.0 * kSigma * kSigma));
  const double amount = (_incidence_angle * 610.9 - 2.333) * kMicrometre * g;
  MoveCenter(circle, amount * ShiftDirection(circle));
  return true;
}

bool Hole::FitInnerCircle(const std::vector<PointCloud>& /*inliers*/, const PointCloud& edge_points,
                          const std::vector<PointCloud>& wall_points, geometry::Circle& circle) {
  const bool wall_alone = _has_chamfer && !_low_incidence;
  if (wall_alone && !_has_wall) {
    return Fail("Hole::FitInnerCircle(): Not enough wall points to fit a circle!");
  }
  const PointCloud points =
      wall_alone ? WallAlone(wall_points) : WallOrEdge(edge_points, wall_points);
  geometry::Circle fitted;
  if (_low_incidence) {
    if (!fitted.LeastSquares(points)) {
      return Fail("Holes::FitInnerCircle(): Failed to fit a circle with the wall points.");
    }
    // Half of the nominal radius here too, although the working radius is compared.
    if (std::abs(_radius - fitted.Radius()) > 0.5 * _nominal_radius) {
      return Fail(
          "Hole::FitInnerCircle(): Fit circle radius does not match input specifications. Check "
          "the nominal radius!");
    }
  } else {
    if (!fitted.LeastSquaresFixedRadius(points, _nominal_radius)) {
      return Fail(
          "Holes::FitInnerCircle(): Failed to fit a fixed radius circle with the wall points.");
    }
    if (std::abs(_nominal_radius - fitted.Radius()) > 0.5 * _nominal_radius) {
      return Fail(
          "Hole::FitInnerCircle(): Fit inner circle radius does not match input specifications. "
          "Check the inner nominal radius!");
    }
  }
  const double prior_radius = circle.Radius();
  circle.Center(fitted.Center());
  if (_low_incidence) {
    LowIncidentBiasShift(circle);
  } else if (!_has_chamfer) {
    LinearBiasShift(circle);
  } else {
    SigmoidBiasShift(139.8, 3.81, -76.56, circle);
  }
  const double tolerance = 0.25 * std::min(_radius, _clearance_zone);
  if (std::abs(fitted.Radius() + _chamfer_offset - prior_radius) > tolerance) {
    return Fail(
        "Holes::FitInnerCircle(): The inner fit circle radius differed from the prior fit circle "
        "by too much. Check the nominal center for offset!");
  }
  circle.Radius(fitted.Radius() + _chamfer_offset);
  // Out of the surface, to the side on which the instrument stands.
  if (circle.Normal().dot(_scan_origin - circle.Center()) < 0.0) circle.Normal(-circle.Normal());
  return true;
}

}  // namespace libmfx::features
