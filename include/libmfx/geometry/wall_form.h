#pragma once

/// \file
/// How far a cylinder's wall is from a round and straight one.

namespace libmfx::geometry {

/// Errors of form of a wall, as the residuals of its fit show them, over the angles and the heights
/// that were fitted. Lengths are metres. An error that was not seen well is drawn towards 0, and
/// the standard uncertainty beside it tells by how much it may differ; one that noise explains is
/// next to 0.
///
/// Of a threaded wall they are those of its thread: how far the wall is farther out than a thread
/// on a round and straight cylinder. What a wide beam makes of its edges may pass for form, which
/// the uncertainties hold.
struct WallForm {
  bool threaded = false;   ///< a thread was taken out
  int lobes = 0;           ///< crests of the largest of the waves of 2 to 8 around the wall
  double roundness = 0.0;  ///< of this wave alone, from its valleys to its crests
  double roundness_uncertainty = 0.0;
  double taper = 0.0;  ///< change of the radius over the height; positive: wider up the axis
  double taper_uncertainty = 0.0;
  double barrel = 0.0;  ///< radius half way less that at both ends; negative: waisted
  double barrel_uncertainty = 0.0;
  double bend = 0.0;  ///< of the axis half way, from the line of its ends
  double bend_uncertainty = 0.0;
};

}  // namespace libmfx::geometry
