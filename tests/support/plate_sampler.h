#pragma once

#include <cmath>
#include <functional>
#include <queue>
#include <vector>

#include "libmfx/data_structures/records.h"

namespace libmfx::test {

/// Samples of an ideal flat plate with an opening: no noise, no footprint, nothing in the opening.
/// Walks straight from drive point to drive point and takes a sample every `point_spacing`.
/// \param is_open whether a point of the plate lies in the opening
inline std::vector<data_structures::RawDataPoint> SamplePlate(
    std::queue<data_structures::Position> path,
    const std::function<bool(const data_structures::PointXYZW&)>& is_open) {
  using namespace data_structures;
  std::vector<RawDataPoint> samples;
  PointXYZW previous;
  for (int index = 0; !path.empty(); path.pop(), ++index) {
    const Position& p = path.front();
    const PointXYZW target = AzElRange(p.azimuth, p.elevation, p.range).ToPoint();
    if (index > 0 && p.point_spacing > 0.0) {
      const VectorXYZW move = target - previous;
      const int steps = static_cast<int>(move.norm() / p.point_spacing);
      for (int i = 1; i <= steps; ++i) {
        const PointXYZW at = previous + move.normalized() * (i * p.point_spacing);
        if (is_open(at)) continue;
        const AzElRange aer(at);
        samples.emplace_back(aer.azimuth, aer.elevation, aer.range, 80.0, index);
      }
    }
    previous = target;
  }
  return samples;
}

}  // namespace libmfx::test
