#pragma once

#include <Eigen/Core>
#include <memory>

#include "geometry/cylinder/seen_profile.h"
#include "geometry/cylinder/thread_model.h"

namespace libmfx::geometry::cylinder {

/// A thread as a beam of some width shows it.
struct SightModel {
  ThreadModel thread;
  double width = 0.0;  ///< of the beam, across it: a standard deviation, pitches
  /// Ranges that are farther apart than this are told apart, pitches.
  double resolution = SeenProfile::kMelts;

  std::shared_ptr<const SeenProfile> ReadingsOf(SeenProfiles& profiles) const {
    return profiles.Of(thread.profile, width, resolution);
  }
};

/// The column of the logarithm of the beam's width, after those of a thread.
inline constexpr int kBeamWidth = kThreadColumns;
inline constexpr int kSightColumns = kThreadColumns + 1;

/// Moves the parameter of a column. The width stays where readings are known.
void MoveSight(SightModel& model, int column, double step);

/// How the sight line of a point passes into the wall of a cylinder.
struct Entry {
  double way;       ///< from the point to where it enters
  double height;    ///< of the entry, along the axis
  double turn;      ///< of the entry
  double distance;  ///< of the entry from the axis
  double along;     ///< how the line goes on from there, a unit of way: along the axis,
  double inward;    ///< into the material,
  double around;    ///< and around the wall
  double sense;     ///< +1: up the axis
  bool meets;       ///< whether it crosses the cylinder at all

  double Tangent() const { return inward / along; }
};

class EntryFinder {
 public:
  EntryFinder(const Model& model, bool bore);

  /// \param sight unit, from the instrument
  Entry operator()(const Eigen::Vector3d& point, const Eigen::Vector3d& sight) const;

  const Eigen::Vector3d& axis() const { return _u; }
  /// Across the axis, from which turns count, and a quarter of a turn on.
  const Eigen::Vector3d& e1() const { return _e1; }
  const Eigen::Vector3d& e2() const { return _e2; }
  const Eigen::Vector3d& base() const { return _base; }

 private:
  Eigen::Vector3d _u, _e1, _e2, _base;
  double _radius, _side;
};

/// How readings change with what shapes them: the widths of crest and root and that of the beam.
class ShapeReadings {
 public:
  ShapeReadings(const SightModel& model, SeenProfiles& profiles);

  /// Whether they were made so near to a model that they serve it as well.
  bool Serves(const SightModel& model) const;

  struct Slope {
    double by_crest, by_root, by_width;  ///< the latter by the logarithm of the width
  };
  Slope SlopeOf(double phase, double tangent) const;

 private:
  Profile _profile;
  double _width;
  std::shared_ptr<const SeenProfile> _base, _crest, _root, _beam;
};

/// Residuals of one model along the sight lines: how far a sample's range is from what the beam
/// should read, turned square to the wall. Lengths are nominal radii.
class SightEvaluator {
 public:
  /// \param readings of the model's profile and width
  SightEvaluator(const SightModel& model, const SeenProfile& readings);

  double Residual(const Eigen::Vector3d& point, const Eigen::Vector3d& sight) const;

  /// How far what the rays of the beam read lies off their mean, square to the wall.
  double Spread(const Eigen::Vector3d& point, const Eigen::Vector3d& sight) const;

  /// How the residual changes with each column. To a few hundredths: what a turn of the wall
  /// changes of how a groove curves is left out.
  using Row = Eigen::Matrix<double, kSightColumns, 1>;
  Row Derivative(const Eigen::Vector3d& point, const Eigen::Vector3d& sight,
                 const ShapeReadings& shapes) const;

 private:
  // Where the beam meets the table of readings.
  struct Place {
    double phase, tangent, rate, run, square;
  };
  Place PlaceOf(const Entry& entry) const;

  const SeenProfile& _readings;
  EntryFinder _entry;
  double _phase, _hand, _pitch, _side, _length;
};

}  // namespace libmfx::geometry::cylinder
