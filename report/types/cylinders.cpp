// Studs and threaded holes: the samples from the side, along the axis and away from it, and what
// the fit leaves of those in its window, unrolled.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "report/type_figures.h"

namespace libmfx::host::report {
namespace {

using Eigen::Vector3d;
using features::SampleFate;

constexpr double kDegrees = 180.0 / 3.14159265358979323846;

/// Blue inside of the wall, orange outside, pale on it; `share` from -1 to 1.
std::string ResidualColour(double share) {
  const double s = std::clamp(share, -1.0, 1.0);
  const int ends[2][3] = {{0xd9, 0x6b, 0x12}, {0x1b, 0x4f, 0x8f}};
  const int* end = ends[s < 0.0 ? 1 : 0];
  char text[8];
  const auto channel = [&](int k) {
    return static_cast<unsigned>(std::lround(0xe8 + (end[k] - 0xe8) * std::abs(s))) & 0xffU;
  };
  std::snprintf(text, sizeof text, "#%02x%02x%02x", channel(0), channel(1), channel(2));
  return text;
}

/// A sample of the wall, laid flat.
struct Flat {
  double turn;      ///< degrees
  double height;    ///< along the axis, metres
  double residual;  ///< metres
  bool followed;    ///< by the fit
};

/// The samples in the window of the analysis. 0 degrees is the middle of the side in sight.
std::vector<Flat> LaidFlat(const Measured& m, const Vector3d& center, const Vector3d& axis,
                           double radius) {
  const Vector3d forward = (-center - (-center).dot(axis) * axis).normalized();
  if (!m.IsRecorded() || !(forward.norm() > 0.5)) return {};
  std::vector<std::pair<Vector3d, bool>> points;
  double facing = 0.0;
  for (std::size_t i = 0; i < m.stages.fates.size(); ++i) {
    const SampleFate fate = m.stages.fates[i];
    if (fate != SampleFate::kWall && fate != SampleFate::kDropped) continue;
    points.emplace_back(Cartesian(m.exchanges.back().samples[i]) - center,
                        fate == SampleFate::kWall);
    facing += points.back().first.dot(forward);
  }
  // A bore shows the wall behind its axis, a stud the one before it.
  const double side = facing < 0.0 ? -1.0 : 1.0;
  const Vector3d aside = axis.cross(forward);
  std::vector<Flat> flat;
  flat.reserve(points.size());
  for (const auto& [out, followed] : points) {
    flat.push_back({kDegrees * std::atan2(side * out.dot(aside), side * out.dot(forward)),
                    out.dot(axis), out.cross(axis).norm() - radius, followed});
  }
  return flat;
}

std::vector<Figure> Unrolled(const Measured& m, const Vector3d& center, const Vector3d& axis,
                             double radius) {
  const std::vector<Flat> flat = LaidFlat(m, center, axis, radius);
  std::vector<double> sizes;
  Extents shown;
  for (const Flat& f : flat) {
    shown.Add(Point2(f.turn, f.height));
    if (f.followed) sizes.push_back(std::abs(f.residual));
  }
  if (sizes.size() < 3) return {};
  const double full = std::max(Quantile(sizes, 0.95), 1e-7);
  const LengthUnit unit = UnitFor(shown.y.Size());
  const LengthUnit fine = UnitFor(full);
  Plot plot(kWidth, 360.0, {"around the axis / \xC2\xB0", shown.x.low, shown.x.high},
            LengthAxis("along the axis", unit, shown.y.low, shown.y.high), false);
  for (std::size_t i = 0; i < flat.size(); i += StepFor(flat.size())) {
    const Point2 at(flat[i].turn, unit.scale * flat[i].height);
    plot.Dot(at, flat[i].followed ? "sample" : "dropped", 2.2,
             flat[i].followed ? ResidualColour(flat[i].residual / full) : std::string());
  }
  return {
      {"Unrolled wall", plot.Svg("Unrolled wall"),
       "The " + std::to_string(sizes.size()) +
           " samples of the last scan that the fit rests on, the wall laid flat; 0\xC2\xB0 is the "
           "middle of the side in sight. Blue: nearer to the axis than the measured radius, "
           "orange: "
           "farther, full colour at " +
           NumberText(fine.scale * full, 3) + " " + fine.name +
           ". Open red: " + std::to_string(flat.size() - sizes.size()) +
           " samples in the window that it does not follow. A thread shows as slanted stripes; of "
           "a smooth wall stripes or patches " +
           (m.stages.form ? "are errors of its form." : "mean that the fit is not the wall.")}};
}

std::vector<Figure> Pictures(const Measured& m) {
  const auto center = Triple(m.result, "Location");
  const auto direction = Triple(m.result, "Axis");
  const auto radius = Number(m.result, "Radius");
  const std::vector<Vector3d> points = ResultPoints(m.result);
  if (!center || !direction || !radius || points.empty() || !(direction->norm() > 0.0)) return {};

  const Vector3d axis = direction->normalized();
  std::vector<Point2> sides;  // along the axis, away from it / m
  Extent along;
  for (const Vector3d& p : points) {
    const Vector3d out = p - *center;
    const Point2 side(out.dot(axis), out.cross(axis).norm());
    if (side.y() > 2.0 * *radius) continue;
    sides.push_back(side);
    along.Add(side.x());
  }
  const LengthUnit unit = UnitFor(std::max(along.Size(), 2.0 * *radius));
  Plot plot(kWidth, 300.0, LengthAxis("along the axis", unit, along.low, along.high),
            LengthAxis("distance from the axis", unit, 0.0, 2.0 * *radius), false);
  plot.Level(unit.scale * *radius, "level",
             m.radius_as_told ? "radius as told" : "measured radius");
  for (const Point2& side : sides) plot.Dot(unit.scale * side, "sample", 1.6);
  std::vector<Figure> figures = {
      {"From the side", plot.Svg("From the side"),
       "The samples in the result by their place along the measured axis, from the measured "
       "location on, and their distance from it. " +
           std::to_string(sides.size()) + " samples within two radii."}};
  for (Figure& figure : Unrolled(m, *center, axis, *radius)) figures.push_back(std::move(figure));
  return figures;
}

const TypeFigures kStud("StudTargetResult", Pictures);
const TypeFigures kThreadedHole("ThreadedHoleTargetResult", Pictures);

}  // namespace
}  // namespace libmfx::host::report
