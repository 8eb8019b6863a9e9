#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>
#include <utility>

#include "features/hole/bore.h"
#include "features/hole/grazed_rim.h"
#include "features/shared/sample_fates.h"
#include "features/shared/segments.h"
#include "libmfx/features/hole.h"

namespace libmfx::features {
namespace {

/// An arc of wall shorter than this does not tell on which side of it the centre lies.
constexpr double kShortestArc = std::numbers::pi / 6.0;
constexpr Eigen::Index kFewestFeet = 3;

bool CarriesFit(const std::vector<PointCloud>& feet, const Bore& bore) {
  return shared::ColumnsOf(feet) >= kFewestFeet && SpanOf(feet, bore) >= kShortestArc;
}

/// Gives each line that has no wall yet the mouth of the bore, where it shows one.
void AddMouths(const std::vector<PointCloud>& lines, const Bore& bore,
               std::vector<PointCloud>& wall_points) {
  for (std::size_t s = 0; s < lines.size(); ++s) {
    if (wall_points[s].cols() > 0) continue;
    if (std::optional<PointCloud> mouth = FindMouth(lines[s], bore))
      wall_points[s] = std::move(*mouth);
  }
}

/// The planar point of each line that lies nearest to the circle's centre, on the surface, where it
/// belongs to the border that most of them tell.
/// \param reach how far from the middle distance a point of the border may lie
/// \return shape (4, points): x, y, z, segment number
PointCloud InnerBorder(const std::vector<PointCloud>& inliers, const geometry::Circle& circle,
                       const geometry::Plane& plane, double reach) {
  std::vector<Eigen::Vector4d> border;
  std::vector<double> distances;
  for (const PointCloud& line : inliers) {
    if (line.cols() == 0) continue;
    Eigen::Index inner = 0;
    const auto points = line.data().topRows<3>();
    (points.colwise() - circle.Center().xyz()).colwise().squaredNorm().minCoeff(&inner);
    const PointXYZW foot = plane.Project(line.point(inner));
    border.emplace_back(foot.x(), foot.y(), foot.z(), shared::SegmentOf(line, inner));
    distances.push_back((foot - circle.Center()).norm());
  }
  if (border.empty()) return {};
  std::vector<double> sorted = distances;
  const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
  std::nth_element(sorted.begin(), middle, sorted.end());
  Eigen::MatrixXd data(4, static_cast<Eigen::Index>(border.size()));
  Eigen::Index kept = 0;
  for (std::size_t i = 0; i < border.size(); ++i) {
    if (std::abs(distances[i] - *middle) < reach) data.col(kept++) = border[i];
  }
  return PointCloud(Eigen::MatrixXd(data.leftCols(kept)), {{data_structures::EMBEDDING_XYZ, {0}}});
}

/// Gives each line that has no wall the rim that its beam grazed.
void AddRim(const PointCloud& rim, const std::vector<PointCloud>& lines,
            std::vector<PointCloud>& wall_points) {
  for (std::size_t s = 0; s < lines.size(); ++s) {
    if (wall_points[s].cols() > 0 || lines[s].cols() == 0) continue;
    for (Eigen::Index j = 0; j < rim.cols(); ++j) {
      if (static_cast<int>(rim.data()(3, j)) != shared::SegmentOf(lines[s], 0)) continue;
      Eigen::MatrixXd column(5, 1);
      column << rim.col(j).head<3>(), 100.0, rim.data()(3, j);
      wall_points[s] = PointCloud(std::move(column), lines[s].embeddings());
    }
  }
}

}  // namespace

Bore Hole::BoreBelow(const geometry::Circle& circle) const {
  return {_plane,
          circle.Center(),
          _far_side_offset,
          _scan_origin,
          circle.Radius() - _chamfer_offset,
          _has_chamfer ? _chamfer_depth : 0.0,
          _has_chamfer ? _chamfer_offset : 0.0,
          _point_spacing};
}

bool Hole::CircleHasWall(const std::vector<PointCloud>& outliers,
                         std::vector<PointCloud>& wall_points, const geometry::Circle& circle,
                         double& a, double& b) {
  const Bore bore = BoreBelow(circle);
  wall_points.assign(outliers.size(), PointCloud(Eigen::MatrixXd(5, 0)));
  a = b = 0.0;
  // A beam almost along the bore hardly touches the wall: what shows the bore then is its mouth
  // below a chamfer.
  if (_low_incidence) {
    if (_has_chamfer) AddMouths(outliers, bore, wall_points);
    return CarriesFit(wall_points, bore);
  }
  double shallowest = std::numeric_limits<double>::max();
  shared::SampleFates fates(_samples, _raw_data.size(), Record().fates);
  for (std::size_t s = 0; s < outliers.size(); ++s) {
    std::optional<WallRun> wall = FindWall(outliers[s], bore);
    if (!wall) continue;
    wall_points[s] = std::move(wall->feet);
    if (s < _columns.size()) {
      fates.SetKept(_columns[s], _scan_cloud, outliers[s], wall->columns, SampleFate::kWall);
    }
    shallowest = std::min(shallowest, wall->shallowest);
    b = std::max(b, wall->deepest);
  }
  if (b > 0.0) a = shallowest;
  const bool seen = CarriesFit(wall_points, bore);
  // The rim of a chamfer is wider than the bore and has no place among its wall.
  if (!_has_chamfer) {
    AddRim(GrazedRim(_edge_points, _scan_cloud, Layout(), bore), _segments, wall_points);
  }
  return seen;
}

bool Hole::CircleHasWallX(const std::vector<PointCloud>& inliers,
                          std::vector<PointCloud>& wall_points, const geometry::Circle& circle,
                          const double& /*b*/) {
  // Without a chamfer the points that the surface fit kept show the rim, which the edge points are.
  if (!_has_chamfer) return false;
  const Bore bore = BoreBelow(circle);
  wall_points.resize(inliers.size(), PointCloud(Eigen::MatrixXd(5, 0)));
  AddMouths(inliers, bore, wall_points);
  return CarriesFit(wall_points, bore);
}

bool Hole::PlaneCentroidBiasShift(const std::vector<PointCloud>& inliers,
                                  geometry::Circle& circle) {
  const PointCloud border = InnerBorder(inliers, circle, _plane, 5.0 * _point_spacing);
  const PointCloud rim = GrazedRim(border, _scan_cloud, Layout(), BoreBelow(circle));
  geometry::Circle shown;
  if (!shown.LeastSquares(rim) || !shown.IsValid()) return false;
  circle.Center(shown.Center());
  return true;
}

}  // namespace libmfx::features
