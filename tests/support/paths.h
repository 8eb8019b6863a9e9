#pragma once

#include <queue>
#include <vector>

#include "host/conversation.h"

namespace libmfx::test {

using host::PointsOf;

/// A queue of the points, first in front.
inline std::queue<features::Position> QueueOf(const std::vector<features::Position>& points) {
  std::queue<features::Position> queue;
  for (const features::Position& p : points) queue.push(p);
  return queue;
}

/// The cartesian place of a drive point or of a sample.
features::PointXYZW PlaceOf(const auto& p) {
  return features::AzElRange(p.azimuth, p.elevation, p.range).ToPoint();
}

/// The cartesian places of the points of a queue, front first.
inline std::vector<features::PointXYZW> PlacesOf(const std::queue<features::Position>& queue) {
  std::vector<features::PointXYZW> places;
  for (const features::Position& p : PointsOf(queue)) places.push_back(PlaceOf(p));
  return places;
}

}  // namespace libmfx::test
