#pragma once

#include <Eigen/Core>
#include <cmath>
#include <optional>
#include <vector>

#include "geometry/cylinder/sight_descent.h"
#include "geometry/cylinder/sight_model.h"
#include "geometry/cylinder/usual_profile.h"

namespace libmfx::geometry::cylinder {

/// Fit of a thread along the sight lines: a residual is how far a sample's range is from what the
/// beam should read, which SeenProfile tells, turned square to the wall. It holds where the beam is
/// as wide as the groove, which hides the profile itself: the radial distance to the profile then
/// has residuals as large as its depth and may rest anywhere on a flank. The width of the beam is
/// fitted as well.
///
/// Where the beam is narrow the crests' edges decide, and the radial distance is the better judge.
class SightFit {
 public:
  /// \param points to be fitted, in nominal radii, as the instrument saw them. Those that a stud
  ///   shows at its limb, where sight lines pass over several grooves, are left out
  /// \param instrument its place
  /// \param columns what is free of a ThreadModel
  /// \param start cylinder to begin with, right to a few hundredths of the pitch
  /// \param pitch to begin with
  SightFit(const Points& points, const Eigen::Vector3d& instrument, const std::vector<int>& columns,
           const ThreadModel& start);

  UsualProfile usual() const;
  /// How many points the fit runs on.
  Eigen::Index size() const { return static_cast<Eigen::Index>(_places.size()); }
  /// Which of the points these are.
  const std::vector<Eigen::Index>& places() const { return _places; }

  /// From phases all around the turn, on a sample of the points.
  /// \param depth of the profile as it was seen
  std::optional<SightModel> Find(double depth) const;

  /// How many parameters `Refine` moves: those of the thread, and the width of the beam. The sight
  /// fit turns the axis by two of the three terms of its direction.
  int FreeParameters() const { return static_cast<int>(_columns.size()) + 1; }
  /// On some thousands of the points.
  /// \return the bound beyond which residuals don't count
  double Refine(SightModel& model) const;

  /// The residuals of about a thousand of the points.
  Eigen::VectorXd Sampled(const SightModel& model) const;
  /// Those of all of them.
  Eigen::VectorXd Residuals(const SightModel& model) const;
  /// How far each point lies outward of the thread, away from its axis: its residual over what a
  /// wider thread would change of it. Not a number where that is next to nothing, nor towards the
  /// limb of a stud, where the wall curves away under the beam.
  Eigen::VectorXd Outward(const SightModel& model) const;
  /// J^T J of all points whose residuals are within a bound, in the columns of a thread and of the
  /// beam: that of some thousands, times as many as they stand for.
  Eigen::MatrixXd NormalMatrix(const SightModel& model, double bound) const;

 private:
  /// With a bound that closes in on the residuals, and the width of the beam free.
  void CloseIn(double bound, SightModel& model) const;
  /// On about so many of the points, with what is free of a SightModel.
  SightTask TaskOn(Eigen::Index sample, const std::vector<int>& columns, double bound,
                   SeenProfiles& profiles) const;
  std::vector<SightModel> VariantsOf(const SightModel& model) const;
  std::vector<SightModel> Sorted(std::vector<SightModel> models) const;
  bool FindResolution(SightModel& model) const;
  SightModel BestOfVariants(const SightModel& model) const;

  ThreadModel _start;
  std::vector<int> _columns, _with_beam;
  double _flattest = 0.0, _steepest = 0.0;  // tangents of the sight lines towards the wall
  double _sense = 1.0;                      // +1: sight lines go up the axis
  std::vector<Eigen::Index> _places;
  std::vector<SightLine> _lines;
};

}  // namespace libmfx::geometry::cylinder
