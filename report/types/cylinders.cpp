// Studs and threaded holes: the samples from the side, along the axis and away from it, and what
// the fit leaves of those in its window, unrolled.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "report/type_figures.h"

namespace libmfx::host::report {
namespace {

using Eigen::Vector3d;
using features::SampleFate;

constexpr double kDegrees = 180.0 / 3.14159265358979323846;

/// From blue, inside of the wall, over grey, on it, to orange, outside. A dark page has its own.
constexpr std::array<const char*, 9> kColours = {"#12406f", "#3a6ea5", "#6f9bc8",
                                                 "#a3bdd6", "#c9c9c9", "#e3bd92",
                                                 "#e09a52", "#c9711b", "#8f4a06"};

/// \param share of the deviation that has full colour, from -1 to 1
const char* DeviationColour(double share) {
  return kColours[static_cast<std::size_t>(std::lround(4.0 * std::clamp(share, -1.0, 1.0)) + 4)];
}

/// A round number that is not less, of which a quarter is round enough too.
double RoundedUp(double value) {
  const double decade = std::pow(10.0, std::floor(std::log10(value)));
  for (const double factor : {1.0, 1.6, 2.0, 3.0, 4.0, 5.0, 6.0, 8.0}) {
    if (value <= (1.0 + 1e-6) * factor * decade) return factor * decade;
  }
  return 10.0 * decade;
}

/// A sample of the wall, laid flat.
struct Flat {
  double turn;       ///< degrees, to the right as seen from outside with the axis upwards
  double height;     ///< along the axis, metres
  double deviation;  ///< from the measured radius, positive outwards, metres
  bool followed;     ///< by the fit
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
    const Vector3d out = Cartesian(m.exchanges.back().samples[i]) - center;
    if (!out.allFinite()) continue;
    points.emplace_back(out, fate == SampleFate::kWall);
    facing += out.dot(forward);
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

/// Where the samples lie that the fit follows.
Extents ExtentsOf(const std::vector<Flat>& flat) {
  Extents extents;
  for (const Flat& f : flat) {
    if (f.followed) extents.Add(Point2(f.turn, f.height));
  }
  return extents;
}

/// Whether a sample stands in the picture: next to those that the fit follows.
bool IsShown(const Flat& f, const Extents& extents) {
  const auto near = [](double value, const Extent& extent) {
    return std::abs(value - extent.Middle()) <= 0.54 * extent.Size();
  };
  return near(f.turn, extents.x) && near(f.height, extents.y);
}

/// The deviations of the samples that the fit follows, each averaged over the samples around it, so
/// that errors of form come out of the noise: over a cell of the wall that holds eight or more of
/// them on average. The others keep their own.
std::vector<double> Averaged(const std::vector<Flat>& flat, const Extents& extents) {
  constexpr double kMostCells = 24.0;  // a side
  const auto followed = std::count_if(flat.begin(), flat.end(), [](auto& f) { return f.followed; });
  const double cells =
      std::floor(std::clamp(std::sqrt(static_cast<double>(followed) / 8.0), 1.0, kMostCells));
  const auto cell_of = [&](const Flat& f) {
    const auto place = [&](double value, const Extent& extent) {
      const double share = extent.Size() > 0.0 ? (value - extent.low) / extent.Size() : 0.0;
      return static_cast<std::size_t>(std::clamp(cells * share, 0.0, cells - 1.0));
    };
    return place(f.height, extents.y) * static_cast<std::size_t>(cells) + place(f.turn, extents.x);
  };
  std::vector<double> sums(static_cast<std::size_t>(cells * cells));
  std::vector<double> counts(sums.size());
  for (const Flat& f : flat) {
    if (!f.followed) continue;
    sums[cell_of(f)] += f.deviation;
    counts[cell_of(f)] += 1.0;
  }
  std::vector<double> averaged;
  averaged.reserve(flat.size());
  for (const Flat& f : flat) {
    averaged.push_back(f.followed ? sums[cell_of(f)] / counts[cell_of(f)] : f.deviation);
  }
  return averaged;
}

/// The deviation that has full colour: nearly all are less. Of averages it is no less than what
/// seven in ten of the samples deviate by, so that their noise stays pale.
double FullColour(const std::vector<Flat>& flat, const std::vector<double>& shown) {
  std::vector<double> own;
  std::vector<double> drawn;
  for (std::size_t i = 0; i < flat.size(); ++i) {
    if (!flat[i].followed) continue;
    own.push_back(std::abs(flat[i].deviation));
    drawn.push_back(std::abs(shown[i]));
  }
  return RoundedUp(std::max({Quantile(drawn, 0.95), Quantile(own, 0.7), 1e-7}));
}

std::string MicrometreText(double length) { return NumberText(1e6 * length, 3) + " \xC2\xB5m"; }

/// The scale of colours, in a band above the wall.
/// \param top of the band and `height` of it, along the axis in the unit of the picture
void DrawScale(Plot& plot, const Extent& turns, double top, double height, double full) {
  const auto at = [&](double share, double down) {
    return Point2(turns.Middle() + share * turns.Size(), top - down * height);
  };
  for (std::size_t i = 0; i < kColours.size(); ++i) {
    const double share = static_cast<double>(i) / 4.0 - 1.0;
    plot.Dot(at(0.3 * share, 0.2), "sample", 7.0, kColours[i]);
    if (i % 4 != 0) continue;
    const std::string sign = share < 0.0 ? "\xE2\x88\x92" : share > 0.0 ? "+" : "";
    plot.Text(at(0.3 * share, 0.75), "middle", sign + MicrometreText(std::abs(share) * full));
  }
  plot.Text(at(-0.36, 0.27), "end", "inside");
  plot.Text(at(0.36, 0.27), "start", "outside");
}

/// What a reader has to know of the picture.
std::string WordsOf(const std::vector<Flat>& flat, const Extents& extents, double full,
                    bool averaged) {
  const auto followed = std::count_if(flat.begin(), flat.end(), [](auto& f) { return f.followed; });
  const auto beside =
      std::count_if(flat.begin(), flat.end(), [&](const Flat& f) { return !IsShown(f, extents); });
  std::string words =
      "The " + std::to_string(followed) +
      " samples of the last scan that the fit rests on, the wall laid flat as seen from outside; "
      "0\xC2\xB0 is the middle of the side in sight. Colour: distance from the axis less the "
      "measured radius" +
      (averaged ? ", averaged over the samples around each" : "") +
      "; positive (orange) is farther from the axis, negative (blue) nearer to it, full colour "
      "at " +
      MicrometreText(full) +
      ". Open red: " + std::to_string(static_cast<std::ptrdiff_t>(flat.size()) - followed) +
      " samples in the window that it does not follow";
  if (beside > 0) words += ", " + std::to_string(beside) + " of them beside the picture";
  if (StepFor(flat.size()) > 1) {
    words += ". One sample in " + std::to_string(StepFor(flat.size())) + " is drawn";
  }
  return words +
         (averaged
              ? ". Of a smooth wall stripes or patches are errors of its form, as far as the fit "
                "cannot follow them; single spots are noise."
              : ". A thread shows as slanted stripes, which rise to the right if it is "
                "right-handed; its measured radius is that of the crests. Of a smooth wall "
                "stripes or patches mean that the fit is not the wall.");
}

std::vector<Figure> Unrolled(const Measured& m, const Vector3d& center, const Vector3d& axis,
                             double radius) {
  const std::vector<Flat> flat = LaidFlat(m, center, axis, radius);
  const auto followed = std::count_if(flat.begin(), flat.end(), [](auto& f) { return f.followed; });
  if (followed < 3) return {};
  const Extents extents = ExtentsOf(flat);
  // Averages would level a thread.
  const bool averaged = m.stages.form && !m.stages.form->threaded;
  std::vector<double> shown;
  shown.reserve(flat.size());
  for (const Flat& f : flat) shown.push_back(f.deviation);
  if (averaged) shown = Averaged(flat, extents);
  const double full = FullColour(flat, shown);

  const LengthUnit unit = UnitFor(extents.y.Size());
  const double band = 0.2 * extents.y.Size();
  const double top = extents.y.high + 0.05 * extents.y.Size() + band;
  Plot plot(kWidth, 400.0, {"around the axis / \xC2\xB0", extents.x.low, extents.x.high},
            LengthAxis("along the axis", unit, extents.y.low, top), false);
  for (std::size_t i = 0; i < flat.size(); i += StepFor(flat.size())) {
    if (!IsShown(flat[i], extents)) continue;
    const Point2 at(flat[i].turn, unit.scale * flat[i].height);
    plot.Dot(at, flat[i].followed ? "sample" : "dropped", 2.4,
             flat[i].followed ? DeviationColour(shown[i] / full) : "");
  }
  DrawScale(plot, extents.x, unit.scale * top, unit.scale * band, full);
  return {{"Unrolled wall", plot.Svg("Unrolled wall, coloured by deviation from the radius"),
           WordsOf(flat, extents, full, averaged)}};
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
