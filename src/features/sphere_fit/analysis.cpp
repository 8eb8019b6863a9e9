#include <cmath>
#include <limits>
#include <ostream>
#include <utility>
#include <vector>

#include "features/shared/directions.h"
#include "libmfx/features/sphere_fit.h"

namespace libmfx::features {

using Eigen::MatrixXd;
using Eigen::VectorXd;

/// The latest fit and the points that it rests on.
struct SphereFit::FitState {
  PointCloud combined;    ///< shape (3, n): the quadrants joined; empty on the simple path
  PointCloud fit_points;  ///< shape (3, m): points within the filter tolerance of the sphere
  PointXYZW center;
  double radius = 0.0;
  VectorXd residuals;                ///< one for each point that was fitted, positive outside
  std::vector<std::size_t> samples;  ///< behind fit_points
};

namespace {

/// Standard deviation of the residuals about their mean.
double Spread(const VectorXd& residuals) {
  const auto n = static_cast<double>(residuals.size());
  const double mean = residuals.sum() / n;
  return std::sqrt(std::abs(residuals.squaredNorm() / n - mean * mean));
}

/// The columns for which `keep(i)` holds, in order.
template <typename Keep>
PointCloud Columns(const PointCloud& cloud, Keep keep) {
  MatrixXd kept(cloud.rows(), cloud.cols());
  Eigen::Index count = 0;
  for (Eigen::Index i = 0; i < cloud.cols(); ++i) {
    if (keep(i)) kept.col(count++) = cloud.data().col(i);
  }
  kept.conservativeResize(cloud.rows(), count);
  return PointCloud(std::move(kept), cloud.embeddings());
}

}  // namespace

SphereTolerances SphereTolerancesAt(double range) {
  if (range < 2.0) return {0.000215 - 7e-05 * range, 0.0006 - 0.0002 * range};
  return {8.3e-06 * range + 7.5e-05, 3.78e-05 * range + 8.22e-05};
}

bool SphereFit::Analyze() {
  _logger[log::LOG_LEVEL_1] << "Analyze called." << std::endl;
  RebuildScanData();
  // An earlier failure is the one to report; the samples stand in the result all the same.
  if (_has_error || !RefineRange()) return false;
  if (!UserFilters) {
    const SphereTolerances tolerances = SphereTolerancesAt(_refined_aer.range);
    FitTolerance = tolerances.fit;
    FilterTolerance = tolerances.filter;
  }
  FitState fit;
  if (!(AdvancedFilter ? FitAdvanced(fit) : FitSimple(fit)) || !FinishFit(fit)) return false;
  _logger[log::LOG_LEVEL_1] << "Analyze done." << std::endl;
  return true;
}

void SphereFit::RebuildScanData() {
  MatrixXd rows(5, static_cast<Eigen::Index>(GetRawData().size()));
  Eigen::Index i = 0;
  for (const RawDataPoint& s : GetRawData()) {
    rows.col(i++) << s.azimuth, s.elevation, s.range, s.quality, static_cast<double>(s.status);
  }
  _scan_data = PointCloud(std::move(rows), {{EMBEDDING_AER, {0}}});
}

bool SphereFit::RefineRange() {
  const MatrixXd& data = _scan_data.data();
  // A beam that was lost may stand here with a range of 0, which would put it on every line of
  // sight.
  const auto has_range = [&data](Eigen::Index i) {
    return i < data.cols() && data(2, i) > 0.0 && std::isfinite(data(2, i));
  };
  const PointXYZW instrument;
  const double sight_length = (instrument - NominalPoint).norm();
  double best = std::numeric_limits<double>::max();
  Eigen::Index closest = -1;
  for (Eigen::Index i = 0; i < data.cols(); ++i) {
    if (!has_range(i)) continue;
    const PointXYZW p = AzElRange(data.col(i).head<3>()).ToPoint();
    const double distance = (p - instrument).cross(p - NominalPoint).norm() / sight_length;
    if (!(distance < best)) continue;
    best = distance;
    closest = i;
  }
  if (closest < 0) {
    return Fail("SphereFit::Analyze(): Refine range of nominal point failed.");
  }
  // The range is that of the sample after the closest one. Where there is none (the closest is the
  // last), or it was lost, the closest sample's own is as good: both lie on the ball, a point
  // spacing apart.
  _refined_aer = AzElRange(NominalPoint);
  _refined_aer.range = data(2, has_range(closest + 1) ? closest + 1 : closest);
  NominalPoint = _refined_aer.ToPoint();
  return true;
}

bool SphereFit::FitAdvanced(FitState& fit) {
  PointCloud spurs[5];
  PointXYZW spur_center;
  double spur_radius = 0.0;
  unsigned int spur = 0;
  PointCloud rejected;
  if (!FilterByDistanceFromAzElMedianSpur(_scan_data, _refined_aer, spurs, NominalRadius,
                                          QualityThreshold)) {
    return false;
  }
  RecordParts();
  if (!FindBestFitSpur(spurs, spur_center, spur_radius, fit.residuals, spur, NominalRadius) ||
      !CombineDataSets3(spurs, 4, fit.combined) ||
      !SamplingSphereFit(spurs[spur], NominalRadius, fit.center, fit.radius, fit.residuals,
                         FitTolerance) ||
      !FilterByError(fit.combined, fit.fit_points, rejected, fit.center, fit.radius,
                     FilterTolerance)) {
    return false;
  }
  RecordKept(fit.combined, fit.fit_points, fit.samples);
  if (SphereFitLS(fit.fit_points, fit.center, fit.radius, fit.residuals)) return true;
  return Fail("SphereFit::Analyze(): SphereFitLS failed with radius filtered data.");
}

bool SphereFit::FitSimple(FitState& fit) {
  PointCloud near;
  if (!FilterByDistance(_scan_data, _refined_aer, near, NominalRadius, QualityThreshold)) {
    return false;
  }
  if (!SphereFitLS(near, fit.center, fit.radius, fit.residuals)) {
    return Fail("SphereFit::Analyze(): SphereFitLS failed with distance filtered data.");
  }
  PointCloud rejected;
  if (!FilterByError(near, fit.fit_points, rejected, fit.center, fit.radius, FilterTolerance)) {
    return false;
  }
  RecordKept(near, fit.fit_points, fit.samples);
  if (SphereFitLS(fit.fit_points, fit.center, fit.radius, fit.residuals)) return true;
  return Fail("SphereFit::Analyze(): SphereFitLS failed with radius filtered data.");
}

void SphereFit::RecordKept(const PointCloud& all, const PointCloud& kept,
                           std::vector<std::size_t>& samples) {
  samples.clear();
  for (Eigen::Index i = 0; i < all.cols(); ++i) {
    const std::size_t sample = _passed[static_cast<std::size_t>(i)];
    const auto next = static_cast<Eigen::Index>(samples.size());
    const bool is_kept = next < kept.cols() && kept.col(next) == all.col(i);
    Record().fates[sample] = is_kept ? SampleFate::kFitted : SampleFate::kDropped;
    if (is_kept) samples.push_back(sample);
  }
}

bool SphereFit::FinishFit(FitState& fit) {
  const double spread = Spread(fit.residuals);
  const auto close = [&](Eigen::Index i) {
    return spread * StdMultiplier >= std::abs(fit.residuals[i]);
  };
  PointCloud kept = Columns(fit.fit_points, close);
  if (kept.cols() >= NumSamplePoints) {
    for (std::size_t i = 0; i < fit.samples.size(); ++i) {
      if (close(static_cast<Eigen::Index>(i))) continue;
      Record().fates[fit.samples[i]] = SampleFate::kLeftOut;
    }
    fit.fit_points = std::move(kept);
    _final_fit_count = static_cast<unsigned int>(fit.fit_points.cols());
    if (!SphereFitLS(fit.fit_points, fit.center, fit.radius, fit.residuals)) {
      return Fail("SphereFit::Analyze(): SphereFitLS failed after std multiplier filtering.");
    }
  }
  Record().fitted = {{"Radius", fit.radius}};
  // The ball is seen from one side, where its radius and its distance are hard to tell apart: the
  // known radius decides, and its miss becomes a shift along the line of sight.
  const VectorXYZW sight = shared::UnitFromTo(PointXYZW(), NominalPoint);
  fit.center = fit.center - sight * (fit.radius - NominalRadius);
  MeasuredPoint = fit.center;
  MeasuredRadius = NominalRadius;

  const auto error = [&](Eigen::Index i, const PointCloud& cloud) {
    return Distance(cloud.point(i), fit.center) - NominalRadius;
  };
  const PointCloud inliers = Columns(
      fit.combined, [&](Eigen::Index i) { return std::abs(error(i, fit.combined)) < spread; });
  if (inliers.cols() == 0) {
    return Fail("SphereFit::Analyze(): All fit points removed via dilation filtering. Bad fit!");
  }
  fit.residuals.resize(inliers.cols());
  for (Eigen::Index i = 0; i < inliers.cols(); ++i) fit.residuals[i] = error(i, inliers);
  CalculateSFQuality(fit.residuals, static_cast<unsigned int>(fit.combined.cols()), Quality);
  if (!Passed("quality of the fit", Quality, QualityThreshold, !(QualityThreshold > Quality))) {
    return Fail("SphereFit::Analyze(): The fit quality is lower than the threshold!");
  }
  return true;
}

}  // namespace libmfx::features
