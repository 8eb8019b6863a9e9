#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

/// \file
/// What a least squares fit leaves open of its parameters, by the scatter of its residuals.
/// Residuals are metres, parameters metres or radians.

namespace libmfx::uncertainty {

/// What hangs on the parameters of a fit, which are told as what they differ by from the fit found.
using ParameterFunction = std::function<Eigen::VectorXd(const Eigen::VectorXd&)>;

/// Step of a parameter, metres or radians: small beside anything that is measured, and large beside
/// what is left of a double at some ten metres.
inline constexpr double kParameterStep = 1e-6;

/// Derivative at 0 by central differences: rows as the function has, a column a parameter.
Eigen::MatrixXd Jacobian(const ParameterFunction& function, Eigen::Index parameters);

/// What a fit leaves open of its parameters.
struct FitSpread {
  Eigen::MatrixXd covariance;  ///< of the parameters
  double scatter = 0.0;        ///< standard deviation of one residual
  double freedom = 0.0;        ///< degrees of freedom of the scatter
};

/// The covariance of parameters that least squares find: scatter^2 (J^T J)^-1, where J is the
/// derivative of the residuals (JCGM 100, H.3, for any number of parameters). What the residuals
/// have left in the directions of J is taken out of them first: the parameters need not be the
/// very ones at which the sum of squares is least.
/// \param residuals lengths, all of one scatter, as many for any parameters
/// \param parameters how many there are
/// \param groups of each residual, the number of its scan line; empty: each stands for itself.
///     Where the means of lines differ by more than their samples' scatter explains, they tell the
///     scatter, with the degrees of freedom of the lines: a line that was displaced as a whole
///     counts once.
/// \param scatter of one residual, where it is known from elsewhere
/// \returns none if residuals are not finite or leave a parameter open, and where nothing is left
///     over to tell the scatter
std::optional<FitSpread> SpreadOfFit(const ParameterFunction& residuals, Eigen::Index parameters,
                                     const std::vector<int>& groups = {},
                                     std::optional<double> scatter = {});

/// The factor of the standard uncertainty to an interval of 95 %: that of Student's distribution.
/// \param freedom 1 or more
double CoverageFactor(double freedom);

/// What a cut costs: the factor of the covariance that the samples left over tell, where a fit was
/// made again without those farthest off. What is left scatters less than all did, by
/// k = 1 - 2 z f(z) / P for the share P that lies within z standard deviations of a normal
/// distribution f; and the second fit, which moves with the first and with what is left, varies as
/// (1 - k^2 + k / P) of a fit to all.
/// \param kept, cut how many samples were left and left out; less than a tenth left counts as one
double CostOfCut(std::size_t kept, std::size_t cut);

/// The standard deviation of normal residuals whose distances from 0 these are, by their median: a
/// few that are no part of them do no harm. 0 for none.
double ScatterOfMost(std::vector<double> distances);

}  // namespace libmfx::uncertainty
