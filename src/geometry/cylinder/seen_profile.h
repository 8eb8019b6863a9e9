#pragma once

#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

#include "geometry/cylinder/thread_profile.h"

namespace libmfx::geometry::cylinder {

/// What a beam reads off a thread. A sight line goes in through the cylinder of the crests and ends
/// on a crest, a root or a flank; a beam is as wide as many of them, and reads their mean range,
/// weighed by how squarely each meets the surface. So the flanks that face the instrument outweigh
/// the crests, and where the sight lines leave a crest and fall into the groove, the reading
/// doesn't jump but slides.
///
/// Where they fall farther than what an instrument can tell apart, it takes the stronger of the two
/// sides instead: then the reading jumps where both are as strong, and beside the jump it is the
/// mean of what lies on one side only.
///
/// Lengths are pitches.
class SeenProfile {
 public:
  static constexpr double kNarrowest = 0.004;
  static constexpr double kWidest = 0.5;
  static constexpr double kFlattest = 0.04;
  static constexpr double kSteepest = 4.0;
  /// As a resolution: all that a beam meets melts into one range.
  static constexpr double kMelts = std::numeric_limits<double>::infinity();

  /// Tangents that will be asked for; held between the bounds above.
  struct Tangents {
    double flattest = kFlattest;
    double steepest = kSteepest;
  };

  /// \param width of the beam: a standard deviation, across it; held between the two bounds
  /// \param resolution ranges that are farther apart than this are told apart
  SeenProfile(const Profile& profile, double width, double resolution, const Tangents& tangents);
  SeenProfile(const Profile& profile, double width)
      : SeenProfile(profile, width, kMelts, Tangents()) {}

  /// The four places of the tables around a phase and a tangent, and how near it is to each.
  struct Cell {
    std::size_t lower_left, lower_right, upper_left, upper_right;
    double up, share;
    double tangent;  ///< as it is held
    bool is_known;   ///< whether phase and tangent are finite
  };
  /// Where a beam reads whose middle enters the crests' cylinder at `phase` (turns from the middle
  /// of a crest, growing the way it goes) and goes `tangent` towards the material a unit along the
  /// axis. Tangents beyond those told are held.
  Cell CellAt(double phase, double tangent) const;

  /// How far along the axis beyond its entry that reading lies. Not a number when one of the two
  /// is not finite.
  double Run(const Cell& cell) const;
  double Run(double phase, double tangent) const { return Run(CellAt(phase, tangent)); }

  /// How that changes with the two, where both are finite.
  struct Slope {
    double by_phase, by_tangent;
  };
  Slope SlopeOf(const Cell& cell) const;
  Slope SlopeOf(double phase, double tangent) const { return SlopeOf(CellAt(phase, tangent)); }

  /// The runs at the places of the cells. Phases count from where a crest ends, so that a place is
  /// as near to an edge in the table of one profile as in that of another.
  const std::vector<double>& runs() const { return _runs; }

 private:
  double _crest;
  double _first, _rows_a_place;  // of the rows
  int _rows;
  std::vector<double> _runs;  // by tangent, then by phase
};

/// The standard deviation of what the rays of a beam would read each by itself, along the axis:
/// large where it lies across an edge, where an instrument may read one of the two or any mixture.
/// At the places of the tables of the same profile, width and tangents.
std::vector<double> SpreadsOf(const Profile& profile, double width,
                              const SeenProfile::Tangents& tangents);

/// The value of a table in a cell.
inline double In(const std::vector<double>& table, const SeenProfile::Cell& cell) {
  return (1.0 - cell.up) *
             ((1.0 - cell.share) * table[cell.lower_left] + cell.share * table[cell.lower_right]) +
         cell.up *
             ((1.0 - cell.share) * table[cell.upper_left] + cell.share * table[cell.upper_right]);
}

/// The readings of the profiles and widths that were asked for last. Not for two threads at once.
class SeenProfiles {
 public:
  explicit SeenProfiles(const SeenProfile::Tangents& tangents) : _tangents(tangents) {}

  std::shared_ptr<const SeenProfile> Of(const Profile& profile, double width, double resolution);
  const SeenProfile::Tangents& tangents() const { return _tangents; }

 private:
  struct Made {
    Profile profile;
    double width, resolution;
    std::shared_ptr<const SeenProfile> readings;
  };
  SeenProfile::Tangents _tangents;
  std::vector<Made> _made;
};

}  // namespace libmfx::geometry::cylinder
