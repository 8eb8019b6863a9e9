#include "inspection/measurable.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <vector>

#include "uncertainty/values.h"

namespace libmfx::inspection {

using Eigen::Matrix3d;

Shape ShapeOf(std::string_view type) {
  if (type == "MatteSphereFeature") return Shape::kBall;
  if (type == "HoleFeature" || type == "SlotFeature" || type == "RectangleFeature" ||
      type == "PolygonFeature") {
    return Shape::kOpening;
  }
  if (type == "StudFeature" || type == "ThreadedHoleFeature") return Shape::kCylinder;
  if (type == "SurfaceNormalFeature") return Shape::kSurfacePoint;
  return type == "EdgeFeature" ? Shape::kEdge : Shape::kPath;
}

Matrix3d Along(const Vector3d& direction) {
  const double norm = direction.norm();
  if (!std::isfinite(norm) || !(norm > 0.0)) return Matrix3d::Zero();
  const Vector3d unit = direction / norm;
  return unit * unit.transpose();
}

Matrix3d Across(const Vector3d& direction) {
  const Matrix3d along = Along(direction);
  if (along.isZero(0.0)) return along;
  return Matrix3d::Identity() - along;
}

bool Holds(const Matrix3d& directions, const Vector3d& vector) {
  return (vector - directions * vector).norm() <= kHeld * vector.norm();
}

// Of two planes or lines whose least angle is t, the sum of the projectors has the eigenvalue
// 1 + cos(t), so that it lacks t^2 / 2 of the 2 that what they share has.
Matrix3d TakenBy(const Datum& datum) {
  if (datum.kind == Datum::Kind::kPlane) return Along(datum.direction);
  if (datum.kind == Datum::Kind::kLine) return Across(datum.direction);
  return Matrix3d::Identity();
}

Matrix3d Shared(const Matrix3d& a, const Matrix3d& b) {
  if (a.isIdentity(0.0)) return b;
  if (b.isIdentity(0.0)) return a;
  const Eigen::SelfAdjointEigenSolver<Matrix3d> both(a + b);
  Matrix3d shared = Matrix3d::Zero();
  for (Eigen::Index i = 0; i < 3; ++i) {
    if (2.0 - both.eigenvalues()[i] > 0.5 * kHeld * kHeld) continue;
    shared += both.eigenvectors().col(i) * both.eigenvectors().col(i).transpose();
  }
  return shared;
}

Matrix3d PositionDirections(const PlannedFeature& feature) {
  switch (ShapeOf(feature.type)) {
    case Shape::kBall:
      return Matrix3d::Identity();
    case Shape::kOpening:
    case Shape::kCylinder:
      return Across(feature.direction);
    case Shape::kEdge:
      return Along(feature.tangent);
    case Shape::kSurfacePoint:
    case Shape::kPath:
      break;
  }
  return Matrix3d::Zero();
}

bool MeasuresDirection(std::string_view type) {
  const Shape shape = ShapeOf(type);
  return shape == Shape::kOpening || shape == Shape::kCylinder || shape == Shape::kSurfacePoint;
}

bool MeasuresTangent(std::string_view type) {
  return type == "SlotFeature" || type == "RectangleFeature" || type == "PolygonFeature";
}

bool MeasuresSize(std::string_view type, std::string_view size) {
  if (size == "diameter") return ShapeOf(type) == Shape::kCylinder || type == "PolygonFeature";
  return (size == "length" || size == "width") &&
         (type == "SlotFeature" || type == "RectangleFeature");
}

bool Repeats(const PlannedFeature& feature, std::string_view key) {
  if (ShapeOf(feature.type) != Shape::kCylinder) return false;
  const std::vector<std::string> keys = uncertainty::RepeatedKeys(
      feature.request.dump(-1, ' ', false, json::error_handler_t::replace));
  return std::find(keys.begin(), keys.end(), key) != keys.end();
}

}  // namespace libmfx::inspection
