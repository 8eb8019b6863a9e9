#pragma once

#include <optional>
#include <string_view>

#include "sim/vec.h"

namespace libmfx::sim {

/// What a thread is cut on. The tool cuts its own nose into the roots, so that a thread that is cut
/// less deep keeps the flats of its roots, and wider flats stay on its crests.
enum class WallKind {
  kStud,  ///< the roots are on the minor radius
  kBore   ///< the roots are on the major radius
};

/// A screw thread by its dimensions, whether cut on a stud or into a bore. Its flanks are straight;
/// what the flats on its crests and in its roots are is told by ThreadProfile.
struct Thread {
  double major_radius = 0.004;  ///< metres
  double pitch = 0.00125;       ///< metres
  double depth = 1.0;           ///< share of the basic profile's depth, 0.2 to 1.05
  double flank_angle =
      kPi / 3.0;  ///< between the two flanks of a groove, radians, 20 to 90 degrees
  bool left_handed = false;
  int starts = 1;             ///< threads side by side: a turn climbs so many pitches
  double crest_radius = 0.0;  ///< metres, of crests that are worn round between the flanks; 0: flat
  double run_out = 0.0;       ///< metres over which the thread gets shallower towards its inner end

  /// Metres between crests and roots: the share `depth` of the basic profile's.
  double Depth() const;
  double MinorRadius() const { return major_radius - Depth(); }
  double Lead() const { return starts * pitch; }
  /// Radii of worn crests that leave nothing of the flat, and something of the flanks.
  double SmallestCrestRadius(WallKind kind) const;
  double LargestCrestRadius(WallKind kind) const;

  /// A coarse metric thread by its name, "M4" to "M24" of ISO 261; nothing for another name.
  static std::optional<Thread> Metric(std::string_view name);
};

/// The helical profile r(height, angle) of a thread around z.
///
/// A worn crest is an arc that touches both flanks; its top, which is lower than the flat of the
/// basic profile, takes the place of that radius. Over the run-out the depth of the grooves falls
/// to 0 at the inner end, in proportion to the height above it.
///
/// The basic profiles, in pitches P and the height H of the sharp triangle of the flanks:
/// 60 degrees (ISO 68-1) a depth of 5/8 H with flats of P/8 on the major and P/4 on the minor
/// radius; 55 degrees (ISO 228-1, its rounds drawn flat) 2/3 H with flats of P/6; 30 degrees
/// (ISO 2904) P/2, with as much thread as gap half way; every other angle as 60 degrees.
class ThreadProfile {
 public:
  /// \param end height of the inner end, where a run-out ends
  ThreadProfile(const Thread& thread, WallKind kind, double end = 0.0);

  /// Height in pitches above the middle of a crest, for a point at `z` metres and `angle` radians.
  double Turns(double z, double angle) const { return z / _pitch - _hand * (angle / (2.0 * kPi)); }
  /// Radius of the profile at `turns`, where it is cut as deep as told.
  double RadiusAt(double turns) const;
  /// Its derivative, metres of radius per metre of height.
  double SlopeAt(double turns) const;
  /// The same at a height, which tells how much of a run-out is cut; the slope is that of the
  /// profile, which climbs with the angle too.
  double RadiusAt(double turns, double z) const;
  double SlopeAt(double turns, double z) const;
  /// What the run-out adds to the slope, at one angle.
  double RunOutSlopeAt(double turns, double z) const;
  /// Its steepest.
  double SteepestRunOut() const;

  /// Where thread and gap are equally wide, on the flanks or, of a thread that is cut so little
  /// that they end before, on their straight continuation.
  double PitchRadius() const;
  /// Nothing of the profile lies farther out or farther in.
  double MajorRadius() const { return _major_radius; }
  double MinorRadius() const { return _minor_radius; }
  /// Radius of the crests: of a stud the largest, of a bore the smallest that there is.
  double CrestRadius() const { return _crest; }
  double Pitch() const { return _pitch; }
  /// Height that the thread climbs on a metre around at `radius`: below 0 of a left-handed one.
  double LeadAt(double radius) const { return _hand * _pitch / (2.0 * kPi * radius); }
  /// Slope of a flank, metres of radius per metre of height.
  double FlankSlope() const { return _flank_slope; }

 private:
  /// Metres from the middle of a worn crest, or infinity where there is none.
  double FromArc(double from_crest) const;
  /// Share of the depth that is cut.
  double CutAt(double z) const;

  double _major_radius;
  double _minor_radius;
  double _pitch;
  double _hand;  ///< 1 right, -1 left, times the starts
  double _flank_slope;
  double _major_end;    ///< half of the flat on the major radius, in pitches
  double _minor_start;  ///< where the flat on the minor radius begins, in pitches
  double _outwards;     ///< 1 where crests point outwards, of a stud; -1 of a bore
  double _crest;
  double _arc_radius;  ///< of a worn crest, metres; 0: a flat
  double _arc_half;    ///< metres of height from its middle to where it touches a flank
  double _arc_center;  ///< radius of its middle
  double _end;
  double _run_out;
};

}  // namespace libmfx::sim
