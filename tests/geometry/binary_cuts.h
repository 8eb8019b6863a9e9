#pragma once

#include <vector>

#include "libmfx/geometry/plane.h"

namespace libmfx::geometry {

using Bins = std::vector<std::vector<data_structures::PointCloud>>;

/// The arguments of the iterative cuts beside their lines.
struct CutArguments {
  data_structures::PointXYZW center;
  double min_quality = 50.0;
  double min_distance = 0.0;
  double max_distance = 1.0;
  double first_sigma = 1.0;
  double cut_sigma = 1.0;
  double tolerance = 1e-4;
  bool keep_neighbours = false;
};

inline bool Cut(Plane& plane, const Bins& bins, Bins& selected, const CutArguments& a) {
  return plane.IterativeBinaryCuts(bins, a.center, selected, a.min_quality, a.min_distance,
                                   a.max_distance, a.first_sigma, a.cut_sigma, a.tolerance,
                                   a.keep_neighbours);
}

}  // namespace libmfx::geometry
