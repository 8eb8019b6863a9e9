// The smallest measurement host: it takes a request (its own, or the file that it is given), drives
// an instrument wherever the library asks it to, and prints the result message. The instrument here
// is three lines of arithmetic that see a flat wall; a real host puts its own in place of
// MeasureWall and keeps the rest.
//
// Exit status: 0 measured, 1 not measured, 2 there is no request that could be.

#include <libmfx/features/request_text.h>
#include <libmfx/libmfx.h>

#include <cmath>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using libmfx::data_structures::Position;
using libmfx::data_structures::RawDataPoint;
using libmfx::measurement::Measurement;

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
std::vector<RawDataPoint> Drive(const std::vector<Position>& path) {
  std::vector<RawDataPoint> samples;
  Position from;
  int move = 0;
  for (const Position& to : path) {
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
    ++move;
  }
  return samples;
}

}  // namespace

int main(int argc, char** argv) {
  std::string request = kRequest;
  if (argc > 1) {
    std::ifstream file(argv[1], std::ios::binary);
    request.assign(std::istreambuf_iterator<char>(file), {});
    if (!file) {
      std::cerr << "cannot read the request " << argv[1] << '\n';
      return 2;
    }
  }
  // The library makes a feature of anything, one that measures nothing of what it cannot read.
  if (!libmfx::features::StrictJson(request)) {
    std::cerr << "the request is no JSON object\n";
    return 2;
  }

  Measurement measurement(request);
  while (!measurement.done()) measurement.take(Drive(measurement.drive()));
  std::cout << measurement.result() << '\n';
  if (measurement.successful()) return 0;
  std::cerr << "not measured: " << measurement.error() << '\n';
  return 1;
}
