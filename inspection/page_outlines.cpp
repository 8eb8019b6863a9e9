#include "inspection/page_outlines.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <numbers>
#include <optional>
#include <utility>

namespace libmfx::inspection::page {
namespace {

constexpr double kFarthest = 1e6;          // m
constexpr int kArcSteps = 24;              // of half a circle: off by 0.2 % of the radius
constexpr std::size_t kLongestPath = 500;  // points of a free path, or segments, about

/// A number under "Feature" of a feature's request; 0 if there is none.
double Told(const PlannedFeature& feature, const char* key) {
  const auto inside = feature.request.find("Feature");
  if (inside == feature.request.end() || !inside->is_object()) return 0.0;
  const auto value = inside->find(key);
  if (value == inside->end() || !value->is_number()) return 0.0;
  const double number = value->get<double>();
  return std::isfinite(number) ? number : 0.0;
}

bool IsSize(double size) { return size > 0.0 && size < kFarthest; }

/// A nominal radius, from the request where the feature tells none.
double RadiusOf(const PlannedFeature& feature) {
  const double told = std::isfinite(feature.radius) && feature.radius > 0.0
                          ? feature.radius
                          : Told(feature, "Radius");
  return IsSize(told) ? told : 0.0;
}

/// The plane that a feature lies in.
struct Plane {
  Vector3d origin;
  Vector3d along;   ///< the tangent, where there is one
  Vector3d across;  ///< square to it
  Vector3d normal;

  Vector3d At(double x, double y) const { return origin + x * along + y * across; }
};

Plane PlaneOf(const PlannedFeature& feature) {
  const auto unit = [](const Vector3d& v) {
    const double length = v.norm();
    return std::isfinite(length) && length > 1e-9 ? Vector3d(v / length) : Vector3d::Zero();
  };
  Plane plane;
  plane.origin = feature.place;
  plane.normal = unit(feature.direction);
  if (plane.normal.isZero()) plane.normal = Vector3d::UnitZ();
  const Vector3d tangent = unit(feature.tangent);
  plane.along = unit(tangent - tangent.dot(plane.normal) * plane.normal);
  if (plane.along.isZero()) plane.along = plane.normal.unitOrthogonal();
  plane.across = plane.normal.cross(plane.along);
  return plane;
}

/// Appends points of an arc about a place of the plane, from one angle to another.
void Arc(const Plane& plane, double x, double radius, double from, double to, int steps,
         std::vector<Vector3d>& points) {
  for (int i = 0; i <= steps; ++i) {
    const double angle = from + (to - from) * i / steps;
    points.push_back(plane.At(x + radius * std::cos(angle), radius * std::sin(angle)));
  }
}

Outline Ring(const Plane& plane, double radius, int corners) {
  Outline ring;
  ring.is_closed = true;
  for (int i = 0; i < corners; ++i) {
    const double angle = 2.0 * std::numbers::pi * i / corners;
    ring.points.push_back(plane.At(radius * std::cos(angle), radius * std::sin(angle)));
  }
  return ring;
}

/// An arrow's worth of the direction that a flat feature looks into.
Outline Normal(const Plane& plane, double length) {
  return {{plane.origin, plane.origin + length * plane.normal}};
}

std::vector<Outline> Cylinder(const PlannedFeature& feature) {
  const Plane foot = PlaneOf(feature);
  const double radius = RadiusOf(feature);
  const double height = std::clamp(Told(feature, "Height"), 0.0, kFarthest);
  std::vector<Outline> outlines = {Ring(foot, radius, 2 * kArcSteps)};
  if (height <= 0.0) return outlines;
  Plane end = foot;
  end.origin += height * foot.normal;
  outlines.push_back(Ring(end, radius, 2 * kArcSteps));
  for (const double x : {-radius, radius}) {
    outlines.push_back({{foot.At(x, 0.0), end.At(x, 0.0)}});
    outlines.push_back({{foot.At(0.0, x), end.At(0.0, x)}});
  }
  return outlines;
}

Outline Obround(const Plane& plane, double length, double width) {
  constexpr double kQuarter = 0.5 * std::numbers::pi;
  const double radius = 0.5 * width;
  const double middle = std::max(0.0, 0.5 * length - radius);
  Outline slot;
  slot.is_closed = true;
  Arc(plane, middle, radius, -kQuarter, kQuarter, kArcSteps, slot.points);
  Arc(plane, -middle, radius, kQuarter, 3.0 * kQuarter, kArcSteps, slot.points);
  return slot;
}

std::vector<Outline> Opening(const PlannedFeature& feature) {
  const Plane plane = PlaneOf(feature);
  const double x = 0.5 * feature.length;
  const double y = 0.5 * feature.width;
  if (feature.type == "PolygonFeature") {
    const int sides = static_cast<int>(std::clamp(Told(feature, "Sides"), 0.0, 100.0));
    const double radius = RadiusOf(feature);
    if (sides < 3 || radius <= 0.0) return {};
    return {Ring(plane, radius, sides), Normal(plane, 0.5 * radius)};
  }
  if (!IsSize(x) || !IsSize(y)) return {};
  Outline rim =
      feature.type == "SlotFeature"
          ? Obround(plane, 2.0 * x, 2.0 * y)
          : Outline{{plane.At(x, y), plane.At(-x, y), plane.At(-x, -y), plane.At(x, -y)}, true};
  return {std::move(rim), Normal(plane, std::min(x, y))};
}

/// A piece of the border, and the way across it out of the material.
std::vector<Outline> Border(const PlannedFeature& feature, double mark) {
  const Plane plane = PlaneOf(feature);
  return {{{plane.At(0.0, -2.0 * mark), plane.At(0.0, 2.0 * mark)}},
          {{plane.At(-mark, 0.0), plane.origin}}};
}

/// A cross in the surface with its normal.
std::vector<Outline> SurfaceCross(const PlannedFeature& feature, double mark) {
  const Plane plane = PlaneOf(feature);
  return {{{plane.At(-mark, 0.0), plane.At(mark, 0.0)}},
          {{plane.At(0.0, -mark), plane.At(0.0, mark)}},
          Normal(plane, mark)};
}

std::optional<Vector3d> PointOf(const json& point) {
  if (!point.is_array() || point.size() != 3) return std::nullopt;
  Vector3d place;
  for (int i = 0; i < 3; ++i) {
    const json& number = point[static_cast<std::size_t>(i)];
    if (!number.is_number()) return std::nullopt;
    place[i] = number.get<double>();
  }
  return place;
}

std::vector<Outline> Path(const PlannedFeature& feature) {
  static const json::json_pointer kSegments("/Feature/Path/Segments");
  if (!feature.request.contains(kSegments)) return {};
  const json& segments = feature.request[kSegments];
  std::size_t all = 0;
  for (const json& segment : segments) all += segment.is_array() ? segment.size() : 0;
  const std::size_t step = all / kLongestPath + 1;
  std::vector<Outline> outlines;
  for (const json& segment : segments) {
    if (!segment.is_array()) continue;
    Outline line;
    for (std::size_t i = 0; i < segment.size(); ++i) {
      if (i % step != 0 && i + 1 != segment.size()) continue;
      if (const auto place = PointOf(segment[i])) line.points.push_back(*place);
    }
    if (line.points.size() > 1) outlines.push_back(std::move(line));
    if (outlines.size() == kLongestPath) break;
  }
  return outlines;
}

}  // namespace

bool CanBeDrawn(const Vector3d& place) {
  return place.allFinite() && place.cwiseAbs().maxCoeff() < kFarthest;
}

std::optional<Vector3d> SpotOf(const PlannedFeature& feature) {
  if (feature.type != "ScanPathFeature") {
    return CanBeDrawn(feature.place) ? std::optional<Vector3d>(feature.place) : std::nullopt;
  }
  const std::vector<Outline> path = OutlinesOf(feature, 0.0);
  return path.empty() ? std::nullopt : std::optional<Vector3d>(path.front().points.front());
}

std::vector<Outline> OutlinesOf(const PlannedFeature& feature, double mark) {
  std::vector<Outline> outlines;
  const double radius = RadiusOf(feature);
  if (feature.type == "ScanPathFeature") {
    outlines = Path(feature);
  } else if (!CanBeDrawn(feature.place)) {
    return {};
  } else if (feature.type == "MatteSphereFeature") {
    if (radius > 0.0) outlines = {{{feature.place}, false, radius}};
  } else if (feature.type == "HoleFeature") {
    const Plane plane = PlaneOf(feature);
    if (radius > 0.0) outlines = {Ring(plane, radius, 2 * kArcSteps), Normal(plane, radius)};
  } else if (feature.type == "ThreadedHoleFeature" || feature.type == "StudFeature") {
    if (radius > 0.0) outlines = Cylinder(feature);
  } else if (feature.type == "EdgeFeature") {
    outlines = Border(feature, mark);
  } else if (feature.type == "SurfaceNormalFeature") {
    outlines = SurfaceCross(feature, mark);
  } else {
    outlines = Opening(feature);
  }
  std::erase_if(outlines, [](const Outline& outline) {
    return !std::all_of(outline.points.begin(), outline.points.end(), CanBeDrawn);
  });
  return outlines;
}

}  // namespace libmfx::inspection::page
