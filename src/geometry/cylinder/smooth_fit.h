#pragma once

#include <Eigen/Core>

#include "geometry/cylinder/least_squares.h"
#include "geometry/cylinder/model.h"

namespace libmfx::geometry::cylinder {

/// A smooth cylinder and the points it was fitted to.
struct SmoothSolution {
  Model model;
  Outcome outcome;
  Points points;
};

/// Least squares of a smooth wall from the nominal. Where a linear start alone already costs less
/// than what that fit ended on, the fit had rolled into a wrong valley and is run from there.
///
/// Then residuals that stand out of the bulk by 6 deviations, as stray echoes and the rounded rim
/// of a top do, are dropped and the fit is run again, until none does. The bulk is measured by the
/// median deviation, which they don't move. Below 50 points the bulk is too small to tell, and more
/// than a tenth of the points is a shape and not stray: then all stay.
SmoothSolution FitSmooth(const Points& points, const Model& nominal, bool fix_axis,
                         bool fix_radius);

}  // namespace libmfx::geometry::cylinder
