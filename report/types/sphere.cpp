// The pictures of a matte sphere: the ranging stroke, the pattern by the parts into which the
// analysis cut it and by what became of each sample, and the residuals against the sphere.

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "report/type_figures.h"

namespace libmfx::host::report {
namespace {

using Eigen::Vector3d;
using features::SampleFate;

/// Quadrants as the reader sees them, upper right first and anticlockwise, then the centre patch.
constexpr const char* kPartColours[] = {"#1b4f8f", "#d9822b", "#00707f", "#8c2981", "#858585"};

const Exchange* LastScan(const Measured& measured, const char* step) {
  const Exchange* found = nullptr;
  for (const Exchange& exchange : measured.exchanges) {
    if (exchange.step == step) found = &exchange;
  }
  return found;
}

/// \param nominal where the stroke passes it
Figure StrokeFigure(const Exchange& stroke, const Vector3d& nominal) {
  const Vector3d way =
      (Cartesian(stroke.points.back()) - Cartesian(stroke.points.front())).normalized();
  std::vector<double> ranges;
  for (const RawDataPoint& s : stroke.samples) {
    if (s.range > 0.0 && std::isfinite(s.range)) ranges.push_back(s.range);
  }
  const double middle = Quantile(ranges, 0.5);
  std::vector<Point2> marks;
  Extents shown;
  for (const RawDataPoint& s : stroke.samples) {
    if (!(s.range > 0.0)) continue;
    const Vector3d aimed = Cartesian(s).normalized() * nominal.norm();
    marks.emplace_back(1e3 * way.dot(aimed - nominal), 1e6 * (s.range - middle));
    shown.Add(marks.back());
  }
  Plot plot(kWidth, 220.0, {"along the stroke / mm", shown.x.low, shown.x.high},
            {"range / \xC2\xB5m", shown.y.low, shown.y.high}, false);
  plot.Line({{0.0, shown.y.low}, {0.0, shown.y.high}}, "nominal");
  for (const Point2& mark : marks) plot.Dot(mark, "sample", 3.0);
  return {"Ranging stroke", plot.Svg("Ranging stroke"),
          "Range of the samples of the stroke, less their median of " + NumberText(middle, 8) +
              " m. The one nearest in direction to the nominal (dashed line) tells the distance of "
              "the surface. " +
              std::to_string(stroke.samples.size()) + " samples."};
}

/// The samples from the front; `colour` of a sample, empty: drawn as an open red dot.
template <typename Colour>
std::string FrontSvg(const Measured& measured, double radius, const std::string& title,
                     Colour colour) {
  Extents shown;
  for (const double side : {-radius, radius}) shown.Add(Point2(side, side));
  const LengthUnit unit = UnitFor(2.0 * radius);
  Plot plot = FrontPlot(shown, unit, 520.0);
  plot.Circle(Point2::Zero(), unit.scale * radius, "nominal");
  const std::vector<RawDataPoint>& samples = measured.exchanges.back().samples;
  for (std::size_t i = 0; i < samples.size(); i += StepFor(samples.size())) {
    const std::string fill = colour(i);
    plot.Dot(unit.scale * measured.view.Front(Cartesian(samples[i])),
             fill.empty() ? "dropped" : "sample", 1.6, fill);
  }
  return plot.Svg(title);
}

Figure PartsFigure(const Measured& measured, double radius) {
  const char* title = "Parts of the scan";
  const auto colour = [&](std::size_t i) {
    const int part = measured.stages.parts[i];
    return part < 0 ? std::string() : std::string(kPartColours[part % 5]);
  };
  return {title, FrontSvg(measured, radius, title, colour),
          "The parts that compete for the fit: quadrants upper right (blue), upper left (orange), "
          "lower left (teal), lower right (violet), and the centre patch (grey), whose samples "
          "count in their quadrants too. Open red dots: below the quality threshold, or farther "
          "from the surface than a radius. Dashed: the ball around the nominal."};
}

Figure FateFigure(const Measured& measured, double radius) {
  const char* title = "What became of the samples";
  const auto colour = [&](std::size_t i) {
    const SampleFate fate = measured.stages.fates[i];
    return std::string(fate == SampleFate::kFitted    ? "#1b4f8f"
                       : fate == SampleFate::kLeftOut ? "#7fa8d9"
                       : fate == SampleFate::kDropped ? "#d9822b"
                                                      : "");
  };
  const std::size_t fitted = measured.Count(SampleFate::kFitted);
  const std::size_t left_out = measured.Count(SampleFate::kLeftOut);
  const std::size_t dropped = measured.Count(SampleFate::kDropped);
  return {title, FrontSvg(measured, radius, title, colour),
          std::to_string(fitted) + " kept in the last fit (dark blue), " +
              std::to_string(left_out) + " left out of it by their scatter (light blue), " +
              std::to_string(dropped) + " rejected as too far from the sphere (orange), " +
              std::to_string(measured.stages.fates.size() - fitted - left_out - dropped) +
              " not used (open red)."};
}

/// What the fit leaves of the samples.
std::vector<Figure> ResidualFigures(const Measured& m) {
  const auto center = Triple(m.result, "Location");
  const auto radius = Number(m.result, "Radius");
  const std::vector<Vector3d> points = ResultPoints(m.result);
  if (!center || !radius || points.size() < 2 || !(center->norm() > 0.0)) return {};

  const Vector3d towards = -center->normalized();
  std::vector<Point2> residuals;  // angle from the line of sight / degrees, residual / m
  std::vector<double> sizes;
  Extent angles;
  for (const Vector3d& p : points) {
    const Vector3d out = p - *center;
    const double angle = std::atan2(out.cross(towards).norm(), out.dot(towards));
    residuals.emplace_back(angle * 180.0 / 3.14159265358979323846, out.norm() - *radius);
    sizes.push_back(std::abs(residuals.back().y()));
    angles.Add(residuals.back().x());
  }
  const double shown = std::max(8.0 * Quantile(sizes, 0.5), 1e-7);
  const LengthUnit unit = UnitFor(2.0 * shown);
  Plot plot(kWidth, 300.0, {"angle from the line of sight / \xC2\xB0", angles.low, angles.high},
            LengthAxis("residual", unit, -shown, shown), false);
  plot.Level(0.0, "level", "radius as told");
  for (const Point2& r : residuals) plot.Dot({r.x(), unit.scale * r.y()}, "sample", 1.6);
  const auto outside =
      std::count_if(sizes.begin(), sizes.end(), [shown](double size) { return size > shown; });
  return {{"Residuals of the sphere", plot.Svg("Residuals of the sphere"),
           "Distance of the samples in the result from the sphere with the measured centre and the "
           "radius as told, above 0 outside. " +
               std::to_string(outside) + " of " + std::to_string(points.size()) +
               " lie beyond the picture."}};
}

/// The stroke, the parts and the fates, as far as the analysis got.
std::vector<Figure> ScanFigures(const Measured& measured) {
  std::vector<Figure> figures;
  if (!measured.request.is_object()) return figures;
  const nlohmann::json feature = measured.request.value("Feature", nlohmann::json());
  const auto nominal = Triple(feature, "Location");
  const auto radius = Number(feature, "Radius");
  if (!nominal || !radius || !(*radius > 0.0)) return figures;
  const Exchange* stroke = LastScan(measured, "SURFACE_RANGE");
  if (stroke != nullptr && stroke->points.size() > 1 && !stroke->samples.empty()) {
    figures.push_back(StrokeFigure(*stroke, *nominal));
  }
  if (!measured.IsRecorded()) return figures;
  if (measured.stages.parts.size() == measured.stages.fates.size()) {
    figures.push_back(PartsFigure(measured, *radius));
  }
  if (measured.Count(SampleFate::kFitted) > 0) figures.push_back(FateFigure(measured, *radius));
  return figures;
}

std::vector<Figure> Pictures(const Measured& measured) {
  std::vector<Figure> figures = ScanFigures(measured);
  for (Figure& figure : ResidualFigures(measured)) figures.push_back(std::move(figure));
  return figures;
}

const TypeFigures kSphere("MatteSphereTargetResult", Pictures);

}  // namespace
}  // namespace libmfx::host::report
