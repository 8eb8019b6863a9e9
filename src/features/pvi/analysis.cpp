#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>
#include <vector>

#include "features/shared/directions.h"
#include "features/shared/trace.h"
#include "libmfx/features/pvi.h"
#include "libmfx/geometry/plane.h"

namespace libmfx::features {
namespace {

using geometry::Plane;

/// Outlier removal fits one plane for each sample that it may peel off. Beyond this product of
/// rounds and samples it would take minutes; a box of a measurement stays far below it.
constexpr double kMaxPeelingWork = 2e8;

double PeelingWork(Eigen::Index samples, double filter_percentage) {
  const bool is_share = filter_percentage >= 0.0 && filter_percentage <= 100.0;
  const double n = static_cast<double>(samples);
  return n * n * (is_share ? filter_percentage / 100.0 : 1.0);
}

double Degrees(double radians) { return radians * 180.0 / std::numbers::pi; }

double AngleBetween(const VectorXYZW& u, const VectorXYZW& v) {
  return shared::AngleOfCosine(u.normalized().dot(v.normalized()));
}

/// Scatter of the residuals about their mean, and the column with the largest magnitude.
struct Scatter {
  double deviation = 0.0;
  Eigen::Index worst = 0;
};

Scatter ScatterAbout(const Plane& plane, const Eigen::Matrix3Xd& points) {
  const Eigen::RowVectorXd residuals =
      plane.Normal().xyz().transpose() * (points.colwise() - plane.Point().xyz());
  const double mean = residuals.mean();
  Scatter scatter;
  scatter.deviation = std::sqrt(std::abs(residuals.array().square().mean() - mean * mean));
  residuals.cwiseAbs().maxCoeff(&scatter.worst);
  return scatter;
}

/// Fits a plane to points that are not (all) cartesian; false with fewer than 3.
bool FitPlane(const Eigen::Matrix3Xd& points, Plane& plane) {
  return plane.LeastSquares(PointCloud(points));
}

void RemoveColumn(Eigen::Matrix3Xd& points, Eigen::Index column) {
  const Eigen::Index behind = points.cols() - column - 1;
  points.middleCols(column, behind) = points.rightCols(behind).eval();
  points.conservativeResize(Eigen::NoChange, points.cols() - 1);
}

/// The point where a line meets a plane; not finite if they are parallel.
PointXYZW Intersection(const Plane& plane, const PointXYZW& point, const VectorXYZW& direction) {
  const double t = (plane.Point() - point).dot(plane.Normal()) / direction.dot(plane.Normal());
  return point + direction * t;
}

}  // namespace

bool PVI::RemoveOutliers(PointCloud& cloud) {
  const auto fail = [this](const char* text) {
    SetError(text);
    return false;
  };
  constexpr const char* kTooFew =
      "At least three points required for PVI plane fit! ERROR_PVI_FILTER";
  if (cloud.rows() < 3 || cloud.cols() < 3) return fail(kTooFew);
  const Eigen::Index count = cloud.cols();
  const double n0 = static_cast<double>(count);

  Eigen::Matrix3Xd points = cloud.data().topRows(3);
  std::vector<Eigen::Index> left(static_cast<std::size_t>(count));
  std::iota(left.begin(), left.end(), Eigen::Index{0});
  std::vector<Eigen::Index> removed;
  std::size_t to_drop = 0;
  Plane plane;
  FitPlane(points, plane);
  Scatter scatter = ScatterAbout(plane, points);
  do {
    removed.push_back(left[static_cast<std::size_t>(scatter.worst)]);
    left.erase(left.begin() + scatter.worst);
    RemoveColumn(points, scatter.worst);
    // The plane of the points that are left is also the plane of the next round. Two points have
    // none: a measurement that rests on three samples has nothing to judge itself by.
    if (!FitPlane(points, plane)) return fail(kTooFew);
    const Scatter next = ScatterAbout(plane, points);
    if (next.deviation / scatter.deviation < _filter_cut_ratio) to_drop = removed.size();
    scatter = next;
  } while (!(_max_filter_percentage / 100.0 <= 1.0 - static_cast<double>(points.cols()) / n0) &&
           points.cols() >= 4);
  if (points.cols() == 3) return fail(kTooFew);
  if (to_drop == 0) return true;

  std::vector<bool> drop(static_cast<std::size_t>(count), false);
  for (std::size_t i = 0; i < to_drop; ++i) drop[static_cast<std::size_t>(removed[i])] = true;
  Eigen::Index kept = 0;
  for (Eigen::Index i = 0; i < count; ++i) {
    if (drop[static_cast<std::size_t>(i)]) continue;
    cloud.data().col(kept++) = cloud.data().col(i).eval();
  }
  cloud.data().conservativeResize(Eigen::NoChange, kept);
  return true;
}

bool PVI::Analyze() {
  if (_has_error) return false;
  const auto fail = [this](const char* text) {
    SetError(text);
    return false;
  };
  _scan_data = PointCloud(_raw_data, EMBEDDING_AER, _quality_threshold, true);
  if (_scan_data.cols() == 0) return fail("All scanned data was filtered!");
  if (PeelingWork(_scan_data.cols(), _max_filter_percentage) > kMaxPeelingWork) {
    return fail("Too many samples for PVI outlier removal!");
  }
  if (!RemoveOutliers(_scan_data)) return fail("Outlier removal failed for lack of points!");
  _scan_data.Convert(EMBEDDING_XYZ);
  return MeasureOnPlane();
}

bool PVI::MeasureOnPlane() {
  const auto fail = [this](const char* text) {
    SetError(text);
    return false;
  };
  Plane fitted;
  if (!fitted.LeastSquares(_scan_data) || fitted.Normal().isZero(shared::kZeroDirection)) {
    return fail("PVI plane fit failed!");
  }
  const VectorXYZW los = shared::UnitFromTo(_nominal_point, _scan_origin);
  const VectorXYZW towards = fitted.Normal().dot(los) < 0.0 ? -fitted.Normal() : fitted.Normal();
  const Plane plane(fitted.Point(), towards);

  const PointXYZW measured = Intersection(plane, _scan_origin, -los);
  const PointXYZW intercept = Intersection(plane, _nominal_point, _nominal_normal);
  const double error = data_structures::Distance(measured, intercept);
  // A line that runs along the plane meets it nowhere: an error that is no number exceeds as well.
  const bool exceeds = !(error <= _distance_threshold);
  shared::TracePrintf("Error Distance Check;result,%s,error,%g,threshold,%g\n",
                      exceeds ? "true" : "false", error, _distance_threshold);
  if (exceeds) {
    return fail(
        "Distance from Measured Point to Intercept of Nominal Line and Measured Plane Exceeds "
        "Threshold");
  }
  _measured_point = measured;
  _measured_normal = plane.Normal();

  math::AccStats distances;
  plane.FillLeastSquaresStats(_scan_data, distances);
  // Samples exactly in one plane have no scatter; the smallest number keeps the figure finite.
  const double rms = std::max(std::sqrt(distances.sum_of_squares / distances.count),
                              std::numeric_limits<double>::min());
  _quality = 40.0 - 10.0 * std::log10(rms);

  const double sight_angle = AngleBetween(los, _measured_normal);
  shared::TracePrintf("LOS - Measured Normal Angle: %lf\n", Degrees(sight_angle));
  if (sight_angle > _angle_thresh) {
    return fail("Angle between LOS and Measured Normal Exceeds Threshold.");
  }
  const double nominal_angle = AngleBetween(_nominal_normal, _measured_normal);
  shared::TracePrintf("Nominal - Measured Normal Angle: %lf\n", Degrees(nominal_angle));
  if (nominal_angle > _nominal_to_measured_angle) {
    return fail("Angle between Nominal and Measured Normals Exceeds Threshold.");
  }
  return true;
}

}  // namespace libmfx::features
