#include "toy_instrument.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace fuzz {

std::uint64_t ToyInstrument::Next() {
  std::uint64_t z = (_state += 0x9e3779b97f4a7c15u);
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
  return z ^ (z >> 31);
}

double ToyInstrument::Range(double azimuth, double elevation) const {
  const double x = -std::sin(azimuth) * std::cos(elevation);
  const double y = std::sin(elevation);
  const double z = std::cos(azimuth) * std::cos(elevation);
  const double to_plate = 2.0 / std::max(z, 0.05);
  const double radius = std::hypot(x * to_plate, y * to_plate);
  const double along = 0.1 * x + 2.0 * z;  // of the ball's centre on the beam
  const double off = 0.1 * 0.1 + 4.0 - along * along;
  const double inside = 0.0127 * 0.0127 - off;
  if (inside > 0.0) return along - std::sqrt(inside);
  return radius < 0.006 ? 2.01 / std::max(z, 0.05) : to_plate;
}

void ToyInstrument::Spoil(RawDataPoint& sample) {
  constexpr double kWrong[] = {std::numeric_limits<double>::quiet_NaN(),
                               std::numeric_limits<double>::infinity(),
                               -std::numeric_limits<double>::infinity()};
  const std::uint64_t draw = Next();
  if (_damage & kSamePoint) sample = {0.01, 0.02, 2.0, sample.quality, sample.status};
  if (_damage & kNoise) sample.range += (Uniform() - 0.5) * 0.02;
  if ((_damage & kHugeRange) && draw % 5 == 0) sample.range = 1e300 * Uniform();
  if ((_damage & kLowQuality) && draw % 3 == 0) sample.quality = 1.0;
  if ((_damage & kWrongMove) && draw % 7 == 0) sample.status = static_cast<std::int32_t>(draw >> 8);
  if ((_damage & kNotFinite) && draw % 4 == 0) {
    double* const fields[] = {&sample.azimuth, &sample.elevation, &sample.range, &sample.quality};
    *fields[draw >> 8 & 3] = kWrong[(draw >> 16) % 3];
  }
}

std::vector<RawDataPoint> ToyInstrument::Drive(std::queue<Position> path) {
  std::vector<RawDataPoint> samples;
  if (_damage & kMissing) return samples;
  Position from;
  for (int move = 0; !path.empty() && move < kMostPoints; ++move, path.pop()) {
    const Position to = path.front();
    const double length =
        std::hypot(to.azimuth - from.azimuth, to.elevation - from.elevation) * to.range;
    const double asked = to.point_spacing > 0.0 ? length / to.point_spacing : 0.0;
    const int steps = asked > 0.0 ? static_cast<int>(std::min(asked, 1.0 * kMostPerMove)) + 1 : 0;
    for (int i = 1; i <= steps && samples.size() < kMostSamples; ++i) {
      const double part = static_cast<double>(i) / steps;
      RawDataPoint sample;
      sample.azimuth = from.azimuth + part * (to.azimuth - from.azimuth);
      sample.elevation = from.elevation + part * (to.elevation - from.elevation);
      sample.range = Range(sample.azimuth, sample.elevation);
      sample.quality = 80.0;
      sample.status = move;
      Spoil(sample);
      samples.push_back(sample);
    }
    from = to;
  }
  return samples;
}

}  // namespace fuzz
