// Holes, rectangles, polygons and slots: the scan lines from the front with what each shows of the
// opening, and how far the edge points lie from the measured border.

#include <algorithm>
#include <cmath>
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
using features::SampleFate;

constexpr double kTurn = 6.283185307179586;
/// Sides in their order; a fifth begins again.
constexpr const char* kSideColours[] = {"#1b4f8f", "#00707f", "#8c2981", "#a0661a"};
constexpr const char* kSurfaceColour = "#a9c3e0";
constexpr const char* kWallColour = "#d9822b";
constexpr const char* kOtherColour = "#bbbbbb";

/// A sample in the plane of the surface.
struct Seen {
  Point2 place;  ///< of its foot, from the measured centre, metres; of other fates of its beam
  SampleFate fate;
};

/// The point of the border that a line shows.
struct EdgeMark {
  Point2 place;
  std::string colour;  ///< of its side
};

/// The measured opening in the frame in which it is drawn, metres.
struct Opening {
  View view;
  std::vector<Point2> measured;
  std::vector<Point2> nominal;
  std::vector<std::vector<Point2>> lines;
  std::vector<Seen> samples;
  std::vector<EdgeMark> edges;
};

/// The closed line of an outline; a circle in steps of a degree.
std::vector<Point2> LineOf(const nlohmann::json& object, const View& view) {
  const auto outline = OutlineOf(object);
  if (!outline) return {};
  std::vector<Point2> line = view.Front(outline->corners);
  if (!line.empty() && (line.front() - line.back()).norm() < 1e-12) line.pop_back();
  for (int i = 0; outline->radius && i < 360; ++i) {
    const double turn = kTurn * i / 360.0;
    line.push_back(view.Front(outline->place) +
                   *outline->radius * Point2(std::cos(turn), std::sin(turn)));
  }
  return line;
}

/// The picture's plane: the measured surface, seen from the instrument's side.
std::optional<View> ViewOf(const Measured& m) {
  const auto center = Triple(m.result, "Location");
  if (!m.successful || !m.IsRecorded() || !center || !m.stages.surface) return std::nullopt;
  View view = m.view;
  view.origin = *center;
  view.normal = m.stages.surface->Normal().xyz();
  const Vector3d right = view.right - view.right.dot(view.normal) * view.normal;
  if (!(right.norm() > 1e-9)) return std::nullopt;
  view.right = right.normalized();
  view.up = view.normal.cross(view.right);
  return view;
}

/// The samples of the lines; what lies off the surface is drawn where its beam passed it.
std::vector<Seen> SamplesOf(const Measured& m, const View& view, const std::map<int, int>& sides) {
  const Vector3d on_surface = m.stages.surface->Point().xyz();
  const std::vector<RawDataPoint>& samples = m.exchanges.back().samples;
  std::vector<Seen> seen;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const SampleFate fate = m.stages.fates[i];
    const Vector3d p = Cartesian(samples[i]);
    if (fate == SampleFate::kSurface || fate == SampleFate::kWall) {
      seen.push_back({view.Front(p), fate});
    } else if (fate != SampleFate::kUnusable && sides.contains(samples[i].status)) {
      const double passed = view.normal.dot(on_surface) / view.normal.dot(p);
      seen.push_back({view.Front(Vector3d(passed * p)), fate});
    }
  }
  return seen;
}

std::optional<Opening> FindOpening(const Measured& m) {
  const auto view = ViewOf(m);
  if (!view) return std::nullopt;
  Opening opening;
  opening.view = *view;
  opening.measured = LineOf(m.result, *view);
  if (m.request.is_object()) {
    opening.nominal = LineOf(m.request.value("Feature", nlohmann::json()), *view);
  }
  if (opening.measured.size() < 3 || m.stages.lines.empty()) return std::nullopt;
  const std::vector<Vector3d> plan = Cartesian(m.exchanges.back().points);
  std::map<int, int> sides;  // by segment
  for (const features::StageLine& line : m.stages.lines) {
    sides[line.segment] = line.side;
    const auto end = static_cast<std::size_t>(line.segment);
    if (line.segment < 1 || end >= plan.size()) continue;
    opening.lines.push_back(view->Front(std::vector<Vector3d>{plan[end - 1], plan[end]}));
  }
  opening.samples = SamplesOf(m, *view, sides);
  for (const features::StageEdge& edge : m.stages.edges) {
    const auto side = sides.find(edge.segment);
    const int number = side == sides.end() ? 0 : side->second;
    opening.edges.push_back({view->Front(Vector3d(edge.place.xyz())), kSideColours[number % 4]});
  }
  return opening;
}

std::vector<Point2> Closed(const std::vector<Point2>& line, double scale) {
  std::vector<Point2> closed = Scaled(line, scale);
  if (!closed.empty()) closed.push_back(closed.front());
  return closed;
}

void DrawSamples(const std::vector<Seen>& samples, double scale, Plot& plot) {
  for (std::size_t i = 0; i < samples.size(); i += StepFor(samples.size())) {
    const SampleFate fate = samples[i].fate;
    plot.Dot(scale * samples[i].place, "sample", 1.2,
             fate == SampleFate::kSurface ? kSurfaceColour
             : fate == SampleFate::kWall  ? kWallColour
                                          : kOtherColour);
  }
}

Figure FrontFigure(const Opening& opening, const Measured& m) {
  Extents shown;
  for (const auto& line : opening.lines) shown.Add(line);
  shown.Add(opening.measured);
  const LengthUnit unit = UnitFor(shown.Size());
  Plot plot = FrontPlot(shown, unit, 560.0);
  for (const auto& line : opening.lines) plot.Line(Scaled(line, unit.scale), "plan");
  DrawSamples(opening.samples, unit.scale, plot);
  plot.Line(Closed(opening.nominal, unit.scale), "nominal");
  plot.Line(Closed(opening.measured, unit.scale), "measured");
  for (const EdgeMark& edge : opening.edges) {
    plot.Dot(unit.scale * edge.place, "sample", 3.0, edge.colour);
  }
  const bool corners = opening.measured.size() <= 12;
  for (std::size_t i = 0; corners && i < opening.measured.size(); ++i) {
    plot.Cross(unit.scale * opening.measured[i], "measured");
  }
  plot.Cross(Point2::Zero(), "measured");
  return {
      "Lines across the opening", plot.Svg("Lines across the opening"),
      "The last scan from the front, in the measured surface: the driven lines, samples that the "
      "surface rests on (light blue), samples of the wall (orange, at their feet) and others "
      "(grey, "
      "where the beam passed the surface), and the point of the border that each line shows (large "
      "dots, a colour a side). Red: the measured opening" +
          std::string(corners ? ", its corners" : "") + " and its centre; dashed: the nominal. " +
          std::to_string(opening.edges.size()) + " of " + std::to_string(m.stages.lines.size()) +
          " lines show an edge."};
}

/// The distances of the nominal's border from the measured one, in order along it.
std::vector<Point2> NominalOff(const Opening& opening, const Border& border) {
  std::vector<Point2> curve;
  const int steps = opening.nominal.size() > 40 ? 1 : 40;
  for (std::size_t i = 0; i < opening.nominal.size(); ++i) {
    const Point2& a = opening.nominal[i];
    const Point2 way = opening.nominal[(i + 1) % opening.nominal.size()] - a;
    for (int k = 0; k < steps; ++k) {
      const BorderPlace at = border.Find(a + way * (static_cast<double>(k) / steps));
      curve.emplace_back(at.along, at.off);
    }
  }
  std::sort(curve.begin(), curve.end(),
            [](const Point2& a, const Point2& b) { return a.x() < b.x(); });
  return curve;
}

Figure ResidualFigure(const Opening& opening) {
  const Border border(opening.measured);
  std::vector<BorderPlace> places;
  std::vector<double> sizes;
  double squares = 0.0;
  for (const EdgeMark& edge : opening.edges) {
    places.push_back(border.Find(edge.place));
    sizes.push_back(std::abs(places.back().off));
    squares += places.back().off * places.back().off;
  }
  // Nearly all edge points, and no noise blown up.
  const double half = std::max(1.3 * Quantile(sizes, 0.95), 10e-6);
  const LengthUnit along = UnitFor(border.length());
  const LengthUnit out{1e6, "\xC2\xB5m"};
  const auto mark = [&](const BorderPlace& at) {
    return Point2(along.scale * at.along, out.scale * at.off);
  };
  Plot plot(kWidth, 320.0, LengthAxis("along the border", along, 0.0, border.length()),
            LengthAxis("outside of it", out, -half, half), false);
  plot.Level(0.0, "level", "measured");
  std::vector<Point2> nominal;
  for (const Point2& p : NominalOff(opening, border)) nominal.push_back(mark({p.x(), p.y()}));
  plot.Line(nominal, "nominal");
  for (const Seen& s : opening.samples) {
    if (s.fate == SampleFate::kWall)
      plot.Dot(mark(border.Find(s.place)), "sample", 1.2, kWallColour);
  }
  for (std::size_t i = 0; i < places.size(); ++i) {
    plot.Dot(mark(places[i]), "sample", 3.0, opening.edges[i].colour);
  }
  const double count = static_cast<double>(places.size());
  const std::string size =
      places.empty() ? "none" : NumberText(1e6 * std::sqrt(squares / count), 3) + " \xC2\xB5m";
  return {"Residuals along the border", plot.Svg("Residuals along the border"),
          "How far the edge points (large dots) and the feet of the wall (orange) lie outside of "
          "the measured border, magnified, along that border; dashed: the nominal border. Root "
          "mean square of the edge points: " +
              size + "."};
}

std::vector<Figure> Pictures(const Measured& m) {
  const auto opening = FindOpening(m);
  if (!opening) return {};
  return {FrontFigure(*opening, m), ResidualFigure(*opening)};
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
