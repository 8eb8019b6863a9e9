#include <chrono>
#include <cmath>
#include <exception>
#include <numbers>
#include <ostream>
#include <vector>

#include "features/shared/directions.h"
#include "libmfx/features/cylinder_feature.h"
#include "messages/text.h"

namespace libmfx::features {
namespace {

using geometry::ThreadedCylinderFitter;

// A wall whose depth varies by less than this share of the radius is smooth.
constexpr double kThreadDepth = 0.02;
// Share of the depth's variance that a helix has to explain to count as a thread.
constexpr double kThreadShare = 0.05;

/// What a fit tells of a point, as the fate of its sample.
SampleFate FateOf(ThreadedCylinderFitter::Use use) {
  using Use = ThreadedCylinderFitter::Use;
  if (use == Use::kOutside) return SampleFate::kFar;
  if (use == Use::kBase) return SampleFate::kSurface;
  return use == Use::kFitted ? SampleFate::kWall : SampleFate::kDropped;
}

PointXYZW ToPoint(const Eigen::Vector3d& v, double w) { return {v.x(), v.y(), v.z(), w}; }

}  // namespace

bool CylinderFeature::Analyze() {
  _logger[log::LOG_LEVEL_1] << "ThreadedCylinderFitter::Analyze!" << std::endl;
  if (_has_error) return false;
  const auto start = std::chrono::high_resolution_clock::now();
  std::vector<std::size_t> samples;
  const std::vector<Eigen::Vector3d> points = PointsOfGoodQuality(samples);
  if (points.empty()) return Fail("All scanned data was filtered!");
  if (!FitCylinder(points, samples)) return false;
  const std::chrono::duration<double, std::milli> time =
      std::chrono::high_resolution_clock::now() - start;
  _logger[log::LOG_LEVEL_1] << "Cylinder fitting took " << messages::TextOf(time.count())
                            << " msec." << std::endl;
  const double moved =
      (_fitted_cylinder._center.eigen() - _nominal_cylinder._center.eigen()).norm();
  if (TriggerRescan(moved)) {
    _nominal_cylinder._center = _fitted_cylinder._center;
    _nominal_cylinder._axis = _fitted_cylinder._axis;
    return false;
  }
  TellDroppedWall();
  TellOpenRadius();
  TellOpenAxis();
  TellAxisInSight();
  return true;
}

void CylinderFeature::TellDroppedWall() {
  constexpr double kMostDropped = 0.1;
  const ThreadedCylinderFitter::Statistics& statistics = _fitted_cylinder._statistics;
  const int wall = statistics.windowed - statistics.end_face;
  const int dropped = statistics.astray + statistics.isolated;
  const double share = static_cast<double>(dropped) / static_cast<double>(wall);
  if (!(share >= kMostDropped)) return;
  Warn(messages::PercentText(share) + " of the wall's samples (" + std::to_string(dropped) +
       " of " + std::to_string(wall) +
       ") do not follow the fitted cylinder and were left out of it. Look what else stands in the "
       "window: narrow \"RadiusTolerance\" and \"Height\" to the wall, or raise the quality "
       "threshold.");
}

void CylinderFeature::TellOpenRadius() {
  constexpr double kMostOpen = 50e-6;  // metres
  constexpr double kCoverage = 2.0;    // standard uncertainties
  const double open = kCoverage * _fitted_cylinder._statistics.radius_uncertainty;
  if (!(open > kMostOpen)) return;
  Warn("The radius may be off by " + messages::MillimetreText(open) +
       " (twice its standard uncertainty): too little of the wall is in sight for its errors of "
       "form and for the noise. Look so that more of the wall comes into sight, around the axis "
       "first; take more samples; or hold a radius that is known by \"FixRadius\".");
}

void CylinderFeature::TellOpenAxis() {
  constexpr double kMostOpen = 150e-6;  // metres, from one end of the window to the other
  constexpr double kCoverage = 2.0;     // standard uncertainties
  const double height = _height - _bottom_offset;
  const double open = kCoverage * _fitted_cylinder._statistics.axis_uncertainty * height;
  if (!(open > kMostOpen)) return;
  Warn("The axis may be off by " + messages::MillimetreText(open) +
       " over the height of the window (twice its standard uncertainty): too little of the wall is "
       "in sight for its errors of form and for the noise. Look so that more of its height comes "
       "into sight; take more samples; or hold an axis that is known by \"FixAxis\".");
}

void CylinderFeature::TellAxisInSight() {
  // Nothing comes back from a wall that the beam grazes like this. Samples that are split between a
  // rim and what lies behind it, though, lie along the lines of sight through the rim, which are a
  // good cylinder about them.
  constexpr double kLeastAngle = 5.0 * std::numbers::pi / 180.0;
  const VectorXYZW sight = shared::UnitFromTo(_fitted_cylinder._center, _scan_origin);
  const double cosine = std::abs(sight.dot(VectorXYZW(_fitted_cylinder._axis.xyz())));
  const double angle = shared::AngleOfCosine(cosine);
  if (!(angle < kLeastAngle)) return;
  Warn("The measured axis lies within " + messages::DegreesText(angle) +
       " of the line of sight, from where no wall can be seen: what was fitted may be samples "
       "split between a rim and what lies behind it. Look from farther aside.");
}

std::vector<Eigen::Vector3d> CylinderFeature::PointsOfGoodQuality(
    std::vector<std::size_t>& samples) {
  std::vector<Eigen::Vector3d> points;
  std::vector<double> qualities;
  Record().fates.assign(_raw_data.size(), SampleFate::kUnusable);
  for (std::size_t i = 0; i < _raw_data.size(); ++i) {
    const RawDataPoint& sample = _raw_data[i];
    if (!(sample.quality >= _quality_threshold)) continue;
    const PointXYZW point = AzElRange(sample.azimuth, sample.elevation, sample.range).ToPoint();
    if (!point.xyz().allFinite()) continue;
    points.push_back(point.xyz());
    qualities.push_back(sample.quality);
    samples.push_back(i);
  }
  if (_remove_low_quality) {
    const std::size_t removed =
        ThreadedCylinderFitter::RemoveLowQuality(points, qualities, &samples);
    _logger[log::LOG_LEVEL_1] << "Removed " << removed << " low quality points" << std::endl;
  }
  for (const std::size_t i : samples) Record().fates[i] = SampleFate::kBetween;
  return points;
}

bool CylinderFeature::FitCylinder(const std::vector<Eigen::Vector3d>& points,
                                  const std::vector<std::size_t>& samples) {
  ThreadedCylinderFitter::Cylinder nominal;
  nominal.point = _nominal_cylinder._center.xyz();
  nominal.axis = _nominal_cylinder._axis.xyz();
  nominal.radius = _nominal_cylinder._radius;
  std::vector<ThreadedCylinderFitter::Use> uses;
  std::string error;
  try {
    const ThreadedCylinderFitter::Cylinder fitted = ThreadedCylinderFitter::Fit(
        points, nominal, _bottom_offset, _height, _radius_tolerance, _plane_tolerance, kThreadDepth,
        kThreadShare, _fix_axis, _fix_radius, &_fitted_cylinder._statistics, &uses);
    _fitted_cylinder._axis = ToPoint(fitted.axis, 0.0);
    _fitted_cylinder._center = ToPoint(fitted.point, 1.0);
    _fitted_cylinder._radius = fitted.radius;
  } catch (const std::exception& failure) {
    error = failure.what();
  }
  std::vector<SampleFate>& fates = Record().fates;
  for (std::size_t i = 0; i < uses.size(); ++i) fates[samples[i]] = FateOf(uses[i]);
  const ThreadedCylinderFitter::Statistics& statistics = _fitted_cylinder._statistics;
  if (error.empty()) Record().form = statistics.form;
  if (statistics.has_base) {
    const PointXYZW point(statistics.base.point);
    const VectorXYZW normal(statistics.base.normal);
    const bool faces = normal.dot(_scan_origin - point) >= 0.0;
    Record().surface.emplace(point, faces ? normal : -normal);
  }
  return error.empty() || Fail(error);
}

}  // namespace libmfx::features
