#pragma once

#include <vector>

namespace libmfx::geometry::cylinder {

/// What a beam reads off the thread of a bore. A sight line goes in through the cylinder of the
/// crests and ends on a crest, a root or a flank; a beam is as wide as many of them, and reads
/// their mean range, weighed by how squarely each meets the surface. So the flanks that face the
/// instrument outweigh the crests, and where the sight lines leave a crest and fall into the
/// groove, the reading doesn't jump but slides.
///
/// Lengths are pitches.
class SeenProfile {
 public:
  /// \param width of the beam: a standard deviation, across it; held between the two bounds
  explicit SeenProfile(double width);

  /// How far along the axis beyond its entry the reading of a beam lies whose middle enters the
  /// crests' cylinder at `phase` (turns from the middle of a crest, growing the way it goes) and
  /// goes `tangent` outward a unit along the axis. Not a number when one of the two is not finite.
  double Run(double phase, double tangent) const;

  static constexpr double kNarrowest = 0.004;
  static constexpr double kWidest = 0.5;

 private:
  std::vector<double> _runs;  ///< by tangent, then by phase
};

}  // namespace libmfx::geometry::cylinder
