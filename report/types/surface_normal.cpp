// The pictures of a point on a surface: the box with its zigzag and what became of each sample, and
// the fitted plane with the residuals of the samples magnified.

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "report/type_figures.h"

namespace libmfx::host::report {
namespace {

using Eigen::Vector3d;
using features::SampleFate;

/// How much of the box's depth a slanted picture shows, to the right and upwards.
constexpr double kSlant = 0.35;

/// The square across which the beam zigzags, in the instrument's frame.
struct Box {
  Vector3d start;    ///< the corner where the zigzag begins
  Vector3d across;   ///< its side along the legs
  Vector3d forward;  ///< its side along which the legs advance

  Vector3d Middle() const { return start + 0.5 * (across + forward); }
  std::vector<Vector3d> Corners() const {
    return {start, start + across, start + across + forward, start + forward, start};
  }
};

/// The box out of the plan of its zigzag: every second point stands on the starting side, and the
/// last one on the far side.
std::optional<Box> BoxOf(const std::vector<Position>& plan) {
  if (plan.size() < 3) return std::nullopt;
  const double legs = static_cast<double>(plan.size() - 1);
  const Vector3d start = Cartesian(plan[0]);
  const Vector3d advance = 0.5 * (Cartesian(plan[2]) - start);
  const Box box{start, Cartesian(plan[1]) - start - advance, legs * advance};
  const bool sound = box.across.norm() > 0.0 && box.forward.norm() > 0.0;
  return sound && box.Corners()[2].allFinite() ? std::optional<Box>(box) : std::nullopt;
}

const char* StyleOf(SampleFate fate) {
  return fate == SampleFate::kFitted ? "sample" : fate == SampleFate::kDropped ? "odd" : "dropped";
}

Figure BoxFigure(const Measured& m, const Box& box) {
  const Exchange& scan = m.exchanges.back();
  const std::vector<Point2> outline = m.view.Front(box.Corners());
  Extents shown;
  shown.Add(outline);
  const LengthUnit unit = UnitFor(shown.Size());
  Plot plot = FrontPlot(shown, unit, 520.0);
  plot.Line(Scaled(outline, unit.scale), "nominal");
  plot.Line(Scaled(m.view.Front(Cartesian(scan.points)), unit.scale), "plan");
  for (std::size_t i = 0; i < scan.samples.size(); i += StepFor(scan.samples.size())) {
    plot.Dot(unit.scale * m.view.Front(Cartesian(scan.samples[i])), StyleOf(m.stages.fates[i]),
             3.0);
  }
  plot.Cross(unit.scale * m.view.Front(box.Middle()), "nominal");
  if (const auto found = Triple(m.result, "Location"); found && m.successful) {
    plot.Cross(unit.scale * m.view.Front(*found), "measured");
  }
  const char* title = "Box and zigzag";
  return {title, plot.Svg(title),
          "Seen from the instrument's side, in the nominal's plane. Dashed: the box around the "
          "nominal; blue line: the planned zigzag. " +
              std::to_string(m.Count(SampleFate::kFitted)) + " samples kept for the fit (blue), " +
              std::to_string(m.Count(SampleFate::kDropped)) + " removed as outliers (orange), " +
              std::to_string(m.Count(SampleFate::kUnusable)) +
              " not used (open red: below the quality threshold or not finite)." +
              (m.successful ? " Red cross: as measured." : "")};
}

/// The largest of 1, 2, 5, 10, ... that a magnification may have.
double RoundedDown(double magnification) {
  if (!(magnification > 1.0)) return 1.0;
  const double held = std::min(magnification, 1e6);
  const double decade = std::pow(10.0, std::floor(std::log10(held)));
  return (held >= 5.0 * decade ? 5.0 : held >= 2.0 * decade ? 2.0 : 1.0) * decade;
}

/// The samples over the fitted plane, which is drawn at a slant.
std::optional<Figure> PlaneFigure(const Measured& m, const Box& box) {
  if (!m.successful || !m.stages.surface) return std::nullopt;
  const Vector3d place = m.stages.surface->Point().xyz();
  const Vector3d normal = m.stages.surface->Normal().xyz();
  const std::vector<RawDataPoint>& samples = m.exchanges.back().samples;
  const auto residual = [&](const Vector3d& p) { return normal.dot(p - place); };
  double squares = 0.0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const bool fitted = m.stages.fates[i] == SampleFate::kFitted;
    squares += fitted ? std::pow(residual(Cartesian(samples[i])), 2) : 0.0;
  }
  const double rms = std::sqrt(squares / static_cast<double>(m.Count(SampleFate::kFitted)));

  // Three standard deviations fill a fifth of the box.
  const double side = box.across.norm();
  const double magnified = rms > 0.0 ? RoundedDown(0.2 * side / (3.0 * rms)) : 1.0;
  const Vector3d along = box.across.normalized();
  const Vector3d depth = box.forward.normalized();
  const LengthUnit unit = UnitFor(side);
  const auto flat = [&](const Vector3d& p) {
    const Vector3d out = p - box.Middle();
    const double deep = kSlant * out.dot(depth);
    return Point2(unit.scale * (out.dot(along) + deep), unit.scale * deep);
  };
  const double reach = 0.5 * (1.0 + kSlant) * side;
  const double rise = 0.5 * kSlant * side + 0.3 * side;
  const std::string times = NumberText(magnified);
  Plot plot(kWidth, 380.0, LengthAxis("along the legs", unit, -reach, reach),
            LengthAxis("residual times " + times, unit, -rise, rise), true);
  std::vector<Point2> outline;
  for (const Vector3d& corner : box.Corners()) outline.push_back(flat(corner));
  plot.Line(outline, "measured");
  std::size_t beyond = 0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const SampleFate fate = m.stages.fates[i];
    if (fate == SampleFate::kUnusable) continue;
    const Vector3d p = Cartesian(samples[i]);
    const Point2 foot = flat(p);
    const Point2 top = foot + Point2(0.0, unit.scale * magnified * residual(p));
    beyond += std::abs(top.y()) > 1.1 * unit.scale * rise ? 1 : 0;
    if (i % StepFor(samples.size()) != 0) continue;
    plot.Line({foot, top}, fate == SampleFate::kFitted ? "plan" : "jump");
    plot.Dot(top, StyleOf(fate), 3.0);
  }
  const char* title = "Fitted plane and residuals";
  return Figure{title, plot.Svg(title),
                "The box on the fitted plane (red), seen at a slant, and the distances of the "
                "samples from the plane, " +
                    times +
                    " times as large, upwards towards the instrument: kept in blue, "
                    "removed in orange. The kept ones scatter by " +
                    NumberText(1e6 * rms, 4) + " \xC2\xB5m (root mean square). " +
                    std::to_string(beyond) + " lie beyond the picture."};
}

std::vector<Figure> Pictures(const Measured& m) {
  // A measurement that failed before its fit tells nothing of what it kept.
  if (!m.IsRecorded() || m.Count(SampleFate::kFitted) == 0) return {};
  const auto box = BoxOf(m.exchanges.back().points);
  if (!box) return {};
  std::vector<Figure> figures{BoxFigure(m, *box)};
  if (auto plane = PlaneFigure(m, *box)) figures.push_back(std::move(*plane));
  return figures;
}

const TypeFigures kSurfaceNormal("PVITargetResult", Pictures);

}  // namespace
}  // namespace libmfx::host::report
