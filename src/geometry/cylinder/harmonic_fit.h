#pragma once

#include <optional>
#include <vector>

#include "geometry/cylinder/helix.h"
#include "geometry/cylinder/least_squares.h"

namespace libmfx::geometry::cylinder {

/// A wall with a helix of any profile: the envelope of its crests.
struct HarmonicSolution {
  Model model;         ///< its radius is that of the crests
  double pitch = 0.0;  ///< negative: left-handed
  int rounds = 0;
  double cost = 0.0;                  ///< half the sum of squared residuals of the inliers
  double largest = 0.0;               ///< largest absolute residual among them
  std::vector<Eigen::Index> inliers;  ///< their places in the points
  Uncertainty uncertainty;
};

/// Least squares of axis, radius, pitch and the first two harmonics of what repeats with the pitch,
/// for a helix whose profile is none of the known ones. The radius of the crests is the extreme of
/// the harmonics where samples lie. It is taken to be open by a tenth of the depth, besides what
/// the samples leave open.
///
/// With a fixed radius the crests keep it, and the mean of the wall is free instead.
///
/// Nothing where the harmonics leave more than a tenth of the depth that was seen or 0.03 pitches.
std::optional<HarmonicSolution> FitHarmonics(const Points& points, const Model& smooth,
                                             const Helix& helix, bool fix_axis, bool fix_radius);

}  // namespace libmfx::geometry::cylinder
