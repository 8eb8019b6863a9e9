#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>
#include <vector>

#include "features/pvi/doubts.h"
#include "features/shared/directions.h"
#include "features/shared/sample_fates.h"
#include "features/shared/trace.h"
#include "geometry/peeling/peeler.h"
#include "libmfx/features/pvi.h"
#include "libmfx/geometry/plane.h"

namespace libmfx::features {
namespace {

using geometry::Plane;

double Degrees(double radians) { return radians * 180.0 / std::numbers::pi; }

double AngleBetween(const VectorXYZW& u, const VectorXYZW& v) {
  return shared::AngleOfCosine(u.normalized().dot(v.normalized()));
}

/// The point where a line meets a plane; not finite if they are parallel.
PointXYZW Intersection(const Plane& plane, const PointXYZW& point, const VectorXYZW& direction) {
  const double t = (plane.Point() - point).dot(plane.Normal()) / direction.dot(plane.Normal());
  return point + direction * t;
}

}  // namespace

bool PVI::RemoveOutliers(PointCloud& cloud) {
  std::vector<Eigen::Index> removed;
  return DropOutliers(cloud, removed);
}

bool PVI::DropOutliers(PointCloud& cloud, std::vector<Eigen::Index>& removed) {
  removed.clear();
  constexpr const char* kTooFew =
      "At least three points required for PVI plane fit! ERROR_PVI_FILTER";
  if (cloud.rows() < 3 || cloud.cols() < 3) return Fail(kTooFew);
  const Eigen::Index count = cloud.cols();
  const double n0 = static_cast<double>(count);

  Eigen::Matrix3Xd points = cloud.data().topRows(3);
  if (!points.allFinite()) return true;  // no plane, no residuals: nothing to drop
  geometry::peeling::Peeler peeler(std::move(points));
  std::size_t to_drop = 0;
  double deviation = peeler.Deviation();
  do {
    removed.push_back(peeler.RemoveFarthest());
    // Two points have no plane: a measurement that rests on three samples has nothing to judge
    // itself by.
    if (peeler.Left() < 3) return Fail(kTooFew);
    // The plane of the points that are left is also the plane of the next round.
    const double next = peeler.Deviation();
    if (next / deviation < _filter_cut_ratio) to_drop = removed.size();
    deviation = next;
  } while (!(_max_filter_percentage / 100.0 <= 1.0 - static_cast<double>(peeler.Left()) / n0) &&
           peeler.Left() >= 4);
  if (peeler.Left() == 3) return Fail(kTooFew);
  removed.resize(to_drop);
  if (removed.empty()) return true;

  std::vector<bool> drop(static_cast<std::size_t>(count), false);
  for (const Eigen::Index i : removed) drop[static_cast<std::size_t>(i)] = true;
  Eigen::Index kept = 0;
  for (Eigen::Index i = 0; i < count; ++i) {
    if (drop[static_cast<std::size_t>(i)]) continue;
    if (kept != i) cloud.data().col(kept) = cloud.data().col(i);
    ++kept;
  }
  cloud.data().conservativeResize(Eigen::NoChange, kept);
  return true;
}

bool PVI::Analyze() {
  if (!TakeScan(EMBEDDING_AER, _quality_threshold, _scan_data)) return false;
  const shared::ColumnSamples usable_samples = shared::UsableSamples(_raw_data, _quality_threshold);
  shared::SampleFates fates(usable_samples, _raw_data.size(), Record().fates);
  PointCloud usable = _scan_data;
  std::vector<Eigen::Index> removed;
  if (!DropOutliers(_scan_data, removed)) {
    return Fail("Outlier removal failed for lack of points!");
  }
  fates.SetAll(SampleFate::kFitted);
  fates.Set(removed, SampleFate::kDropped);
  _scan_data.Convert(EMBEDDING_XYZ);
  if (!MeasureOnPlane()) return false;
  usable.Convert(EMBEDDING_XYZ);
  TellDoubts(usable);
  return true;
}

void PVI::TellDoubts(const PointCloud& usable) {
  const pvi::SeenBox box{usable.data().topRows(3), _scan_data.data().topRows(3), *Record().surface,
                         _measured_point};
  Warn(pvi::DoubtsOfCount(box.kept.cols(), _number_of_points));
  Warn(pvi::DoubtsOfPlane(box));
  Warn(pvi::DoubtsOfFlatness(box));
  // A request that tells how far the normal may lean has been answered.
  static const double kUsual = PVI()._nominal_to_measured_angle;
  if (_nominal_to_measured_angle != kUsual) return;
  Warn(pvi::DoubtsOfDirection(AngleBetween(_nominal_normal, _measured_normal)));
}

bool PVI::MeasureOnPlane() {
  Plane fitted;
  if (!fitted.LeastSquares(_scan_data) || fitted.Normal().isZero(shared::kZeroDirection)) {
    return Fail("PVI plane fit failed!");
  }
  const VectorXYZW los = shared::UnitFromTo(_nominal_point, _scan_origin);
  const VectorXYZW towards = fitted.Normal().dot(los) < 0.0 ? -fitted.Normal() : fitted.Normal();
  const Plane plane(fitted.Point(), towards);
  Record().surface = plane;

  const PointXYZW measured = Intersection(plane, _scan_origin, -los);
  const PointXYZW intercept = Intersection(plane, _nominal_point, _nominal_normal);
  const double error = data_structures::Distance(measured, intercept);
  // A line that runs along the plane meets it nowhere: an error that is no number exceeds as well.
  const bool exceeds = !(error <= _distance_threshold);
  shared::TracePrintf("Error Distance Check;result,%s,error,%g,threshold,%g\n",
                      exceeds ? "true" : "false", error, _distance_threshold);
  if (!Passed("distance from the nominal line", error, _distance_threshold, !exceeds)) {
    return Fail(
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
  if (!Passed("angle to the line of sight", sight_angle, _angle_thresh,
              !(sight_angle > _angle_thresh))) {
    return Fail("Angle between LOS and Measured Normal Exceeds Threshold.");
  }
  const double nominal_angle = AngleBetween(_nominal_normal, _measured_normal);
  shared::TracePrintf("Nominal - Measured Normal Angle: %lf\n", Degrees(nominal_angle));
  if (!Passed("angle to the nominal normal", nominal_angle, _nominal_to_measured_angle,
              !(nominal_angle > _nominal_to_measured_angle))) {
    return Fail("Angle between Nominal and Measured Normals Exceeds Threshold.");
  }
  return true;
}

}  // namespace libmfx::features
