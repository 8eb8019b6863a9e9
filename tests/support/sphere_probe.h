#pragma once

#include <cmath>
#include <numbers>
#include <queue>
#include <random>
#include <string>
#include <vector>

#include "feature_probe.h"
#include "libmfx/features/sphere_fit.h"

namespace libmfx::test {

/// A SphereFit whose protected side is open.
class SphereProbe : public features::SphereFit {
 public:
  using SphereFit::SphereFit;

  using SphereFit::_drive_step;
  using SphereFit::_final_fit_count;
  using SphereFit::_has_error;
  using SphereFit::_nominal_aer;
  using SphereFit::_nominals_valid;
  using SphereFit::_raw_data;
  using SphereFit::_refined_aer;
  using SphereFit::_scan_data;
  using SphereFit::_scan_origin;
  using SphereFit::_target_uuid;
  using SphereFit::AdvancedFilter;
  using SphereFit::BoxDimensionRatio;
  using SphereFit::FilterTolerance;
  using SphereFit::FitTolerance;
  using SphereFit::IDCMethod;
  using SphereFit::MeasuredPoint;
  using SphereFit::MeasuredRadius;
  using SphereFit::NominalPoint;
  using SphereFit::NominalRadius;
  using SphereFit::NumPointsPerLine;
  using SphereFit::NumSamplePoints;
  using SphereFit::Quality;
  using SphereFit::QualityThreshold;
  using SphereFit::ScanElevation;
  using SphereFit::ScanLines;
  using SphereFit::StarScanPattern;
  using SphereFit::StdMultiplier;
  using SphereFit::UserFilters;

  using SphereFit::Analyze;
  using SphereFit::CalculateSFQuality;
  using SphereFit::CombineDataSets3;
  using SphereFit::FilterByDistance;
  using SphereFit::FilterByDistanceFromAzElMedianSpur;
  using SphereFit::FilterByError;
  using SphereFit::FindBestFitSpur;
  using SphereFit::GenerateDrivePoints;
  using SphereFit::SamplingSphereFit;
  using SphereFit::ScanStar;
  using SphereFit::ScanW;
  using SphereFit::SetError;
};

/// The cartesian place of a drive point.
inline features::PointXYZW PlaceOf(const features::Position& p) {
  return features::AzElRange(p.azimuth, p.elevation, p.range).ToPoint();
}

/// A ball in front of an instrument, and what the instrument sees of it.
struct Ball {
  Eigen::Vector3d center{0.3, 0.1, 3.0};
  double radius = 0.0127;
  double range_noise = 5e-6;      ///< standard deviation, metres
  double quality = 80.0;          ///< of every sample
  double background_range = 0.0;  ///< of a beam that misses; 0: such a beam gives no sample

  /// The surface point nearest to the instrument.
  Eigen::Vector3d Front() const { return center * (1.0 - radius / center.norm()); }
};

/// Walks a drive path in straight lines and samples every spacing, as an instrument does: azimuths
/// stay in the branch of the drive points, the status is the index of the point that ends the move.
inline std::vector<features::RawDataPoint> Scan(const Ball& ball,
                                                std::queue<features::Position> path,
                                                std::mt19937_64& random) {
  std::normal_distribution<double> noise(0.0, ball.range_noise > 0.0 ? ball.range_noise : 1.0);
  std::vector<features::RawDataPoint> samples;
  const std::vector<features::Position> drive = PointsOf(std::move(path));
  for (std::size_t i = 1; i < drive.size(); ++i) {
    if (!(drive[i].point_spacing > 0.0) || !std::isfinite(drive[i].point_spacing)) continue;
    const features::PointXYZW from = PlaceOf(drive[i - 1]);
    const features::VectorXYZW way = PlaceOf(drive[i]) - from;
    const int steps = static_cast<int>(std::floor(way.norm() / drive[i].point_spacing + 1e-9));
    for (int k = 0; k <= steps; ++k) {
      const features::PointXYZW target = from + way.normalized() * (k * drive[i].point_spacing);
      const Eigen::Vector3d beam = target.xyz().normalized();
      const double along = beam.dot(ball.center);
      const double square = ball.radius * ball.radius - (ball.center.squaredNorm() - along * along);
      double range = square >= 0.0 ? along - std::sqrt(square) : ball.background_range;
      if (range <= 0.0) continue;
      if (ball.range_noise > 0.0) range += noise(random);
      const features::AzElRange aer(target);
      const double turns = std::round((drive[i].azimuth - aer.azimuth) / (2 * std::numbers::pi));
      samples.emplace_back(aer.azimuth + turns * 2 * std::numbers::pi, aer.elevation, range,
                           ball.quality, static_cast<int>(i));
    }
  }
  return samples;
}

/// A request for a ball whose front is at `front`.
inline std::string SphereRequest(const Eigen::Vector3d& front, double radius,
                                 const std::string& root_keys = "") {
  const auto text = [](double value) {
    char digits[40];
    std::snprintf(digits, sizeof digits, "%.17g", value);
    return std::string(digits);
  };
  return R"({"$id":"ball-1",)" + root_keys +
         R"("Feature":{"$type":"MatteSphereFeature","Name":"B1",)" + R"("Location":[)" +
         text(front.x()) + "," + text(front.y()) + "," + text(front.z()) + R"(],"Radius":)" +
         text(radius) + "}}";
}

/// Drives a feature until it has the samples of its pattern.
inline void DriveToPattern(features::Feature& feature, const Ball& ball, std::mt19937_64& random) {
  std::queue<features::Position> next = feature.GetDrivePoints(false);
  for (int exchange = 0; exchange < 4; ++exchange) {
    const std::vector<features::RawDataPoint> samples = Scan(ball, next, random);
    next = {};
    if (feature.SetRawData(samples, next)) return;
  }
}

}  // namespace libmfx::test
