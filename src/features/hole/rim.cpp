#include <algorithm>
#include <cmath>
#include <limits>

#include "features/shared/nearest.h"
#include "features/shared/segments.h"
#include "geometry/squared_limit.h"
#include "libmfx/features/hole.h"

namespace libmfx::features {

bool Hole::IsIsolatedPoint(const PointCloud& cloud, const PointXYZW& point, long long& index,
                           const long long& /*window*/, const double& radius) {
  constexpr long long kNeighbours = 5;
  constexpr int kEnough = 5;
  const long long first = index - std::min(index, kNeighbours);
  const long long last = index + std::min<long long>(kNeighbours, cloud.cols() - index - 1);
  int count = 0;
  for (long long k = first; k <= last; ++k) {
    if (radius > (cloud.point(k) - point).norm() && ++count == kEnough) return false;
  }
  return true;
}

namespace {

/// The first of the columns nearest to a point, or farthest from it, among those that count: -1 if
/// none does.
/// \param counts bool(column); asked only of columns that are better than the best so far
template <typename Counts>
long long ExtremeColumn(bool nearest, const PointCloud& segment, const PointXYZW& reference,
                        Counts counts) {
  const Eigen::Vector3d from = reference.xyz();
  const auto squared = [&](Eigen::Index j) {
    return (segment.col(j).head<3>() - from).squaredNorm();
  };
  if (nearest) return shared::FindNearest(segment.cols(), squared, counts).column;
  double best = std::numeric_limits<double>::min();
  long long index = -1;
  for (long long j = 0; j < segment.cols(); ++j) {
    const double distance = std::sqrt(squared(j));
    if (!(distance > best) || !counts(j)) continue;
    best = distance;
    index = j;
  }
  return index;
}

}  // namespace

bool Hole::FindEdgePointForSegment(const bool& nearest, const PointCloud& segment,
                                   const PointXYZW& reference, const bool& check_isolated,
                                   PointXYZW& edge, const double& isolation_radius) {
  const auto in_company = [&](long long j) {
    return !IsIsolatedPoint(segment, segment.point(j), j, 5, isolation_radius);
  };
  // The best of all is in company, as a rule; only where it is not are the others asked.
  long long index = ExtremeColumn(nearest, segment, reference, [](long long) { return true; });
  if (index != -1 && check_isolated && segment.cols() >= 2 && !in_company(index)) {
    index = ExtremeColumn(nearest, segment, reference, in_company);
  }
  if (index == -1) return false;
  edge = segment.point(index);
  return true;
}

namespace {

/// An edge cloud of one point a segment, as `find` gives it: bool(segment, edge).
template <typename Find>
PointCloud EdgeCloud(const std::vector<PointCloud>& segments, const geometry::Plane& plane,
                     Find find) {
  Eigen::MatrixXd edges(4, static_cast<Eigen::Index>(segments.size()));
  Eigen::Index found = 0;
  for (const PointCloud& segment : segments) {
    PointXYZW edge;
    if (!find(segment, edge)) continue;
    edges.col(found) << plane.Project(edge).xyz(), segment.data()(4, 0);
    ++found;
  }
  return PointCloud(Eigen::MatrixXd(edges.leftCols(found)),
                    {{data_structures::EMBEDDING_XYZ, {0}}});
}

}  // namespace

PointCloud Hole::FindEdgesRawDist(std::vector<PointCloud>& segments, const PointXYZW& reference,
                                  const bool& check_isolated, const double& isolation_radius) {
  return NearestEdges(segments, reference, check_isolated, isolation_radius);
}

PointCloud Hole::NearestEdges(const std::vector<PointCloud>& segments, const PointXYZW& reference,
                              bool check_isolated, double isolation_radius) {
  return EdgeCloud(segments, _plane, [&](const PointCloud& segment, PointXYZW& edge) {
    return FindEdgePointForSegment(true, segment, reference, check_isolated, edge,
                                   isolation_radius);
  });
}

PointCloud Hole::FindEdges(std::vector<PointCloud>& segments, PointXYZW& reference,
                           const bool& flag) {
  return EdgeCloud(segments, _plane, [&](const PointCloud& segment, PointXYZW& edge) {
    return FindEdgePointForSegment(flag, segment, reference, false, edge, _isolation_radius);
  });
}

int Hole::CountInside(const std::vector<PointCloud>& segments,
                      const geometry::Circle& circle) const {
  const double within = geometry::SquareBelow(_radius * _inside_radius_fraction);
  const Eigen::Vector3d center = circle.Center().xyz();
  int inside = 0;
  for (const PointCloud& segment : segments) {
    for (Eigen::Index j = 0; j < segment.cols(); ++j) {
      inside += (segment.col(j).head<3>() - center).squaredNorm() <= within;
    }
  }
  return inside;
}

bool Hole::HoleValid(const std::vector<PointCloud>& segments, const geometry::Circle& circle) {
  const int inside = CountInside(segments, circle);
  return Passed("samples well inside the hole", inside, _max_points_inside,
                inside <= _max_points_inside);
}

}  // namespace libmfx::features
