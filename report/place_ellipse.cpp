#include "report/place_ellipse.h"

#include <Eigen/Dense>
#include <cmath>
#include <numbers>

namespace libmfx::host::report {
namespace {

/// 1, 2 or 5 times a power of ten, not above a number; not below 1.
double RoundBelow(double number) {
  if (!(number > 1.0)) return 1.0;
  const double decade = std::pow(10.0, std::floor(std::log10(number)));
  for (const double factor : {5.0, 2.0}) {
    if (factor * decade <= number) return factor * decade;
  }
  return decade;
}

/// A length in a unit that is told once for several.
std::string LengthText(double metres, const LengthUnit& unit) {
  return NumberText(unit.scale * metres, 2);
}

std::string Words(double times, const Point2& half, double off) {
  const LengthUnit unit = UnitFor(half.x());
  std::string words = "Filled red: the 95 % ellipse of the place in this plane, " +
                      (times > 1.0 ? "drawn " + NumberText(times) + " times as large"
                                   : std::string("drawn to scale")) +
                      ": half axes " + LengthText(half.x(), unit) + " " + unit.name + " by " +
                      LengthText(half.y(), unit) + " " + unit.name + ". ";
  if (off > 0.1 * half.x()) {
    const LengthUnit off_unit = UnitFor(off);
    words += "Its middle stands off the measured place by the mean error, " +
             LengthText(off, off_unit) + " " + off_unit.name + ", as much magnified. ";
  }
  return words;
}

}  // namespace

std::optional<PlaceEllipse> FindPlaceEllipse(const Spread& spread, const View& view,
                                             const Point2& measured, double extent) {
  const Spread::Quantity* place = spread.Find("Location");
  if (place == nullptr || place->is_direction || place->bias.size() != 3 || !(extent > 0.0)) {
    return std::nullopt;
  }
  Eigen::Matrix<double, 3, 2> plane;
  plane << view.right, view.up;
  const Eigen::Vector3d bias(place->bias[0], place->bias[1], place->bias[2]);
  const Point2 off = -plane.transpose() * bias;
  const Eigen::Matrix2d scatter =
      0.5 * plane.transpose() * (place->covariance + place->covariance.transpose()) * plane;
  if (!std::isfinite(off.norm()) || !scatter.allFinite()) return std::nullopt;
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix2d> axes(scatter);
  const Point2 half = (kSquared95 * axes.eigenvalues().reverse().cwiseMax(0.0)).cwiseSqrt();
  constexpr double kLeast = 1e-9;
  if (!half.allFinite() || !(half.x() > kLeast)) return std::nullopt;

  // Large enough to be seen, and small enough to leave the feature in sight.
  const double times = RoundBelow(0.12 * extent / (half.x() + off.norm()));
  PlaceEllipse ellipse{{}, Words(times, half, off.norm())};
  constexpr int kSteps = 72;
  for (int i = 0; i <= kSteps; ++i) {
    const double angle = 2.0 * std::numbers::pi * (i % kSteps) / kSteps;
    const Point2 from_middle = half.x() * std::cos(angle) * axes.eigenvectors().col(1) +
                               half.y() * std::sin(angle) * axes.eigenvectors().col(0);
    ellipse.line.emplace_back(measured + times * (off + from_middle));
  }
  return ellipse;
}

}  // namespace libmfx::host::report
