#pragma once

#include <Eigen/Core>
#include <optional>
#include <vector>

#include "geometry/cylinder/thread_model.h"

namespace libmfx::geometry::cylinder {

/// The thread of a bore as a beam of some width shows it.
struct SightModel {
  ThreadModel thread;
  double width = 0.0;  ///< of the beam, across it: a standard deviation, pitches
};

/// Fit of the thread of a bore along the sight lines: a residual is how far a sample's range is
/// from what the beam should read, which SeenProfile tells, turned square to the wall. It holds
/// where the beam is as wide as the groove, which hides the profile itself: the radial distance to
/// the profile then has residuals as large as its depth and may rest anywhere on a flank. The width
/// of the beam is fitted as well.
///
/// Where the beam is narrow the crests' edges decide, and the radial distance is the better judge.
class SightFit {
 public:
  /// \param points to be fitted, in nominal radii, as the instrument saw them
  /// \param instrument its place
  /// \param columns what is free of a ThreadModel
  SightFit(const Points& points, const Eigen::Vector3d& instrument,
           const std::vector<int>& columns);

  /// From phases all around the turn, on a sample of the points.
  /// \param start cylinder to begin with, right to a few hundredths of the pitch
  /// \param pitch to begin with
  /// \param depth of the profile as it was seen
  std::optional<SightModel> Find(const Model& start, double pitch, double depth) const;

  /// How many parameters `Refine` moves: those of the thread, and the width of the beam. The sight
  /// fit turns the axis by two of the three terms of its direction.
  int FreeParameters() const { return static_cast<int>(_columns.size()) + 1; }
  /// On all points.
  /// \return the bound beyond which residuals don't count
  double Refine(SightModel& model) const;

  /// The residuals of all points, and their Jacobian in the columns of a thread.
  void Evaluate(const SightModel& model, Eigen::VectorXd& residuals,
                Eigen::MatrixXd& jacobian) const;

 private:
  /// With a bound that closes in on the residuals, and the width of the beam free.
  void CloseIn(double bound, SightModel& model) const;

  const Points& _points;
  Eigen::Vector3d _instrument;
  std::vector<int> _columns;
};

}  // namespace libmfx::geometry::cylinder
