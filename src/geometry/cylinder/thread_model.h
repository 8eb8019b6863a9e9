#pragma once

#include <Eigen/Core>

#include "geometry/cylinder/model.h"
#include "geometry/cylinder/thread_profile.h"

namespace libmfx::geometry::cylinder {

/// A cylinder with a thread: the model's radius is that of the crests. Its residual at a point is
/// the radial distance to the profile: distance to the axis minus radius, plus the depth of the
/// profile at the phase height / pitch - turn - `phase` (minus, in a bore).
struct ThreadModel {
  Model cylinder;
  double pitch = 0.0;  ///< negative: left-handed
  double phase = 0.0;  ///< of a crest at the reference height, turns
  Profile profile;
};

/// Columns of the Jacobian of a thread: those of the cylinder, then phase, pitch and the half
/// widths of crest and root.
enum ThreadColumn { kPhase = kColumns, kPitch, kCrest, kRoot, kThreadColumns };

/// Moves the parameter of a column. Half widths stay where a profile has crests, roots and flanks.
void Move(ThreadModel& model, int column, double step);

struct ThreadRow {
  double residual = 0.0;
  Eigen::Matrix<double, kThreadColumns, 1> jacobian;
};

/// Residuals and rows of the Jacobian of one model.
class ThreadEvaluator {
 public:
  explicit ThreadEvaluator(const ThreadModel& model);
  double Residual(const Eigen::Vector3d& point) const;
  ThreadRow operator()(const Eigen::Vector3d& point) const;

 private:
  struct Place {
    double a, b, h, distance;  // across, across, along, from the axis
    ProfileDepth profile;
  };
  Place Locate(const Eigen::Vector3d& point) const;

  ThreadModel _model;
  double _hand, _pitch, _side, _length;
  Eigen::Vector3d _u, _e1, _e2;
};

}  // namespace libmfx::geometry::cylinder
