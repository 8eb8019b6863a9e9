#pragma once

#include "libmfx/features/feature.h"

namespace libmfx::features {

namespace shared {
struct Outline;
struct OutlineRules;
class ScanLayout;
}  // namespace shared

/// What tells the outline of one opening from another's. Lengths are metres, angles radians.
struct OutlineSizes {
  double reach;  ///< from the centre to the farthest sample that counts
  double raise;  ///< height above the surface of the point that the edge is nearest to
  double limit;  ///< an edge point is nearer than this to the raised point
  double clearance;
  double point_spacing;
  double reject_angle;  ///< largest between fitted and nominal normal
};

/// What the openings share whose outline is crossed by short scan lines: rectangle, polygon, slot.
///
/// The samples are sorted into lines, the surface is found on them, and the last surface sample of
/// each line is an edge point. What is fitted to the edge points is up to the class.
/// docs/openings.md tells the stages with pictures.
class LIBMFX_EXPORT Opening : public Feature {
 protected:
  /// What every opening has in its settings and in its request.
  static void SharedSettings(shared::Settings& settings);
  static void SharedKeys(shared::RequestKeys& keys);
  /// The directions of a pattern along the surface, unit: `along` a nominal direction and `across`.
  /// \return false with an error if normal and direction are parallel
  bool LayPattern(const VectorXYZW& normal, const VectorXYZW& direction, VectorXYZW& along,
                  VectorXYZW& across);
  /// The rules of an outline around the nominal.
  /// \param tilted error text of a surface that leans too far
  /// \param sizes of the opening: from the centre to the farthest sample that counts, and what
  ///   tells its edge points
  shared::OutlineRules RulesOf(const char* tilted, const shared::ScanLayout& layout,
                               const OutlineSizes& sizes) const;
  /// Takes the samples of the pass and finds lines, surface and edge points in them, for a fit to
  /// rest on.
  /// \return false, with an error but for a surface that is none
  bool FindOutline(const shared::OutlineRules& rules, PointCloud& scan, shared::Outline& outline);
  /// What makes the result doubtful, once nothing speaks against it.
  /// \param straight whether the sides are, and the centre is their mean
  void TellDoubts(const shared::OutlineRules& rules, const shared::Outline& outline,
                  const PointXYZW& measured, bool straight);

 private:
  void NoteLines(const shared::OutlineRules& rules, const shared::Outline& outline);
};

}  // namespace libmfx::features
