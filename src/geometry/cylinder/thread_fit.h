#pragma once

#include <Eigen/Core>
#include <vector>

#include "geometry/cylinder/helix.h"
#include "geometry/cylinder/least_squares.h"
#include "geometry/cylinder/thread_model.h"

namespace libmfx::geometry::cylinder {

struct ThreadSolution {
  bool converged = false;
  int rounds = 0;           ///< damped rounds over all points
  int free_parameters = 0;  ///< of the last fit, the beam's width counted where that was free
  ThreadModel model;
  double cost = 0.0;                  ///< half the sum of squared residuals of the inliers
  double largest = 0.0;               ///< largest absolute residual among them
  std::vector<Eigen::Index> inliers;  ///< their places in the points
  Uncertainty uncertainty;
};

/// Fit of a thread over axis, radius, phase and pitch, from a smooth fit and the helix found in its
/// residuals. Lengths are nominal radii; the instrument stands at `instrument`.
///
/// Residuals are the radial distances to the profile where the beam was narrow enough to show it. A
/// residual counts less the nearer it is to 5 robust deviations and not at all beyond (the biweight
/// of J. W. Tukey): where the sight line leaves a crest and drops onto the next flank, the width of
/// the beam decides what is read. Where a bore's profile drowns in the beam, residuals are along
/// the sight lines (SightFit).
///
/// Not converged is a profile that neither way resolves, and a bore's that lies beside the crests
/// which the mean depth of the samples tells.
ThreadSolution FitThread(const Points& points, const Model& smooth, Helix helix,
                         const Eigen::Vector3d& instrument, bool fix_axis, bool fix_radius);

}  // namespace libmfx::geometry::cylinder
