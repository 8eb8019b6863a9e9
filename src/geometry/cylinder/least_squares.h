#pragma once

#include <Eigen/Core>
#include <vector>

#include "geometry/cylinder/damped_descent.h"
#include "geometry/cylinder/model.h"

namespace libmfx::geometry::cylinder {

/// How a fit ended.
struct Outcome {
  bool converged = false;  ///< false: more than 1024 rounds, or numbers that are not finite
  int rounds = 0;          ///< damped rounds, kept or taken back
  int polish_rounds = 0;   ///< undamped rounds after them
  NormalEquations sums;    ///< at the last model
};

/// What the residuals say about the fitted parameters, lengths in nominal radii.
struct Uncertainty {
  bool determined = false;  ///< false: the points leave a parameter open
  double center = 0.0;      ///< standard uncertainty of the axis point at the reference height
  double axis = 0.0;        ///< of the direction, radians
  double radius = 0.0;
};

/// Damped least squares from `model`, which is left at the minimum.
///
/// A descent that runs out of its 1024 rounds is a failure.
///
/// The bound of 1e-8 on the cost leaves the parameters at about 1e-4 of the noise. The rounds
/// after it are undamped and run until the step no longer shrinks, so that the result is the
/// minimum to rounding.
Outcome Minimize(const Points& points, Model& model, bool fix_axis, bool fix_radius);

/// J^T J over the free columns, in their order. The residual doesn't depend on the length of the
/// direction, so J^T J is singular along it and the gradient has no part there; with
/// `pin_direction` a term along the direction makes the matrix regular, which leaves every solution
/// as it is.
Eigen::MatrixXd Reduce(const Eigen::MatrixXd& matrix, const std::vector<int>& columns,
                       const Model& model, bool pin_direction);

/// Standard uncertainties from the residuals at the minimum, of independent errors of equal size.
/// \param matrix J^T J with a column for each parameter, those of a model first
/// \param cost half the sum of squared residuals
/// \param columns the free ones
Uncertainty Judge(const Eigen::MatrixXd& matrix, double cost, Eigen::Index points,
                  const Model& model, const std::vector<int>& columns);

/// So many standard deviations of residuals, at least one of them, by the median of their sizes,
/// which strays don't move; at least a millionth of the nominal radius, for points without noise
/// and for none at all.
double RobustBound(const Eigen::ArrayXd& residuals, double deviations);

}  // namespace libmfx::geometry::cylinder
