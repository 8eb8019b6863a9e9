#pragma once

#include <Eigen/Core>
#include <optional>
#include <vector>

#include "geometry/cylinder/thread_model.h"
#include "geometry/cylinder/usual_profile.h"

namespace libmfx::geometry::cylinder {

/// How a fit by the radial distances ended.
struct RadialOutcome {
  bool converged = false;
  int rounds = 0;      ///< damped rounds over all points
  double bound = 0.0;  ///< residuals beyond it don't count
};

/// A short descent on some of the points.
struct Exploration {
  double bound;         ///< residuals beyond it don't count
  Eigen::Index sample;  ///< about so many points
  int rounds;
  bool profile;  ///< whether the widths of crests and roots are free
};

/// Fit of a thread by the radial distances to its profile. A residual counts less the nearer it is
/// to 5 robust deviations and not at all beyond (the biweight of J. W. Tukey): where the sight line
/// leaves a crest and drops onto the next flank, the width of the beam decides what is read.
class RadialFit {
 public:
  /// \param columns what is free of a ThreadModel
  /// \param basic profile that the usual one is
  RadialFit(const Points& points, const std::vector<int>& columns, const Profile& basic)
      : _points(points), _columns(columns), _usual(basic, kUsualSamples) {}

  /// From phases all around the turn and pitches around the one told, on a sample of the points.
  std::optional<ThreadModel> Find(const ThreadModel& start) const;
  /// On all points.
  RadialOutcome Refine(ThreadModel& model) const;
  /// A few rounds from a model. \return the biweighted cost where they lead
  double Explore(ThreadModel& model, const Exploration& how) const;
  /// The distances of all points to a profile.
  Eigen::VectorXd Residuals(const ThreadModel& model) const;
  /// Of the residuals about a model, by which they are weighed.
  double BoundOf(const ThreadModel& model) const;

  const UsualProfile& usual() const { return _usual; }

 private:
  static constexpr double kUsualSamples = 1.0;

  const Points& _points;
  const std::vector<int>& _columns;
  UsualProfile _usual;
};

}  // namespace libmfx::geometry::cylinder
