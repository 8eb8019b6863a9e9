#pragma once

#include <Eigen/Core>
#include <memory>
#include <vector>

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

/// Where a direction across the local z points, by its turn. Others near it get theirs without an
/// arc tangent of their own.
struct NearTurn {
  double cosine = 1.0, sine = 0.0, turn = 0.0;

  NearTurn() = default;
  NearTurn(double cosine_of, double sine_of);
  /// \param c, s cosine and sine of an angle
  double Of(double c, double s) const;
};

/// A sample and the line it was taken along.
struct SightLine {
  Eigen::Vector3d point;
  Eigen::Vector3d sight;  ///< unit, from the instrument
  NearTurn near = {};     ///< about where it enters the wall
};

/// How a sight line passes into the wall of a cylinder.
struct Entry {
  double way;       ///< from the point to where it enters
  double height;    ///< of the entry, along the axis
  double turn;      ///< of the entry
  double cosine;    ///< of that,
  double sine;      ///< in the frame of the finder
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

  Entry operator()(const SightLine& line) const;

  const Eigen::Vector3d& axis() const { return _u; }
  /// Away from the axis and around it, where a line enters.
  Eigen::Vector3d Out(const Entry& entry) const { return entry.cosine * _e1 + entry.sine * _e2; }
  Eigen::Vector3d Around(const Entry& entry) const { return entry.cosine * _e2 - entry.sine * _e1; }

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
  /// \param cell of the readings of a model that they serve
  Slope SlopeOf(const SeenProfile& readings, const SeenProfile::Cell& cell) const;

 private:
  Profile _profile;
  double _width;
  std::vector<double> _by_crest, _by_root, _by_width;
};

/// What a model makes of one sight line: how that enters, and where the beam meets the table of
/// readings.
struct Sighted {
  Entry entry;
  SeenProfile::Cell cell;
  double rate;    ///< phases met over those that a line straight along the wall would meet
  double run;     ///< from entry to reading, along the axis, pitches
  double square;  ///< what turns lengths along the axis square to the wall
};

/// Residuals of one model along the sight lines: how far a sample's range is from what the beam
/// should read, turned square to the wall. Lengths are nominal radii.
class SightEvaluator {
 public:
  /// \param readings of the model's profile and width
  SightEvaluator(const SightModel& model, const SeenProfile& readings);

  Sighted operator()(const SightLine& line) const;

  double Residual(const Sighted& sighted) const {
    return sighted.square *
           (-sighted.entry.way * sighted.entry.along - _pitch / sighted.rate * sighted.run);
  }

  /// How far what the rays of the beam read lies off their mean, square to the wall.
  /// \param spreads of the model's profile and width
  double Spread(const Sighted& sighted, const std::vector<double>& spreads) const {
    return _pitch * sighted.square * In(spreads, sighted.cell);
  }

  /// How the residual changes with each column. To a few hundredths: what a turn of the wall
  /// changes of how a groove curves is left out.
  using Row = Eigen::Matrix<double, kSightColumns, 1>;
  Row Derivative(const Sighted& sighted, const ShapeReadings& shapes) const;

 private:
  const SeenProfile& _readings;
  EntryFinder _entry;
  double _phase, _hand, _pitch, _side, _length;
};

}  // namespace libmfx::geometry::cylinder
