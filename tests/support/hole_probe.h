#pragma once

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <queue>
#include <vector>

#include "libmfx/features/hole.h"

namespace libmfx::test {

/// A hole whose protected side is open.
class HoleProbe : public features::Hole {
 public:
  using Hole::Hole;

  using Feature::_drive_points;
  using Feature::_drive_step;
  using Feature::_last_drive_points;
  using Feature::_name;
  using Feature::_rescan_threshold;
  using Feature::_search;
  using Feature::_search_enabled;
  using Feature::_search_point_spacing;
  using Feature::_search_radius_multiplier;
  using Feature::_uuid;
  using Feature::SetError;

  using Hole::_chamfer_angle;
  using Hole::_chamfer_depth;
  using Hole::_chamfer_offset;
  using Hole::_circle;
  using Hole::_clearance_zone;
  using Hole::_edge_points;
  using Hole::_far_side_offset;
  using Hole::_has_chamfer;
  using Hole::_has_wall;
  using Hole::_incidence_angle;
  using Hole::_input_center_pt;
  using Hole::_input_normal;
  using Hole::_isolation_radius;
  using Hole::_low_incidence;
  using Hole::_measured_center;
  using Hole::_measured_normal;
  using Hole::_measured_radius;
  using Hole::_nominal_radius;
  using Hole::_normal_reject_angle;
  using Hole::_plane;
  using Hole::_point_spacing;
  using Hole::_quality;
  using Hole::_quality_threshold;
  using Hole::_radius;
  using Hole::_residual_stats;
  using Hole::_scan_cloud;
  using Hole::_scan_lines;
  using Hole::_scan_origin;
  using Hole::_segment_point_count;
  using Hole::_segments;
  using Hole::_use_fast_star;

  using Hole::Analyze;
  using Hole::CircleHasWall;
  using Hole::CircleHasWallX;
  using Hole::CutIntoSegments;
  using Hole::FindEdgePointForSegment;
  using Hole::FindEdges;
  using Hole::FindEdgesRawDist;
  using Hole::FitInnerCircle;
  using Hole::FitRobustPlane;
  using Hole::GenerateDrivePoints;
  using Hole::GenerateFastStarPattern;
  using Hole::GenerateStarPattern;
  using Hole::HoleValid;
  using Hole::IsIsolatedPoint;
  using Hole::Judge;
  using Hole::LinearBiasShift;
  using Hole::LowIncidentBiasShift;
  using Hole::PlaneCentroidBiasShift;
  using Hole::Report;
  using Hole::SigmoidBiasShift;
  using Hole::TellSamplesAbove;
  using Hole::UpdateNominals;
};

/// A request for a hole of 8 mm radius, 2 m straight ahead, facing the instrument.
inline nlohmann::json HoleRequest(double radius = 0.008) {
  return {{"$id", "h-1"},
          {"$type", "TargetRequest"},
          {"Feature",
           {{"$type", "HoleFeature"},
            {"Location", {0.0, 0.0, 2.0}},
            {"Normal", {0.0, 0.0, -1.0}},
            {"Radius", radius}}}};
}

/// A hole without noise, as the points at which rays meet it: a surface, a round opening in it,
/// the wall below, and what lies behind.
struct IdealHole {
  Eigen::Vector3d center{0.0, 0.0, 2.0};
  Eigen::Vector3d normal{0.0, 0.0, -1.0};  ///< unit, towards the instrument
  double radius = 0.008;
  double wall = 0.0;    ///< depth of the wall; 0: a sheet
  double behind = 0.0;  ///< depth of a plate behind; 0: none
  double quality = 80.0;

  /// Where the ray from the origin through `aim` comes back from; NaN where it does not.
  Eigen::Vector3d Hit(const Eigen::Vector3d& aim) const {
    const Eigen::Vector3d on_surface = aim * (center.dot(normal) / aim.dot(normal));
    if ((on_surface - center).norm() >= radius) return on_surface;
    // Down the bore, per metre of depth.
    const Eigen::Vector3d down = aim / -aim.dot(normal);
    const Eigen::Vector3d aside = down + normal;
    const Eigen::Vector3d from = on_surface - center;
    const double a = aside.squaredNorm();
    const double b = from.dot(aside);
    const double c = from.squaredNorm() - radius * radius;
    const double depth =
        a > 0.0 ? (-b + std::sqrt(b * b - a * c)) / a : std::numeric_limits<double>::infinity();
    if (depth < wall) return on_surface + down * depth;
    if (behind > 0.0) return on_surface + down * behind;
    return Eigen::Vector3d::Constant(std::numeric_limits<double>::quiet_NaN());
  }

  /// The samples of a drive along a path: each move is sampled at its spacing.
  std::vector<features::RawDataPoint> Scan(std::queue<features::Position> path) const {
    std::vector<features::RawDataPoint> samples;
    const auto point = [](const features::Position& p) {
      return features::AzElRange(p.azimuth, p.elevation, p.range).ToPoint().xyz();
    };
    for (int status = 1; path.size() > 1; ++status) {
      const Eigen::Vector3d from = point(path.front());
      path.pop();
      const double spacing = path.front().point_spacing;
      if (spacing <= 0.0) continue;
      const Eigen::Vector3d move = point(path.front()) - from;
      const int count = static_cast<int>(move.norm() / spacing);
      for (int i = 0; i <= count; ++i)
        Add(from + move.normalized() * (i * spacing), status, samples);
    }
    return samples;
  }

  void Add(const Eigen::Vector3d& aim, int status,
           std::vector<features::RawDataPoint>& samples) const {
    const Eigen::Vector3d hit = Hit(aim);
    if (!hit.allFinite()) return;
    const features::AzElRange aer(features::PointXYZW{hit.x(), hit.y(), hit.z()});
    samples.emplace_back(aer.azimuth, aer.elevation, aer.range, quality, status);
  }
};

/// A measured hole and what its scan was.
struct Measured {
  HoleProbe hole;
  std::vector<features::RawDataPoint> samples;
};

/// Scans an ideal hole by the plan of a request and analyses it.
inline Measured Measure(const nlohmann::json& request, const IdealHole& ideal) {
  Measured m{HoleProbe(request.dump()), {}};
  m.samples = ideal.Scan(m.hole.GetDrivePoints(false));
  m.hole.UpdateRawData(m.samples);
  m.hole.AnalyzeFeature();
  return m;
}

}  // namespace libmfx::test
