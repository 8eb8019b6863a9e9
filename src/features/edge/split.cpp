#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "features/shared/directions.h"
#include "libmfx/features/edge.h"
#include "libmfx/geometry/line.h"

namespace libmfx::features {
namespace {

using Eigen::Index;

constexpr double kAlongReference = 0.017453292519943295;  // 1 degree
constexpr Index kCutStep = 5;                             // columns
constexpr Index kRefineSteps = 10;
constexpr std::size_t kFewestAngles = 2;
constexpr std::size_t kMostAngles = 10;

/// Direction of the line of least squares, of either sign; zero if there is none. Exactly two
/// columns give their difference, which is made unit here.
VectorXYZW DirectionOf(const PointCloud& cloud) {
  geometry::Line line;
  line.LeastSquares(cloud);
  return line.Vector().normalized();
}

/// x, y, z of the first `n` columns.
PointCloud First(const PointCloud& cloud, Index n) {
  return PointCloud(Eigen::MatrixXd(cloud.data().topRows(3).leftCols(n)));
}

VectorXYZW Facing(const VectorXYZW& direction, const VectorXYZW& towards) {
  return direction.dot(towards) < 0.0 ? -direction : direction;
}

/// The angle between two lines: the sign of a fitted direction means nothing.
double AngleBetween(const VectorXYZW& a, const VectorXYZW& b) {
  return shared::AngleOfCosine(std::abs(a.dot(b)));
}

}  // namespace

bool Edge::smooth_sliding_window(const PointCloud& in, const long long& span, PointCloud& out) {
  const Index n = in.cols();
  if (n < span) {
    return Fail(
        "Edge::smooth_sliding_window(): Error - The span is greater than the scan_segment.");
  }
  // A span of -1, which a profile of three columns asks for, is none either.
  if (span % 2 != 1) {
    return Fail("Edge::smooth_sliding_window(): Error - The span must be odd.");
  }
  const Index half = (span - 1) / 2;
  PointCloud smoothed = in;
  // Sums of the columns before each one, from the first column on: a window is the difference of
  // two, however wide it is.
  Eigen::Matrix3Xd sums(3, n + 1);
  sums.col(0).setZero();
  for (Index i = 0; i < n; ++i) {
    sums.col(i + 1) = sums.col(i) + (in.col(i) - in.col(0)).head<3>();
  }
  for (Index i = 1; i + 1 < n; ++i) {
    Index w = half;
    if (i < half) {
      w = i;
    } else if (i + half > n - 1) {
      w = n - 2 - i;
    }
    // The window leaves its last column out; without any other it is the column itself.
    if (w > 0) {
      smoothed.col(i).head<3>() =
          in.col(0).head<3>() + (sums.col(i + w) - sums.col(i - w)) / static_cast<double>(2 * w);
    }
  }
  out = std::move(smoothed);
  return true;
}

bool Edge::Refine(const PointCloud& in, long long n, const VectorXYZW& nominal,
                  VectorXYZW& reference) {
  const Index columns = in.cols();
  const Index step = (columns - n) / kRefineSteps;
  std::vector<double> angles;
  // A step of 0 stays in its place: the count of angles ends it.
  for (Index end = n + step; end <= columns - step && angles.size() <= kMostAngles; end += step) {
    const VectorXYZW direction = DirectionOf(First(in, end));
    angles.push_back(AngleBetween(direction, reference));
    reference = direction;
  }
  if (angles.size() < kFewestAngles || angles.size() > kMostAngles) {
    return Fail(
        "Edge::split_curve(): Failed to find the split index while refining the reference vector.");
  }
  angles.pop_back();
  const Index k = std::min_element(angles.begin(), angles.end()) - angles.begin();
  const Index steadiest = (k + 1) * step + n;
  if (steadiest < columns) reference = Facing(DirectionOf(First(in, steadiest)), nominal);
  return true;
}

bool Edge::split_curve(const PointCloud& in, PointCloud& straight, PointCloud& curved,
                       long long& split_index) {
  const Index columns = in.cols();
  const double in_clearance = _clearance_zone / _point_spacing * 0.8;
  if (!(in_clearance >= 2.0)) {
    return Fail("Edge::split_curve(): Too few points in the clearance zone.");
  }
  if (in_clearance >= static_cast<double>(columns) + 1.0) {
    return Fail("Edge::split_curve(): Not enough points to split curve");
  }
  const Index n = static_cast<Index>(in_clearance);
  const VectorXYZW nominal = shared::UnitFromTo(_surface_point, _edge_point);
  VectorXYZW reference = Facing(DirectionOf(First(in, n)), nominal);
  if (n < columns - n && !Refine(in, n, nominal, reference)) return false;

  PointCloud prefix = First(in, columns);
  for (Index end = columns; n < end; end -= kCutStep) {
    // Columns are dropped at the end, which leaves the others where they are.
    prefix.data().conservativeResize(Eigen::NoChange, end);
    if (AngleBetween(DirectionOf(prefix), reference) < kAlongReference) {
      split_index = end;
      break;
    }
  }
  if (split_index == -1) {
    return Fail("Edge::split_curve(): Can't split curve as failed to find the cut point.");
  }
  if (split_index + 1 > columns) {
    return Fail(
        "Edge::split_curve(): Unable to split segment due to unexpected curve. Check the scan "
        "data!");
  }
  straight = PointCloud(Eigen::MatrixXd(in.data().leftCols(split_index + 1)), in.embeddings());
  curved = PointCloud(Eigen::MatrixXd(in.data().rightCols(columns - split_index)), in.embeddings());
  if (straight.cols() == 0) {
    return Fail("Edge::split_curve(): Straight segment has no data. Check scan segment.");
  }
  if (curved.cols() == 0) {
    return Fail("Edge::split_curve(): Curved segment has no data. Check scan segment.");
  }
  return true;
}

PointXYZW Edge::transformPt(const PointXYZW& point, geometry::Plane& plane,
                            const Eigen::Matrix<double, 3, 1>& translation) {
  return PointXYZW(Eigen::Vector3d(plane.TBN() * (plane.Project(point).xyz() - translation)));
}

PointCloud Edge::transform(const PointCloud& cloud, geometry::Plane& plane,
                           const Eigen::Matrix<double, 3, 1>& translation) {
  PointCloud carried = cloud;
  const Eigen::Matrix3d axes = plane.TBN();
  for (Index i = 0; i < cloud.cols(); ++i) {
    carried.col(i).head<3>() = axes * (plane.Project(cloud.point(i)).xyz() - translation);
  }
  return carried;
}

}  // namespace libmfx::features
