#pragma once

#include <algorithm>
#include <numbers>

namespace libmfx::geometry::cylinder {

/// The profile of a screw thread: straight flanks of one angle between flat crests and flat roots.
/// Lengths are pitches. A thread that is cut less deep than its basic profile has a wider crest;
/// one that a worn tool cut has a wider root. Neither has to be told: both are fitted.
struct Profile {
  double slope = std::numbers::sqrt3;  ///< depth over axial length of a flank
  double crest = 1.0 / 16.0;           ///< half the width of a crest
  double root = 1.0 / 8.0;             ///< half the width of a root
  bool bore = false;                   ///< the material is outside

  bool operator==(const Profile&) const = default;

  /// Axial length of a flank.
  double FlankLength() const { return std::max(0.5 - crest - root, kShortestFlank); }
  double Depth() const { return slope * FlankLength(); }

  /// The basic profile of ISO 68-1 (60 degrees, crests an eighth of the pitch wide on a stud and a
  /// quarter in a bore), or the flats of its kind for flanks of another slope.
  static Profile Basic(bool bore, double slope = std::numbers::sqrt3);

  static constexpr double kShortestFlank = 0.02;
};

/// Slopes of flanks that stand 60 degrees apart (metric, unified), 55 (Whitworth) and 30
/// (trapezoidal).
inline constexpr double kFlankSlopes[] = {std::numbers::sqrt3, 1.9209821269711662,
                                          3.7320508075688772};

/// Depth of a profile below its crests at a phase in turns from the middle of a crest, and how it
/// changes with the phase and the two half widths. All per pitch.
struct ProfileDepth {
  double depth = 0.0;
  double slope = 0.0;  ///< by the phase
  double by_crest = 0.0;
  double by_root = 0.0;
};
ProfileDepth DepthOfProfile(double phase, const Profile& profile);

/// How deep below the crests, per pitch, sight lines end on the average that go `tangent` inward a
/// unit along the axis: past a crest they fall on the flank beyond, the lower the steeper they go,
/// and at most to the root.
double MeanDepthSeen(double tangent, const Profile& profile);

}  // namespace libmfx::geometry::cylinder
