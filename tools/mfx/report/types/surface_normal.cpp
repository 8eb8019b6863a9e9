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

constexpr double kWidth = 640.0;
/// Most marks in one picture: beyond it every n-th sample is drawn.
constexpr std::size_t kMostMarks = 6000;
/// How much of the box's depth a slanted picture shows, to the right and upwards.
constexpr double kSlant = 0.35;

enum Fate { kKept, kRemoved, kUnusable };

struct Seen {
  Vector3d place;
  Fate fate;
};

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

/// The samples of a scan and what became of them. Those that a result holds are the kept ones, in
/// the order in which they were taken, with 8 decimals.
std::vector<Seen> Fates(const Measured& m, const Exchange& scan) {
  const std::vector<Vector3d> kept = ResultPoints(m.result);
  std::vector<Seen> seen;
  seen.reserve(scan.samples.size());
  std::size_t next = 0;
  for (const RawDataPoint& sample : scan.samples) {
    Seen one{Cartesian(sample), kUnusable};
    if (data_structures::IsUsable(sample, m.quality_threshold.value_or(50.0))) {
      const bool found =
          next < kept.size() && (one.place - kept[next]).cwiseAbs().maxCoeff() <= 1.1e-8;
      one.fate = found ? kKept : kRemoved;
      next += found ? 1 : 0;
    }
    seen.push_back(one);
  }
  return seen;
}

std::size_t Count(const std::vector<Seen>& seen, Fate fate) {
  return static_cast<std::size_t>(
      std::count_if(seen.begin(), seen.end(), [fate](const Seen& s) { return s.fate == fate; }));
}

const char* StyleOf(Fate fate) {
  return fate == kKept ? "sample" : fate == kRemoved ? "odd" : "dropped";
}

Figure BoxFigure(const Measured& m, const Exchange& scan, const Box& box,
                 const std::vector<Seen>& seen) {
  Extent x, y;
  std::vector<Point2> outline;
  for (const Vector3d& corner : box.Corners()) {
    outline.push_back(m.view.Front(corner));
    x.Add(outline.back().x());
    y.Add(outline.back().y());
  }
  const LengthUnit unit = UnitFor(std::max(x.Size(), y.Size()));
  const std::string name = std::string(" / ") + unit.name;
  Plot plot(kWidth, 520.0, {"to the right" + name, unit.scale * x.low, unit.scale * x.high},
            {"up" + name, unit.scale * y.low, unit.scale * y.high}, true);
  for (Point2& corner : outline) corner *= unit.scale;
  plot.Line(outline, "nominal");
  std::vector<Point2> zigzag;
  for (const Position& p : scan.points) zigzag.push_back(unit.scale * m.view.Front(Cartesian(p)));
  plot.Line(zigzag, "plan");
  const std::size_t step = (seen.size() + kMostMarks - 1) / kMostMarks;
  for (std::size_t i = 0; i < seen.size(); i += step) {
    plot.Dot(unit.scale * m.view.Front(seen[i].place), StyleOf(seen[i].fate), 3.0);
  }
  plot.Cross(unit.scale * m.view.Front(box.Middle()), "nominal");
  if (const auto found = Triple(m.result, "Location"); found && m.successful) {
    plot.Cross(unit.scale * m.view.Front(*found), "measured");
  }
  const char* title = "Box and zigzag";
  return {title, plot.Svg(title),
          "Seen from the instrument's side, in the nominal's plane. Dashed: the box around the "
          "nominal; blue line: the planned zigzag. " +
              std::to_string(Count(seen, kKept)) + " samples kept for the fit (blue), " +
              std::to_string(Count(seen, kRemoved)) + " removed as outliers (orange), " +
              std::to_string(Count(seen, kUnusable)) +
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
std::optional<Figure> PlaneFigure(const Measured& m, const Box& box,
                                  const std::vector<Seen>& seen) {
  const auto place = Triple(m.result, "Location");
  const auto direction = Triple(m.result, "Normal");
  if (!m.successful || !place || !direction || !(direction->norm() > 0.0)) return std::nullopt;
  const Vector3d normal = direction->normalized();
  const auto residual = [&](const Vector3d& p) { return normal.dot(p - *place); };
  double squares = 0.0;
  for (const Seen& s : seen) squares += s.fate == kKept ? std::pow(residual(s.place), 2) : 0.0;
  const double rms = std::sqrt(squares / std::max(1.0, static_cast<double>(Count(seen, kKept))));

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
  const std::string name = std::string(" / ") + unit.name;
  const std::string times = NumberText(magnified);
  Plot plot(kWidth, 380.0, {"along the legs" + name, -unit.scale * reach, unit.scale * reach},
            {"residual times " + times + name, -unit.scale * rise, unit.scale * rise}, true);
  std::vector<Point2> outline;
  for (const Vector3d& corner : box.Corners()) outline.push_back(flat(corner));
  plot.Line(outline, "measured");
  std::size_t beyond = 0;
  const std::size_t step = (seen.size() + kMostMarks - 1) / kMostMarks;
  for (std::size_t i = 0; i < seen.size(); ++i) {
    if (seen[i].fate == kUnusable) continue;
    const Point2 foot = flat(seen[i].place);
    const Point2 top = foot + Point2(0.0, unit.scale * magnified * residual(seen[i].place));
    beyond += std::abs(top.y()) > 1.1 * unit.scale * rise ? 1 : 0;
    if (i % step != 0) continue;
    plot.Line({foot, top}, seen[i].fate == kKept ? "plan" : "jump");
    plot.Dot(top, StyleOf(seen[i].fate), 3.0);
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
  if (m.exchanges.empty()) return {};
  const Exchange& scan = m.exchanges.back();
  const auto box = BoxOf(scan.points);
  const std::vector<Seen> seen = Fates(m, scan);
  // A measurement that failed before its fit tells nothing of what it kept.
  if (!box || Count(seen, kKept) == 0) return {};
  std::vector<Figure> figures{BoxFigure(m, scan, *box, seen)};
  if (auto plane = PlaneFigure(m, *box, seen)) figures.push_back(std::move(*plane));
  return figures;
}

const TypeFigures kSurfaceNormal("PVITargetResult", Pictures);

}  // namespace
}  // namespace libmfx::host::report
