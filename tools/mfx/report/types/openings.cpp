// Holes, rectangles, polygons and slots: the scan lines from the front with what each shows of the
// opening, and how far the edge points lie from the measured border.

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "report/around_rim.h"
#include "report/border.h"
#include "report/outline.h"
#include "report/type_figures.h"

namespace libmfx::host::report {
namespace {

using Eigen::Vector3d;

constexpr double kWidth = 640.0;
constexpr double kTurn = 6.283185307179586;
/// Most marks of samples in one picture: beyond it every n-th is drawn.
constexpr std::size_t kMostMarks = 6000;
/// Sides in their order; a fifth begins again.
constexpr const char* kSideColours[] = {"#1b4f8f", "#2f8f4e", "#8c2981", "#a0661a"};
constexpr const char* kSurfaceColour = "#a9c3e0";
constexpr const char* kWallColour = "#d9822b";
constexpr const char* kOtherColour = "#bbbbbb";

enum Kind { kSurface, kWall, kOther };

/// A sample in the plane of the measured opening.
struct Seen {
  Point2 place;   ///< of its foot, from the measured centre, metres; of other kinds of its beam
  double height;  ///< above the surface, metres
  Kind kind;
};

/// One scan line with what it shows.
struct ScanLine {
  std::vector<Point2> plan;
  std::vector<Seen> samples;
  std::optional<Point2> edge;
  std::size_t side = 0;
};

/// The measured opening, and the frame in which it is drawn.
struct Opening {
  Vector3d center;
  Vector3d normal;
  Vector3d right;
  Vector3d up;
  double spacing;
  std::vector<Point2> measured;
  std::vector<Point2> nominal;

  Point2 Front(const Vector3d& p) const { return {right.dot(p - center), up.dot(p - center)}; }
};

/// The closed line of an outline; a circle in steps of a degree.
std::vector<Point2> LineOf(const nlohmann::json& object, const Opening& opening) {
  std::vector<Point2> line;
  const auto outline = OutlineOf(object);
  if (!outline) return line;
  for (const Vector3d& corner : outline->corners) line.push_back(opening.Front(corner));
  if (!line.empty() && (line.front() - line.back()).norm() < 1e-12) line.pop_back();
  for (int i = 0; outline->radius && i < 360; ++i) {
    const double turn = kTurn * i / 360.0;
    line.push_back(opening.Front(outline->place) +
                   *outline->radius * Point2(std::cos(turn), std::sin(turn)));
  }
  return line;
}

std::optional<Opening> FindOpening(const Measured& m) {
  const auto center = Triple(m.result, "Location");
  const auto normal = Triple(m.result, "Normal");
  if (!m.successful || !center || !normal || !(normal->norm() > 0.0)) return std::nullopt;
  Opening o;
  o.center = *center;
  o.normal = normal->normalized();
  if (o.normal.dot(*center) > 0.0) o.normal = -o.normal;
  const Vector3d right = m.view.right - m.view.right.dot(o.normal) * o.normal;
  if (!(right.norm() > 1e-9)) return std::nullopt;
  o.right = right.normalized();
  o.up = o.normal.cross(o.right);
  o.spacing = 0.0001;
  nlohmann::json feature;
  if (m.request.is_object()) {
    o.spacing = Number(m.request, "PointSpacing").value_or(o.spacing);
    feature = m.request.value("Feature", feature);
  }
  o.measured = LineOf(m.result, o);
  o.nominal = LineOf(feature, o);
  if (o.measured.size() < 3 || !(o.spacing > 0.0)) return std::nullopt;
  return o;
}

/// Lines that go to one side, or to one arc.
std::size_t LinesPerSide(const Measured& m) {
  if (!m.request.is_object()) return 1;
  const auto arc = Number(m.request, "ScanPassesPerArc");
  const bool straight = m.result.contains("Width") || m.result.contains("Sides");
  if (!straight) return std::numeric_limits<std::size_t>::max();  // a hole has one rim
  const double lines = arc.value_or(Number(m.request, "ScansPerSide").value_or(2.0));
  return lines >= 1.0 && lines < 1e6 ? static_cast<std::size_t>(lines) : 1;
}

Kind KindOf(const Seen& seen, const Border& border, double spacing) {
  if (std::abs(seen.height) <= 1.5 * spacing) return kSurface;
  const double reach = 5.0 * spacing;
  const bool below = seen.height < 0.0 && -seen.height < 0.25 * border.length();
  return below && std::abs(border.Find(seen.place).off) < reach ? kWall : kOther;
}

/// The sample of the surface farthest in, if another one lies beside it.
std::optional<Point2> EdgeOf(const ScanLine& line, const Border& border, double spacing) {
  std::optional<Point2> edge;
  double least = std::numeric_limits<double>::max();
  for (std::size_t i = 0; i < line.samples.size(); ++i) {
    const Seen& s = line.samples[i];
    if (s.kind != kSurface) continue;
    const auto beside = [&](const Seen& other) {
      return &other != &s && other.kind == kSurface &&
             (other.place - s.place).norm() < 3.0 * spacing;
    };
    const double off = border.Find(s.place).off;
    if (off >= least || std::none_of(line.samples.begin(), line.samples.end(), beside)) continue;
    least = off;
    edge = s.place;
  }
  return edge;
}

/// The lines of the last scan: the moves that are sampled at the request's spacing.
std::vector<ScanLine> FindLines(const Measured& m, const Opening& opening, const Border& border) {
  std::vector<ScanLine> lines;
  if (m.exchanges.empty()) return lines;
  const Exchange& scan = m.exchanges.back();
  std::map<int, std::size_t> line_of;  // by segment number
  const std::size_t per_side = LinesPerSide(m);
  for (std::size_t i = 1; i < scan.points.size(); ++i) {
    if (std::abs(scan.points[i].point_spacing - opening.spacing) > 1e-12) continue;
    line_of[static_cast<int>(i)] = lines.size();
    ScanLine line;
    line.side = lines.size() / per_side;
    line.plan = {opening.Front(Cartesian(scan.points[i - 1])),
                 opening.Front(Cartesian(scan.points[i]))};
    lines.push_back(std::move(line));
  }
  for (const RawDataPoint& sample : scan.samples) {
    const auto found = line_of.find(sample.status);
    const Vector3d p = Cartesian(sample);
    if (found == line_of.end() || !p.allFinite()) continue;
    if (m.quality_threshold && !(sample.quality >= *m.quality_threshold)) continue;
    Seen seen{opening.Front(p), opening.normal.dot(p - opening.center), kOther};
    seen.kind = KindOf(seen, border, opening.spacing);
    // What lies elsewhere is drawn where its beam passed the surface.
    const double along_normal = opening.normal.dot(p);
    if (seen.kind == kOther && along_normal != 0.0) {
      seen.place = opening.Front(opening.normal.dot(opening.center) / along_normal * p);
    }
    lines[found->second].samples.push_back(seen);
  }
  for (ScanLine& line : lines) line.edge = EdgeOf(line, border, opening.spacing);
  return lines;
}

std::vector<Point2> Closed(const std::vector<Point2>& line, double scale) {
  std::vector<Point2> closed;
  closed.reserve(line.size() + 1);
  for (const Point2& p : line) closed.push_back(scale * p);
  if (!closed.empty()) closed.push_back(closed.front());
  return closed;
}

std::string SideColour(const ScanLine& line) { return kSideColours[line.side % 4]; }

void DrawSamples(const std::vector<ScanLine>& lines, double scale, Plot& plot) {
  std::size_t total = 0;
  for (const ScanLine& line : lines) total += line.samples.size();
  const std::size_t step = total / kMostMarks + 1;
  std::size_t i = 0;
  for (const ScanLine& line : lines) {
    for (const Seen& s : line.samples) {
      if (i++ % step != 0) continue;
      const char* colour = s.kind == kSurface ? kSurfaceColour
                           : s.kind == kWall  ? kWallColour
                                              : kOtherColour;
      plot.Dot(scale * s.place, "sample", 1.2, colour);
    }
  }
}

Figure FrontFigure(const Opening& opening, const std::vector<ScanLine>& lines, bool corners) {
  Extent x, y;
  for (const ScanLine& line : lines) {
    for (const Point2& p : line.plan) {
      x.Add(p.x());
      y.Add(p.y());
    }
  }
  for (const Point2& p : opening.measured) {
    x.Add(p.x());
    y.Add(p.y());
  }
  const LengthUnit unit = UnitFor(std::max(x.Size(), y.Size()));
  const std::string name = std::string(" / ") + unit.name;
  Plot plot(kWidth, 560.0, {"to the right" + name, unit.scale * x.low, unit.scale * x.high},
            {"up" + name, unit.scale * y.low, unit.scale * y.high}, true);
  for (const ScanLine& line : lines) {
    plot.Line({unit.scale * line.plan[0], unit.scale * line.plan[1]}, "plan");
  }
  DrawSamples(lines, unit.scale, plot);
  plot.Line(Closed(opening.nominal, unit.scale), "nominal");
  plot.Line(Closed(opening.measured, unit.scale), "measured");
  std::size_t edges = 0;
  for (const ScanLine& line : lines) {
    if (!line.edge) continue;
    ++edges;
    plot.Dot(unit.scale * *line.edge, "sample", 3.0, SideColour(line));
  }
  for (std::size_t i = 0; corners && i < opening.measured.size(); ++i) {
    plot.Cross(unit.scale * opening.measured[i], "measured");
  }
  plot.Cross(Point2::Zero(), "measured");
  return {
      "Lines across the opening", plot.Svg("Lines across the opening"),
      "The last scan from the front, in the measured surface: the driven lines, samples on the "
      "surface (light blue), on the wall (orange, at their feet) and elsewhere (grey, where the "
      "beam passed), and the "
      "innermost surface sample of each line (large dots, a colour a side). Red: the measured "
      "opening" +
          std::string(corners ? ", its corners" : "") + " and its centre; dashed: the nominal. " +
          std::to_string(edges) + " of " + std::to_string(lines.size()) + " lines show an edge."};
}

/// The distances of the nominal's border from the measured one, in order along it.
std::vector<Point2> NominalOff(const Opening& opening, const Border& border) {
  std::vector<Point2> curve;
  for (std::size_t i = 0; i < opening.nominal.size(); ++i) {
    const Point2& a = opening.nominal[i];
    const Point2 way = opening.nominal[(i + 1) % opening.nominal.size()] - a;
    constexpr int kSteps = 40;
    for (int k = 0; k < (opening.nominal.size() > 40 ? 1 : kSteps); ++k) {
      const BorderPlace at = border.Find(a + way * (static_cast<double>(k) / kSteps));
      curve.emplace_back(at.along, at.off);
    }
  }
  std::sort(curve.begin(), curve.end(),
            [](const Point2& a, const Point2& b) { return a.x() < b.x(); });
  return curve;
}

Figure ResidualFigure(const Opening& opening, const std::vector<ScanLine>& lines,
                      const Border& border) {
  Extent shown;
  for (const double reach : {-2.0 * opening.spacing, 2.0 * opening.spacing}) shown.Add(reach);
  for (const ScanLine& line : lines) {
    if (!line.edge) continue;
    const double off = border.Find(*line.edge).off;
    shown.Add(std::clamp(1.1 * off, -10.0 * opening.spacing, 10.0 * opening.spacing));
  }
  const LengthUnit along = UnitFor(border.length());
  Plot plot(kWidth, 320.0,
            {std::string("along the border / ") + along.name, 0.0, along.scale * border.length()},
            {"outside of it / \xC2\xB5m", 1e6 * shown.low, 1e6 * shown.high}, false);
  plot.Level(0.0, "level", "measured");
  std::vector<Point2> nominal = NominalOff(opening, border);
  for (Point2& p : nominal) p = Point2(along.scale * p.x(), 1e6 * p.y());
  plot.Line(nominal, "nominal");
  double squares = 0.0;
  double count = 0.0;
  for (const ScanLine& line : lines) {
    for (const Seen& s : line.samples) {
      if (s.kind != kWall) continue;
      const BorderPlace at = border.Find(s.place);
      plot.Dot({along.scale * at.along, 1e6 * at.off}, "sample", 1.2, kWallColour);
    }
  }
  for (const ScanLine& line : lines) {
    if (!line.edge) continue;
    const BorderPlace at = border.Find(*line.edge);
    squares += at.off * at.off;
    ++count;
    plot.Dot({along.scale * at.along, 1e6 * at.off}, "sample", 3.0, SideColour(line));
  }
  const std::string size =
      count > 0.0 ? NumberText(1e6 * std::sqrt(squares / count), 3) + " \xC2\xB5m" : "none";
  return {"Residuals along the border", plot.Svg("Residuals along the border"),
          "How far the edge points (large dots) and the feet of the wall (orange) lie outside of "
          "the measured border, magnified, along that border; dashed: the nominal border. Root "
          "mean square of the edge points: " +
              size + ". They are the last samples on the surface, up to a spacing outside."};
}

std::vector<Figure> Pictures(const Measured& m) {
  const auto opening = FindOpening(m);
  if (!opening) return {};
  const Border border(opening->measured);
  const std::vector<ScanLine> lines = FindLines(m, *opening, border);
  if (lines.empty()) return {};
  const bool corners = opening->measured.size() <= 12;
  return {FrontFigure(*opening, lines, corners), ResidualFigure(*opening, lines, border)};
}

std::vector<Figure> HolePictures(const Measured& m) {
  std::vector<Figure> figures = Pictures(m);
  for (Figure& figure : AroundTheRim(m)) figures.push_back(std::move(figure));
  return figures;
}

const TypeFigures kHole("HoleTargetResult", HolePictures);
const TypeFigures kRectangle("RectangleTargetResult", Pictures);
const TypeFigures kPolygon("PolygonTargetResult", Pictures);
const TypeFigures kSlot("SlotTargetResult", Pictures);

}  // namespace
}  // namespace libmfx::host::report
