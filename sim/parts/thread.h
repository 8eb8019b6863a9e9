#pragma once

#include <optional>
#include <string_view>

namespace libmfx::sim {

/// A right-handed screw thread with the basic profile of ISO 68-1: flanks at 60 degrees to each
/// other, flats of pitch / 8 on the major and of pitch / 4 on the minor diameter.
struct Thread {
  double major_radius = 0.004;  ///< metres
  double pitch = 0.00125;       ///< metres

  /// Of the basic profile: 5/8 of the height of the sharp triangle.
  double Depth() const { return 0.54126587736527418 * pitch; }
  double MinorRadius() const { return major_radius - Depth(); }
  /// Where thread and gap are equally wide.
  double PitchRadius() const { return major_radius - 0.32475952641916451 * pitch; }

  /// Radius of the profile at `turns`, the height in pitches above the middle of a crest.
  double RadiusAt(double turns) const;
  /// Its derivative, metres of radius per metre of height.
  double SlopeAt(double turns) const;

  /// A coarse metric thread by its name, "M4" to "M20" of ISO 261; nothing for another name.
  static std::optional<Thread> Metric(std::string_view name);
};

}  // namespace libmfx::sim
