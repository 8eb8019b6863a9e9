#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

#include "features/shared/directions.h"
#include "libmfx/features/edge.h"

namespace libmfx::features {
namespace {

using Eigen::Index;

constexpr double kAlongReference = 0.017453292519943295;  // 1 degree
constexpr Index kCutStep = 5;                             // columns
constexpr Index kRefineSteps = 10;
constexpr std::size_t kFewestAngles = 2;
constexpr std::size_t kMostAngles = 10;

/// Lines of least squares through the first columns of a cloud, as geometry::Line fits them, each
/// in constant time: sums up to every column tell the scatter of all columns before it. They run
/// from the first column on, within whose neighbourhood a profile lies, so that nothing cancels.
class Prefixes {
 public:
  explicit Prefixes(const PointCloud& cloud)
      : _sums(3, cloud.cols() + 1), _products(6, cloud.cols() + 1) {
    _sums.col(0).setZero();
    _products.col(0).setZero();
    for (Index i = 0; i < cloud.cols(); ++i) {
      const Eigen::Vector3d p = (cloud.col(i) - cloud.col(0)).head<3>();
      _sums.col(i + 1) = _sums.col(i) + p;
      _products.col(i + 1) = _products.col(i);
      _products.col(i + 1).head<3>() += p.x() * p;
      _products.col(i + 1).segment<2>(3) += p.y() * p.tail<2>();
      _products(5, i + 1) += p.z() * p.z();
    }
  }

  /// Direction of the line through the first `n` columns, unit, of either sign; zero if they
  /// coincide.
  VectorXYZW DirectionOf(Index n) const {
    const auto p = _products.col(n);
    Eigen::Matrix3d scatter;
    scatter << p[0], p[1], p[2], p[1], p[3], p[4], p[2], p[4], p[5];
    scatter -= _sums.col(n) * (_sums.col(n).transpose() / static_cast<double>(n));
    const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> axes(scatter);
    if (!(axes.eigenvalues()[2] > 0.0)) return {};
    return VectorXYZW(Eigen::Vector3d(axes.eigenvectors().col(2))).normalized();
  }

 private:
  Eigen::Matrix3Xd _sums;
  Eigen::Matrix<double, 6, Eigen::Dynamic> _products;  ///< xx, xy, xz, yy, yz, zz
};

VectorXYZW Facing(const VectorXYZW& direction, const VectorXYZW& towards) {
  return direction.dot(towards) < 0.0 ? -direction : direction;
}

/// The angle between two lines: the sign of a fitted direction means nothing.
double AngleBetween(const VectorXYZW& a, const VectorXYZW& b) {
  return shared::AngleOfCosine(std::abs(a.dot(b)));
}

/// The direction of the steadiest of ten longer and longer prefixes, or nothing if ten steps cannot
/// be made of the columns.
std::optional<VectorXYZW> Refined(const Prefixes& prefixes, Index columns, Index n,
                                  const VectorXYZW& nominal, VectorXYZW reference) {
  const Index step = (columns - n) / kRefineSteps;
  std::vector<double> angles;
  // A step of 0 stays in its place: the count of angles ends it.
  for (Index end = n + step; end <= columns - step && angles.size() <= kMostAngles; end += step) {
    const VectorXYZW direction = prefixes.DirectionOf(end);
    angles.push_back(AngleBetween(direction, reference));
    reference = direction;
  }
  if (angles.size() < kFewestAngles || angles.size() > kMostAngles) {
    return std::nullopt;
  }
  angles.pop_back();
  const Index k = std::min_element(angles.begin(), angles.end()) - angles.begin();
  const Index steadiest = (k + 1) * step + n;
  if (steadiest < columns) reference = Facing(prefixes.DirectionOf(steadiest), nominal);
  return reference;
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

bool Edge::split_curve(const PointCloud& in, PointCloud& straight, PointCloud& curved,
                       long long& split_index) {
  const Index columns = in.cols();
  const double in_clearance = _clearance_zone / _point_spacing * 0.8;
  if (!Passed("samples in the clearance zone", in_clearance, 2.0, in_clearance >= 2.0)) {
    return Fail("Edge::split_curve(): Too few points in the clearance zone.");
  }
  if (in_clearance >= static_cast<double>(columns) + 1.0) {
    return Fail("Edge::split_curve(): Not enough points to split curve");
  }
  const Index n = static_cast<Index>(in_clearance);
  const VectorXYZW nominal = shared::UnitFromTo(_surface_point, _edge_point);
  const Prefixes prefixes(in);
  VectorXYZW reference = Facing(prefixes.DirectionOf(n), nominal);
  if (n < columns - n) {
    const auto refined = Refined(prefixes, columns, n, nominal, reference);
    if (!refined) {
      return Fail(
          "Edge::split_curve(): Failed to find the split index while refining the reference "
          "vector.");
    }
    reference = *refined;
  }

  for (Index end = columns; n < end; end -= kCutStep) {
    if (AngleBetween(prefixes.DirectionOf(end), reference) < kAlongReference) {
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
