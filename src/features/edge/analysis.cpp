#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "features/edge/profile.h"
#include "features/shared/directions.h"
#include "features/shared/quality.h"
#include "features/shared/sample_fates.h"
#include "features/shared/segments.h"
#include "libmfx/features/edge.h"
#include "libmfx/geometry/line.h"
#include "libmfx/math/gaussian_window.h"
#include "messages/text.h"

namespace libmfx::features {

using data_structures::Distance;
using Eigen::Index;

namespace {

/// A larger step between neighbours below the border leads to something behind it, metres.
constexpr double kLargestGap = 0.002;
/// The edge has to be known to within this, at the least, and the curve is fitted to as much of the
/// profile to either side: a few widths of the beam, metres.
constexpr double kLeastReach = 0.0005;

/// Scatter below this is none, metres.
constexpr double kLeastNoise = 1e-6;

double NoiseOf(const SurfaceLine& surface) { return 3.0 * std::max(surface.scatter, kLeastNoise); }

/// A quarter of the columns, made odd; -1 for fewer than 4.
long long SpanOf(const PointCloud& cloud) {
  const auto span = static_cast<long long>(static_cast<double>(cloud.cols()) * 0.25);
  return span % 2 == 0 ? span - 1 : span;
}

/// The columns up to the first that is farther than kLargestGap from the next.
PointCloud UpToGap(const PointCloud& tail) {
  Index count = tail.cols();
  for (Index i = 0; i + 1 < tail.cols(); ++i) {
    if (Distance(tail.point(i), tail.point(i + 1)) > kLargestGap) {
      count = i + 1;
      break;
    }
  }
  return PointCloud(Eigen::MatrixXd(tail.data().leftCols(count)), tail.embeddings());
}

/// All but the first `skip` samples of the fate `from` come to the fate `to`.
void Advance(std::vector<SampleFate>& fates, SampleFate from, SampleFate to, Index skip) {
  for (SampleFate& fate : fates) {
    if (fate == from && skip-- <= 0) fate = to;
  }
}

}  // namespace

bool Edge::Analyze() {
  if (_has_error) return false;
  _profile = {};
  _profile.nominal = _edge_point;
  const bool measured = MeasureOnLine();
  Record().profile = _profile;
  return measured;
}

bool Edge::MeasureOnLine() {
  if (!TakeScan(EMBEDDING_XYZ, _quality_threshold, _scan_cloud,
                "Edge::Analyze(): All scanned data was filtered!")) {
    return false;
  }
  if (!SelectLine()) return false;
  const PointCloud& line = _profile.selected;
  if (!smooth_sliding_window(line, SpanOf(line), _profile.smoothed)) return false;
  PointCloud straight;
  PointCloud curved;
  long long split_index = -1;
  const bool split = split_curve(_profile.smoothed, straight, curved, split_index);
  _profile.split_index = split_index;
  if (!split) return false;
  Advance(Record().fates, SampleFate::kSurface, SampleFate::kFitted, split_index);

  const PointCloud tail(Eigen::MatrixXd(line.data().rightCols(line.cols() - split_index)),
                        line.embeddings());
  if (_use_nominal_offset) {
    curved = UpToGap(tail);
    Advance(Record().fates, SampleFate::kFitted, SampleFate::kLeftOut, curved.cols());
  } else if (!smooth_sliding_window(tail, SpanOf(tail), curved)) {
    return false;
  }
  if (!LayCrossSection(_profile.cross_section, straight)) return false;
  PointXYZW edge;
  if (!FindEdge(curved, edge) || !Judge(edge)) return false;
  TellDoubts();
  return true;
}

bool Edge::SelectLine() {
  const geometry::Line upright(_edge_point, -_surface_normal);
  // Samples of the move to the start of the line carry its number, 0. They are no part of it,
  // unless nothing else is there.
  const bool has_line = (_scan_cloud.row(4).array() > 0.0).any();
  const shared::ColumnSamples usable_samples = shared::UsableSamples(_raw_data, _quality_threshold);
  shared::SampleFates fates(usable_samples, _raw_data.size(), Record().fates);
  const auto lines = shared::CutIntoLines(_scan_cloud, [&](Index column, int segment) {
    if (segment <= 0 && has_line) return false;
    const PointXYZW foot = upright.Project(_scan_cloud.point(column));
    if (Distance(_edge_point, foot) <= _clearance_zone) return true;
    fates.Set(column, SampleFate::kFar);
    return false;
  });
  // The first line is the one; a further one can only be there by mistake.
  const std::vector<Index>& near = lines.front();
  fates.Set(near, SampleFate::kDropped);
  std::vector<std::vector<PointCloud>> bins;
  Index columns = 0;
  for (const std::vector<Index>& line : lines) {
    bins.push_back({shared::Columns(_scan_cloud, line)});
    columns += static_cast<Index>(line.size());
  }
  const auto total = static_cast<double>(columns);
  std::vector<std::vector<PointCloud>> selected;
  geometry::Plane plane;
  // All samples of one line lie in the plane in which the beam swept, and the plane found is that
  // one: what is cut are samples off it, and off the nominal.
  if (!plane.IterativeBinaryCuts(std::move(bins), _surface_point, selected, _quality_threshold, 0.0,
                                 Distance(_surface_point, _edge_point) + _clearance_zone, total,
                                 0.5, 2.0 * _point_spacing, true)) {
    return Fail("Edge::Analyze(): No plane through the samples near the nominal points.");
  }
  _profile.selected = std::move(selected.front().front());
  _profile.cross_section = plane;
  fates.SetKept(near, _scan_cloud, _profile.selected, SampleFate::kSurface);
  if (_profile.selected.cols() > 0) {
    Record().lines.push_back({shared::SegmentOf(_profile.selected, 0), 0, 0});
  }
  return true;
}

bool Edge::LayCrossSection(geometry::Plane plane, const PointCloud& straight) {
  const Index n = straight.cols();
  const std::vector<double> weights =
      math::CenteredGaussianWindow(static_cast<unsigned int>(n), 1.0);
  Eigen::Vector3d tangent = Eigen::Vector3d::Zero();
  for (Index i = 0; i + 1 < n; ++i) {
    tangent += weights[static_cast<std::size_t>(i)] *
               (straight.data().col(i + 1) - straight.data().col(i)).head<3>();
  }
  const VectorXYZW along(tangent);
  // Of the two normals of a fitted plane the one whose bitangent faces as the surface does.
  if (along.cross(plane.Normal()).dot(_surface_normal) < 0.0) plane.Normal(-plane.Normal());
  plane.Tangent(along);
  plane.Bitangent(plane.Tangent().cross(plane.Normal()));
  _profile.cross_section = plane;
  const double angle = shared::AngleOfCosine(plane.Bitangent().dot(_surface_normal.normalized()));
  if (!Passed("angle of the cross section to the nominal normal", angle, _normal_reject_angle,
              angle <= _normal_reject_angle)) {
    return Fail(
        "Edge::Analyze(): The bi-tangent of the cross section plane exceeds the angle to nominal "
        "rejection threshold.");
  }
  return true;
}

bool Edge::FindEdge(const PointCloud& curved, PointXYZW& edge) {
  geometry::Plane& plane = _profile.cross_section;
  const SectionFrame frame(plane, _surface_point);
  const Section profile = frame.Places(transform(_profile.selected, plane, _surface_point.xyz()));
  const Section below = frame.Places(transform(curved, plane, _surface_point.xyz()));
  // The heights of the plane's own frame will not do as depths: its tangent is drawn down by the
  // part of the drop that lies before the cut. So the surface is measured on the samples.
  const std::optional<SurfaceLine> surface = FitSurfaceLine(
      profile, std::min<Index>(_profile.split_index + 1, profile.cols()),
      static_cast<Index>(_clearance_zone / _point_spacing * 0.8), 2.0 * _point_spacing);
  if (!surface) return Fail("Edge::Analyze(): The run along the surface shows no direction.");
  _profile.surface_scatter = surface->scatter;
  _profile.surface_point = frame.PointAt(surface->Place({0.0, 0.0}));
  _profile.surface_direction = frame.PointAt(surface->Place({1.0, 0.0})) - _profile.surface_point;
  _profile.surface_normal = frame.PointAt(surface->Place({0.0, -1.0})) - _profile.surface_point;
  // A cross section that is inclined to the nominal normal shows depths longer than they are.
  const double sideways = plane.Normal().dot(_surface_normal.normalized());
  _profile.level = _nominal_offset / std::sqrt(1.0 - sideways * sideways);
  return _use_nominal_offset ? FindEdgeAtOffset(frame, *surface, below, edge)
                             : FindEdgeOnProfile(frame, *surface, profile, below, edge);
}

double Edge::Reach() const { return std::max(kLeastReach, 5.0 * _point_spacing); }

double Edge::FarthestAlike(const SurfaceLine& surface, const Eigen::Matrix3Xd& below,
                           Index chosen) const {
  if (surface.scatter < kLeastNoise) return 0.0;  // without noise a tie is a tie
  const Eigen::Vector2d place = surface.AlongAndDepth(below.col(chosen));
  const double nearest = std::abs(place.y() - _profile.level);
  double farthest = 0.0;
  for (Index i = 0; i < below.cols(); ++i) {
    const Eigen::Vector2d other = surface.AlongAndDepth(below.col(i));
    if (std::abs(other.y() - _profile.level) <= nearest + 3.0 * surface.scatter) {
      farthest = std::max(farthest, std::abs(other.x() - place.x()));
    }
  }
  return farthest;
}

bool Edge::FindEdgeAtOffset(const SectionFrame& frame, const SurfaceLine& surface,
                            const Section& below, PointXYZW& edge) {
  double nearest = std::numeric_limits<double>::max();
  Index chosen = -1;
  for (Index i = 0; i < below.cols(); ++i) {
    const double off = std::abs(surface.AlongAndDepth(below.col(i)).y() - _profile.level);
    if (off < nearest) {
      nearest = off;
      chosen = i;
    }
  }
  if (chosen < 0) {
    return Fail(
        "Edge::Analyze(): Could not find the furthest edge point along plane tangent direction.");
  }
  _profile.off_level = nearest;
  _profile.alike = FarthestAlike(surface, below, chosen);
  edge = frame.PointAt(below.col(chosen));
  return true;
}

bool Edge::FindEdgeOnProfile(const SectionFrame& frame, const SurfaceLine& surface,
                             const Section& profile, const Section& below, PointXYZW& edge) {
  double lowest = std::numeric_limits<double>::max();
  Index deepest_idx = -1;
  for (Index i = 0; i < below.cols(); ++i) {
    if (below(1, i) < lowest) {
      lowest = below(1, i);
      deepest_idx = i;
    }
  }
  if (deepest_idx < 0) {
    return Fail("Edge::Analyze(): Failed to find the deepest_idx for the scan segment.");
  }
  // What follows the deepest sample has come up again and is no part of the border.
  const Index count = _profile.split_index + deepest_idx + 1;
  Advance(Record().fates, SampleFate::kFitted, SampleFate::kLeftOut, deepest_idx + 1);
  Eigen::Matrix2Xd places(2, count);
  for (Index i = 0; i < count; ++i) places.col(i) = surface.AlongAndDepth(profile.col(i));
  Crossing crossing(places, _profile.level, NoiseOf(surface), Reach());
  if (!crossing.Fit()) {
    return Fail("Edge::Analyze(): Error fitting a 2D polynomial. Check rotated_cplane_data.");
  }
  _profile.polynomial = crossing.curve();
  _profile.middle = frame.PointAt(surface.Place(crossing.middle()));
  _profile.reach = crossing.reach();
  if (!crossing.FindStep()) {
    return Fail("Edge::Analyze(): Failed to find the r_idx for the translated vector.");
  }
  const std::optional<Eigen::Vector2d> found =
      crossing.Find(2.0 * _point_spacing + NoiseOf(surface));
  if (!found) return Fail("Edge::Analyze(): Could not estimate the z-component of the edge.");
  edge = frame.PointAt(surface.Place(*found));
  return true;
}

bool Edge::Judge(const PointXYZW& edge) {
  if (!Record().lines.empty()) {
    Record().edges.push_back({Record().lines.front().segment, edge});
  }
  const double distance = Distance(_edge_point, edge);
  // The limit hangs on the nominal offset: with an offset of 0 only the nominal itself passes.
  if (!Passed("distance from the nominal edge point", distance, 0.5 * _nominal_offset,
              distance <= 0.5 * _nominal_offset)) {
    return Fail(
        "Edge::Analyze(): The residual distance of the estimated edge exceeded the tolerable "
        "limits.");
  }
  _measured_point = edge;
  // Every depth is told from the measured surface: its scatter is what the edge point rests on.
  _quality = shared::QualityOfScatter(_profile.surface_scatter, 0.0);
  if (!TriggerRescan(distance)) return true;
  // The normal of the cross section is square to that of the surface: a host that scans again has
  // to put the surface's normal back, or the bi-tangent's test ends the next pass.
  _surface_normal = _profile.cross_section.Normal();
  _surface_point = _surface_point + (_measured_point - _edge_point);
  _edge_point = _measured_point;
  return false;
}

void Edge::TellDoubts() {
  if (_profile.off_level > Reach()) {
    Warn("The sample taken for the edge lies " + messages::MillimetreText(_profile.off_level) +
         " above or below the depth asked for, and no sample lies nearer to it. Look at what the "
         "line shows of the border: a finer spacing, a lower threshold or a look from farther "
         "outside lets it show more.");
  }
  if (_profile.alike > Reach()) {
    Warn("The line shows the depth asked for in places " +
         messages::MillimetreText(_profile.alike) +
         " apart, as with a step or a second surface at that depth: the edge may be at either. "
         "Move \"EdgePoint\" to a depth that the border alone has.");
  }
}

}  // namespace libmfx::features
