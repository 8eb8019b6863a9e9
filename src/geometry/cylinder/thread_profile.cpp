#include "geometry/cylinder/thread_profile.h"

#include <cmath>

namespace libmfx::geometry::cylinder {

Profile Profile::Basic(bool bore, double slope) {
  Profile profile{slope, 1.0 / 16.0, 1.0 / 8.0, bore};
  if (slope > 1.8)
    profile.crest = profile.root = 1.0 / 12.0;            // ISO 228-1: a sixth of each triangle
  if (slope > 3.0) profile.crest = profile.root = 0.183;  // ISO 2904: flats of 0.366 pitches
  if (bore) std::swap(profile.crest, profile.root);
  return profile;
}

ProfileDepth DepthOfProfile(double phase, const Profile& profile) {
  const double turn = phase - std::round(phase);
  const double flank = std::abs(turn) - profile.crest;
  if (flank <= 0.0) return {};
  if (flank >= profile.FlankLength()) return {profile.Depth(), 0.0, -profile.slope, -profile.slope};
  return {flank * profile.slope, std::copysign(profile.slope, turn), -profile.slope, 0.0};
}

double MeanDepthSeen(double tangent, const Profile& profile) {
  const double slope = profile.slope, depth = profile.Depth();
  const double groove = 1.0 - 2.0 * profile.crest;
  const double deepest = groove * tangent * slope / (tangent + slope);
  if (deepest <= depth) return 0.5 * deepest * groove;
  // Widths, as the sight lines pass the crests, of those that end on the flank beyond and, where
  // they go in more steeply than the flanks stand, on the flank below the crest.
  const double beyond = depth * (tangent + slope) / (tangent * slope);
  const double below = std::max(0.0, depth * (tangent - slope) / (tangent * slope));
  return depth * (groove - 0.5 * (beyond + below));
}

}  // namespace libmfx::geometry::cylinder
