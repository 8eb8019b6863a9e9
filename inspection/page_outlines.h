#pragma once

#include <optional>
#include <vector>

#include "inspection/plan.h"

/// \file
/// What a feature looks like, drawn from its nominal.

namespace libmfx::inspection::page {

/// A line of a picture, or a ball.
struct Outline {
  std::vector<Vector3d> points;  ///< m, in the part's frame; of a ball its centre alone
  bool is_closed = false;        ///< from the last point to the first
  double ball_radius = 0.0;      ///< m; above 0: a ball
};

/// Whether a picture can hold a place: nothing that is measured is a thousand kilometres away.
bool CanBeDrawn(const Vector3d& place);

/// Where a feature stands in a picture: its nominal place, of a free path its beginning.
std::optional<Vector3d> SpotOf(const PlannedFeature& feature);

/// The outlines of a feature: rims and corners of openings, both ends of a cylinder, a ball, the
/// line of a border, a cross in a surface, a path. Empty where its nominal cannot be drawn.
/// \param mark m, half the size of what has none of its own
std::vector<Outline> OutlinesOf(const PlannedFeature& feature, double mark);

}  // namespace libmfx::inspection::page
