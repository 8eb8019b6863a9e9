#pragma once

#include <nlohmann/json.hpp>

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

}  // namespace libmfx::test
