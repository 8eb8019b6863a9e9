// The smallest measurement host: it asks for a scan path, drives an instrument along it, and prints
// the result message. The instrument here is three lines of arithmetic that see a flat wall; a real
// host puts its own in place of MeasureWall and keeps the rest.

#include <libmfx/libmfx.h>

#include <cmath>
#include <iostream>
#include <memory>
#include <queue>
#include <string>
#include <vector>

namespace {

using libmfx::data_structures::Position;
using libmfx::data_structures::RawDataPoint;
using libmfx::features::Feature;

// Two lines across the wall, samples every 20 mm. Lengths are metres: the beam looks along +Z.
const char* const kRequest = R"({
  "$id": "wall-1",
  "$type": "ScanPathTarget",
  "PointSpacing": 0.02,
  "QualityThreshold": 50,
  "Feature": {
    "$type": "ScanPathFeature",
    "Name": "Wall",
    "Path": {"Segments": [[[-0.1, 0.0, 2.0], [0.1, 0.0, 2.0]], [[-0.1, 0.1, 2.0], [0.1, 0.1, 2.0]]]}
  }
})";

constexpr double kWallDistance = 2.0;  // metres, along +Z

/// What an instrument sees of the wall when its beam points to an azimuth and an elevation.
RawDataPoint MeasureWall(double azimuth, double elevation, int move) {
  const double range = kWallDistance / (std::cos(azimuth) * std::cos(elevation));
  return {azimuth, elevation, range, 100.0, move};
}

/// Walks from drive point to drive point. A move to a point with a spacing is sampled, and each
/// sample carries the index of the drive point that ends its move.
std::vector<RawDataPoint> Drive(std::queue<Position> path) {
  std::vector<RawDataPoint> samples;
  Position from;
  for (int move = 0; !path.empty(); ++move, path.pop()) {
    const Position to = path.front();
    if (to.point_spacing > 0.0) {
      const double length =
          to.range * std::hypot(to.azimuth - from.azimuth, to.elevation - from.elevation);
      const int steps = static_cast<int>(std::lround(length / to.point_spacing));
      for (int i = 1; i <= steps; ++i) {
        const double part = static_cast<double>(i) / steps;
        samples.push_back(MeasureWall(from.azimuth + part * (to.azimuth - from.azimuth),
                                      from.elevation + part * (to.elevation - from.elevation),
                                      move));
      }
    }
    from = to;
  }
  return samples;
}

}  // namespace

int main() {
  const std::unique_ptr<Feature> feature(Feature::Create(kRequest));
  feature->OutputDataBySegment(false);  // the samples are wanted in the result

  std::queue<Position> path = feature->GetDrivePoints(false);
  if (path.empty()) {
    std::cerr << "nothing to drive: " << feature->GetError() << '\n';
    return 2;
  }
  std::queue<Position> next;
  while (!feature->SetRawData(Drive(path), next)) path.swap(next);
  feature->AnalyzeFeature();

  std::cout << feature->GetResult() << '\n';
  return feature->GetIsSuccessful() ? 0 : 1;
}
