#pragma once

#include <Eigen/Core>
#include <vector>

#include "geometry/cylinder/helix.h"
#include "geometry/cylinder/least_squares.h"
#include "geometry/cylinder/thread_model.h"

namespace libmfx::geometry::cylinder {

struct ThreadSolution {
  bool converged = false;
  int rounds = 0;            ///< damped rounds over all points
  int free_parameters = 0;   ///< of the last fit, the beam's width counted where that was free
  bool along_sight = false;  ///< the residuals are along the sight lines
  bool envelope = false;     ///< no profile fits: the radius is that of the harmonics' crests
  ThreadModel model;
  double cost = 0.0;                  ///< half the sum of squared residuals of the inliers
  double largest = 0.0;               ///< largest absolute residual among them
  std::vector<Eigen::Index> inliers;  ///< their places in the points
  Eigen::Index judged = 0;            ///< points that it was judged by, the inliers among them
  Eigen::Index astray = 0;            ///< points that lie clearly off what was fitted
  /// The inliers, each expected as deep as the thread lies under it: so their residuals about the
  /// crests' cylinder are what the wall is farther out than the thread. None of an envelope, and
  /// none of those that tell nothing of it.
  Points unthreaded;
  Uncertainty uncertainty;  ///< by noise
  Uncertainty of_beam;      ///< by what a beam makes of edges, which no sample tells
};

/// Fit of a thread over axis, radius, phase, pitch and the widths of its crests and roots, from a
/// smooth fit and the helix found in its residuals. Lengths are nominal radii; the instrument
/// stands at `instrument`.
///
/// Residuals are along the sight lines (SightFit), or the radial distances to the profile
/// (RadialFit) where the samples lie on the profile itself, or where the points were not seen from
/// one place. Flanks 60, 55 and 30 degrees apart are tried, in this order. Where no profile is
/// resolved, or one lies beside the crests which the mean depth of the samples tells, the harmonics
/// of the helix give the envelope of its crests (FitHarmonics).
///
/// Not converged is a helix of which none of these makes a wall.
ThreadSolution FitThread(const Points& points, const Model& smooth, Helix helix,
                         const Eigen::Vector3d& instrument, bool fix_axis, bool fix_radius);

}  // namespace libmfx::geometry::cylinder
