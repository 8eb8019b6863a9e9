#include "features/shared/outline_fit.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "features/shared/directions.h"
#include "features/shared/nearest.h"
#include "features/shared/outline.h"
#include "features/shared/quality.h"
#include "geometry/close_neighbours.h"
#include "geometry/triples.h"
#include "libmfx/geometry/line.h"
#include "messages/text.h"

namespace libmfx::features::shared {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::VectorXYZW;
using geometry::Line;
using geometry::Pair;
using geometry::Plane;
using geometry::Triple;
using messages::MillimetreText;

namespace {

/// Where samples count: what lies above the surface does at its foot.
class Places {
 public:
  Places(const PointCloud& line, const PointXYZW& plane_point, const Plane& plane)
      : _line(line),
        _plane_point(plane_point.xyz()),
        _origin(plane.Point().xyz()),
        _normal(plane.Normal().xyz()),
        _from_origin(_plane_point == _origin) {}

  /// The squares of the distances of all places from a point, as `(place - from).squaredNorm()`
  /// gives them. Two columns at a time: all lines of an opening take 2 % of its analysis instead
  /// of 4.
  void SquaresFrom(const Eigen::Vector3d& from, std::vector<double>& squares) const {
    const Eigen::Index columns = _line.cols();
    squares.resize(static_cast<std::size_t>(columns));
    const Triple origin(_origin), plane_point(_plane_point), normal(_normal), reference(from);
    const double* sample = _line.data().data();
    const Eigen::Index rows = _line.rows();
    Eigen::Index i = 0;
    for (; i + 1 < columns; i += 2, sample += 2 * rows) {
      const Triple p(sample, sample + rows);
      const Pair height = (p - origin).Dot(normal);
      const Pair above = _from_origin ? height : (p - plane_point).Dot(normal);
      const Pair down = above > 0.0 ? height : Pair{};
      const Triple off = p - normal * down - reference;
      geometry::Store(off.Dot(off), &squares[static_cast<std::size_t>(i)]);
    }
    if (i < columns) squares.back() = ((*this)(i)-from).squaredNorm();
  }

  Eigen::Vector3d operator()(Eigen::Index column) const {
    const Eigen::Vector3d p = _line.col(column).head<3>();
    const double height = (p - _origin).dot(_normal);
    const double above = _from_origin ? height : (p - _plane_point).dot(_normal);
    // Noise decides which: without a branch, as both numbers are there.
    return p - _normal * (above > 0.0 ? height : 0.0);
  }

 private:
  const PointCloud& _line;
  Eigen::Vector3d _plane_point;
  Eigen::Vector3d _origin;
  Eigen::Vector3d _normal;
  bool _from_origin;  ///< whether the two points are one
};

/// The column of a line that is its edge point, or -1.
/// \param room for one number a column
Eigen::Index EdgeColumn(const PointCloud& line, const PointXYZW& plane_point, const Plane& plane,
                        const PointXYZW& raised, const EdgeRules& rules,
                        std::vector<double>& room) {
  const double radius = 3.0 * rules.point_spacing;
  const Eigen::Vector3d from = raised.xyz();
  const Places place(line, plane_point, plane);
  place.SquaresFrom(from, room);
  const auto squared = [&](Eigen::Index i) { return room[static_cast<std::size_t>(i)]; };
  // The nearest of all has its neighbours beside it, as a rule; only where it has not are the
  // others asked.
  NearestColumn nearest = FindNearest(line.cols(), squared, [](Eigen::Index) { return true; });
  const Eigen::Index first = nearest.column;
  if (first >= 0 && !geometry::HasTwoBeside(line.data(), first, place(first), radius)) {
    const Eigen::Matrix3Xd points = line.data().topRows(3);
    Eigen::Matrix3Xd places(3, line.cols());
    for (Eigen::Index i = 0; i < line.cols(); ++i) places.col(i) = place(i);
    // A place is compared with the other samples as they stand.
    geometry::CloseNeighbours neighbours(points, places, radius);
    nearest = FindNearest(
        line.cols(), [&](Eigen::Index i) { return (places.col(i) - from).squaredNorm(); },
        [&](Eigen::Index i) { return neighbours.HasTwo(i); });
  }
  return nearest.distance < rules.limit ? nearest.column : -1;
}

}  // namespace

std::optional<PointXYZW> EdgePointOf(const PointCloud& line, const PointXYZW& plane_point,
                                     const Plane& plane, const EdgeRules& rules) {
  const PointXYZW raised = plane_point + plane.Normal() * rules.raise;
  std::vector<double> room;
  const Eigen::Index column = EdgeColumn(line, plane_point, plane, raised, rules, room);
  if (column < 0) return std::nullopt;
  return plane.Project(line.point(column));
}

PointCloud EdgePoints(const std::vector<PointCloud>& lines, const PointXYZW& plane_point,
                      const Plane& plane, const EdgeRules& rules) {
  if (lines.empty()) return {};
  const PointXYZW raised = plane_point + plane.Normal() * rules.raise;
  Eigen::MatrixXd edges(lines.front().rows(), static_cast<Eigen::Index>(lines.size()));
  Eigen::Index written = 0;
  std::vector<double> room;
  for (const PointCloud& line : lines) {
    const Eigen::Index column = EdgeColumn(line, plane_point, plane, raised, rules, room);
    if (column < 0 || line.rows() != edges.rows()) continue;
    edges.col(written) = line.col(column);
    edges.col(written).head<3>() = plane.Project(line.point(column)).xyz();
    ++written;
  }
  edges.conservativeResize(Eigen::NoChange, written);
  return PointCloud(std::move(edges), lines.front().embeddings());
}

Plane Facing(const Plane& surface, const PointXYZW& scan_origin) {
  Plane facing = surface;
  if (facing.Normal().dot(scan_origin - facing.Point()) < 0.0) facing.Normal(-facing.Normal());
  return facing;
}

PointCloud PlacesOf(const std::vector<EdgePoint>& edges) {
  Eigen::MatrixXd places(3, static_cast<Eigen::Index>(edges.size()));
  for (std::size_t i = 0; i < edges.size(); ++i) {
    places.col(static_cast<Eigen::Index>(i)) = edges[i].place.xyz();
  }
  return PointCloud(std::move(places));
}

Side SideThrough(PointCloud edges) {
  Side side{std::move(edges), Line(), false};
  side.fitted = side.line.LeastSquares(side.edges);
  return side;
}

std::vector<Side> FitSides(const std::vector<std::vector<EdgePoint>>& edges) {
  std::vector<Side> sides;
  sides.reserve(edges.size());
  for (const std::vector<EdgePoint>& side : edges) sides.push_back(SideThrough(PlacesOf(side)));
  return sides;
}

std::optional<std::vector<PointXYZW>> Corners(const std::vector<Side>& sides, const Plane& plane) {
  const Eigen::Matrix3d from_plane = plane.TBN();
  const Eigen::Matrix3d to_plane = from_plane.inverse();
  std::vector<Line> lines;
  lines.reserve(sides.size());
  for (const Side& side : sides) {
    const PointXYZW p0 = plane.Project(side.line.Point());
    const PointXYZW p1 = plane.Project(side.line.Point() + side.line.Vector());
    lines.emplace_back(PointXYZW(Eigen::Vector3d(to_plane * p0.xyz())),
                       VectorXYZW(Eigen::Vector3d(to_plane * (p1 - p0).normalized().xyz())));
  }
  std::vector<PointXYZW> corners;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    PointXYZW corner;
    if (!lines[i].Intersection2D(lines[(i + 1) % lines.size()], corner)) return std::nullopt;
    corner.z() = lines[i].Point().z();
    corners.emplace_back(Eigen::Vector3d(from_plane * corner.xyz()));
  }
  return corners;
}

PointXYZW MeanOf(const std::vector<Side>& sides, const std::vector<PointXYZW>& corners) {
  Eigen::Vector3d sum = Eigen::Vector3d::Zero();
  double count = 0.0;
  for (const Side& side : sides) {
    sum += side.edges.data().topRows(3).rowwise().sum();
    count += static_cast<double>(side.edges.cols());
  }
  for (const PointXYZW& corner : corners) sum += corner.xyz();
  return PointXYZW(Eigen::Vector3d(sum / (count + static_cast<double>(corners.size()))));
}

namespace {

/// Adds the distances of a side's edge points from the line fitted to them.
void AddDistances(const Side& side, math::AccStats& distances) {
  if (!side.fitted) return;
  const Line unit(side.line.Point(), side.line.Vector());
  for (Eigen::Index i = 0; i < side.edges.cols(); ++i) {
    distances.Add(unit.Distance(side.edges.point(i)));
  }
}

/// The same from an arc's circle.
math::AccStats DistancesFrom(const geometry::Circle& arc, const PointCloud& edges) {
  math::AccStats distances;
  for (Eigen::Index i = 0; i < edges.cols(); ++i) {
    distances.Add(std::abs(Distance(edges.point(i), arc.Center()) - arc.Radius()));
  }
  return distances;
}

/// How far from its side or arc an edge point may lie, metres.
double MostOff(double point_spacing, double clearance) {
  return std::max(5.0 * point_spacing, 0.1 * clearance);
}

/// The group of edge points with the largest distance beyond the limit, if there is one.
struct Farthest {
  std::optional<std::size_t> group;
  double distance;  ///< metres

  void Take(std::size_t of, const math::AccStats& distances) {
    if (distances.count == 0 || distances.max <= distance) return;
    distance = distances.max;
    group = of;
  }
};

}  // namespace

std::vector<std::string> DoubtsOfSides(const std::vector<Side>& sides, double point_spacing,
                                       double clearance) {
  Farthest bent{{}, MostOff(point_spacing, clearance)};
  for (std::size_t i = 0; i < sides.size(); ++i) {
    math::AccStats distances;
    AddDistances(sides[i], distances);
    bent.Take(i, distances);
  }
  if (!bent.group) return {};
  return {"An edge point of side " + std::to_string(*bent.group + 1) + " of " +
          std::to_string(sides.size()) + " lies " + MillimetreText(bent.distance) +
          " off the line through that side: its scan line met another border, or the side is not "
          "straight. Look at the scan there; a smaller \"ClearanceZone\" keeps lines out of "
          "corners."};
}

std::vector<std::string> DoubtsOfCorners(const std::vector<PointXYZW>& found,
                                         const std::vector<PointXYZW>& reported,
                                         double point_spacing, double clearance) {
  Farthest off{{}, MostOff(point_spacing, clearance)};
  for (std::size_t i = 0; i < found.size(); ++i) {
    math::AccStats distances;
    distances.Add(Distance(found[i], reported[i]));
    off.Take(i, distances);
  }
  if (!off.group) return {};
  return {"Corner " + std::to_string(*off.group + 1) + " of " + std::to_string(found.size()) +
          " lies " + MillimetreText(off.distance) +
          " off the outline that is reported: the border of a side is not read where it is, or the "
          "opening has another shape. Look at the scan there."};
}

std::vector<std::string> DoubtsOfArcs(const std::array<geometry::Circle, 2>& arcs,
                                      const std::vector<PointCloud>& edges, double point_spacing,
                                      double clearance) {
  std::vector<std::string> doubts;
  Farthest bent{{}, MostOff(point_spacing, clearance)};
  for (std::size_t i = 0; i < arcs.size(); ++i) bent.Take(i, DistancesFrom(arcs[i], edges[i]));
  if (bent.group) {
    doubts.push_back("An edge point of arc " + std::to_string(*bent.group + 1) + " of 2 lies " +
                     MillimetreText(bent.distance) +
                     " off the circle through that arc: something lies on the border or in front "
                     "of it, samples are missing there, or the arc is not round. Look at the scan "
                     "there.");
  }
  const double apart = std::abs(arcs[0].Radius() - arcs[1].Radius());
  if (apart > MostOff(point_spacing, clearance)) {
    doubts.push_back("The radii of the two arcs differ by " + MillimetreText(apart) +
                     ": one of their borders is not read where it is. Look at the scan there.");
  }
  return doubts;
}

std::vector<std::string> DoubtsOfCenter(const PointXYZW& measured, const PointXYZW& nominal,
                                        double point_spacing, double rescan_threshold) {
  constexpr double kFar = 0.0002;  // metres
  const double distance = Distance(measured, nominal);
  if (rescan_threshold < std::numeric_limits<double>::max()) return {};
  if (!(distance > std::max(kFar, 2.0 * point_spacing))) return {};
  return {"The measured centre lies " + MillimetreText(distance) +
          " from its nominal, and the request has no \"RescanThreshold\": the lines lay around the "
          "nominal, and the centre found lies between the nominal and the true one. Give "
          "\"RescanThreshold\", or correct \"Location\"."};
}

double QualityOfEdges(const std::vector<Side>& sides) {
  math::AccStats distances;
  for (const Side& side : sides) AddDistances(side, distances);
  if (distances.count == 0) return 0.0;
  // Distances from a fitted line scatter about 0, on either side of it.
  return QualityOfScatter(std::sqrt(distances.sum_of_squares / distances.count), 0.0);
}

namespace {

/// The column before a line's last, or the nearest one before it that lies on the surface: a
/// stray echo between two samples of the surface comes along as their neighbour, and a single
/// one, some centimetres off, would move the middle of all lines by millimetres. -1 if there is
/// none.
Eigen::Index LastSurfaceColumnButOne(const PointCloud& line, const PointXYZW& on_surface,
                                     const VectorXYZW& normal, double tolerance) {
  Eigen::Index i = line.cols() - 2;
  while (i >= 0 && !(std::abs((line.point(i) - on_surface).dot(normal)) <= tolerance)) --i;
  return std::max<Eigen::Index>(i, -1);
}

}  // namespace

PointXYZW CenterShiftedBySpacing(const LineBins& selected, const PointXYZW& center,
                                 const VectorXYZW& normal, const PointXYZW& scan_origin,
                                 double point_spacing) {
  std::vector<Eigen::Vector3d> last_but_one;
  for (const auto& side : selected) {
    for (const PointCloud& line : side) {
      const Eigen::Index i = LastSurfaceColumnButOne(line, center, normal, 3.0 * point_spacing);
      // Without one of the lines the middle of the others lies elsewhere.
      if (i < 0) return center;
      last_but_one.push_back(line.point(i).xyz());
    }
  }
  Eigen::MatrixXd ring_points(3, static_cast<Eigen::Index>(last_but_one.size()));
  for (std::size_t i = 0; i < last_but_one.size(); ++i) {
    ring_points.col(static_cast<Eigen::Index>(i)) = last_but_one[i];
  }
  Plane ring;
  if (!ring.LeastSquares(PointCloud(std::move(ring_points)))) return center;

  const double distance = data_structures::Distance(scan_origin, center);
  const double unit = std::max(2.0 * std::log(distance), 2.0) * point_spacing;
  const VectorXYZW towards = ring.Point() - center;
  const double e = towards.norm();
  const double fraction = e / unit - std::floor(e / unit);
  VectorXYZW offset = e > 3.0 * point_spacing
                          ? towards
                          : towards.normalized() * std::min(fraction * unit, 2.0 * point_spacing);
  offset -= normal * offset.dot(normal);
  const PointXYZW shifted = center + offset;
  return shifted.eigen().allFinite() ? shifted : center;
}

}  // namespace libmfx::features::shared
