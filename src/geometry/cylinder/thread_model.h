#pragma once

#include <Eigen/Core>
#include <numbers>

#include "geometry/cylinder/model.h"

namespace libmfx::geometry::cylinder {

/// The basic profile of ISO 68-1 in pitches: depth over axial length of a flank, axial length of a
/// flank, depth of the root, half the width of a crest.
inline constexpr double kFlankSlope = std::numbers::sqrt3;
inline constexpr double kFlankLength = 5.0 / 16.0;
inline constexpr double kRootDepth = kFlankLength * kFlankSlope;
constexpr double HalfCrest(bool bore) { return bore ? 1.0 / 8.0 : 1.0 / 16.0; }

/// Depth of the ISO 68-1 basic profile below its crests, and its slope, both per pitch, at a phase
/// in turns from the middle of a crest. The crests of a stud are an eighth of the pitch wide, those
/// of a bore a quarter; the flanks stand 60 degrees apart; the profile is 0.541 pitches deep.
struct ProfileDepth {
  double depth = 0.0;
  double slope = 0.0;  ///< by the phase
};
ProfileDepth DepthOfProfile(double phase, bool bore);

/// How deep below the crests, per pitch, sight lines end on the average that go `tangent` inward a
/// unit along the axis: past a crest they fall on the flank beyond, the lower the steeper they go,
/// and at most to the root.
double MeanDepthSeen(double tangent, bool bore);

/// A cylinder with a thread: the model's radius is that of the crests. Its residual at a point is
/// the radial distance to the profile: distance to the axis minus radius, plus the depth of the
/// profile at the phase height / pitch - turn - `phase` (minus, in a bore).
struct ThreadModel {
  Model cylinder;
  double pitch = 0.0;  ///< negative: left-handed
  double phase = 0.0;  ///< of a crest at the reference height, turns
  bool bore = false;
};

/// Columns of the Jacobian of a thread: those of the cylinder, then phase and pitch.
enum ThreadColumn { kPhase = kColumns, kPitch, kThreadColumns };

/// The parameter of a column.
double& Parameter(ThreadModel& model, int column);

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
