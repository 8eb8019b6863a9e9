#pragma once

#include <optional>

#include "geometry/cylinder/model.h"
#include "libmfx/geometry/wall_form.h"

namespace libmfx::geometry::cylinder {

/// The form of a smooth wall, and what it leaves open of the fitted cylinder.
struct FormEstimate {
  WallForm form;  ///< lengths in nominal radii
  /// Standard uncertainties of the fitted radius, of the axis at the reference height (nominal
  /// radii) and of its direction (radians) by the part of the form that the fit has taken for the
  /// cylinder. They come on top of those by noise.
  double radius = 0.0;
  double center = 0.0;
  double axis = 0.0;
  /// Share of the residuals' variance that is noise and not form, above 0 and up to 1.
  double noise_share = 1.0;

  /// The part of the wall that was seen: its middle over the reference height, along the axis, and
  /// half of its height; nominal radii.
  double middle = 0.0;
  double half_height = 0.0;
  /// Expected squares of taper and barrel, and of both components of the bend; nominal radii.
  double taper_square = 0.0;
  double barrel_square = 0.0;
  double bend_square = 0.0;

  /// Adds what the form leaves open where the cylinder stands for more of the wall than was seen,
  /// up to as much again at either end: taper, barrel and bend go on there.
  /// \param low, high ends of the whole wall over the reference height, along the axis, nominal radii
  void GoOn(double low, double high, bool fix_axis, bool fix_radius);
};

/// Waves of 2 to 8 around the wall, taper, barrel and bend from the residuals of a least squares
/// fit. Each of these is taken for a random draw with a mean of 0, whose size is estimated from the
/// residuals; so what the points do not tell stays near 0, and what the fit has taken away is
/// uncertain by the size of what it left.
///
/// Of many points some thousands are looked at, spread evenly over their order.
/// \param model at the minimum, with what was free in it
/// \param shared a standard deviation that the residuals of a sixteenth of the points have in
///   common beside noise, nominal radii: what is no larger tells nothing of the form
/// \return lengths in nominal radii; nothing for fewer than 50 points, and for points that do not span a wall
std::optional<FormEstimate> EstimateForm(const Points& points, const Model& model, bool fix_axis,
                                         bool fix_radius, double shared = 0.0);

}  // namespace libmfx::geometry::cylinder
