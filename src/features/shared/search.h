#pragma once

#include <string>
#include <vector>

#include "libmfx/data_structures/point.h"
#include "libmfx/data_structures/records.h"

/// \file
/// The search: the surface around the opening is a dense plane of points, and the opening a gap in
/// it. Lengths are metres.

namespace libmfx::features::shared {

/// How a class's messages name its nominal; the others are the same for all.
struct SearchWords {
  const char* original_center = "Original _input_center_pt: ";
  const char* original_normal = "Original _input_normal: ";
  const char* updated_center = "Updated _input_center_pt: ";
  const char* updated_normal = "Updated _input_normal: ";
};

/// How the openings with an outline of crossing lines name their nominal.
inline constexpr SearchWords kOpeningSearchWords{.original_center = "Original _input_center: ",
                                                 .original_normal = "Original _input_normal: ",
                                                 .updated_center = "Updated _input_center: ",
                                                 .updated_normal = "Updated _input_normal: "};

/// What tells one feature's search from another's.
struct SearchRules {
  double boundary_limit;     ///< an edge of the mesh strictly longer than this spans the opening
  double max_distance;       ///< from the nominal centre to the farthest sample that counts
  double quality_threshold;  ///< a sample counts strictly above it
  double point_spacing;      ///< of the search; the surface is found to twice this
  data_structures::PointXYZW scan_origin;
  SearchWords words = {};
  /// The normal that is left points away from the scan origin, as the axis of a bore does; the
  /// others face it.
  bool points_away = false;
};

/// Moves a nominal to the opening that the samples of a search pattern show: its centre to the
/// middle of the nearest gap in the surface, its normal to the surface's. What is not found stays
/// as it was: without a surface both, without a gap the centre. Progress goes to standard output.
/// \return empty, or the words of a mesh that failed; the nominal is then as it was
std::string MoveNominal(const std::vector<data_structures::RawDataPoint>& samples,
                        const SearchRules& rules, data_structures::PointXYZW& center,
                        data_structures::VectorXYZW& normal);

}  // namespace libmfx::features::shared
