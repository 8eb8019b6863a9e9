#pragma once

#include <Eigen/Core>
#include <optional>

#include "geometry/cylinder/model.h"

namespace libmfx::geometry::cylinder {

/// A screw thread found in the residuals of a smooth fit. Lengths in nominal radii.
struct Helix {
  double pitch = 0.0;  ///< along the axis a turn; negative: left-handed
  double depth = 0.0;  ///< spread of the residuals, 5th to 95th percentile
  double share = 0.0;  ///< of their variance in the first harmonic
  bool bore = false;   ///< the material is outside
};

/// Whether the points show the inside of a cylinder: the instrument sees the far wall of a bore and
/// the near one of a stud.
bool SeenFromInside(const Points& points, const Model& model, const Eigen::Vector3d& instrument);

/// Looks for a helical pattern in the residuals about `model`. Their spread has to reach
/// `least_depth`, and the first harmonic of the best pitch, between 0.05 and 0.8 nominal radii and
/// at most half the length of the wall, has to explain at least `least_share` of their variance,
/// and more than chance does.
///
/// The pattern is looked at where the sight lines enter the cylinder of the model: the samples lie
/// evenly there, while where they end they crowd on the flanks that face the instrument and leave
/// the rest of the profile empty, which doubles the frequency. It is looked at where they end as
/// well, which is the better place for points that come from all sides: there alone they then show
/// a clear pattern.
std::optional<Helix> FindHelix(const Points& points, const Model& model,
                               const Eigen::Vector3d& instrument, double least_depth,
                               double least_share);

}  // namespace libmfx::geometry::cylinder
