#include "sim/parts/thread.h"

#include <cmath>

namespace libmfx::sim {

namespace {

constexpr double kCrestEnd = 1.0 / 16.0;  // half of the flat on the major diameter, in pitches
constexpr double kRootStart = 6.0 / 16.0;
constexpr double kFlankSlope = 1.73205080756887729;  // radial per axial: tan 60 degrees

/// Distance in pitches from the middle of the nearest crest, with the sign of its direction.
double FromCrest(double turns) { return turns - std::floor(turns + 0.5); }

}  // namespace

double Thread::RadiusAt(double turns) const {
  const double u = std::fabs(FromCrest(turns));
  if (u <= kCrestEnd) return major_radius;
  if (u >= kRootStart) return MinorRadius();
  return major_radius - kFlankSlope * (u - kCrestEnd) * pitch;
}

double Thread::SlopeAt(double turns) const {
  const double from_crest = FromCrest(turns);
  const double u = std::fabs(from_crest);
  if (u <= kCrestEnd || u >= kRootStart) return 0.0;
  return from_crest > 0.0 ? -kFlankSlope : kFlankSlope;
}

std::optional<Thread> Thread::Metric(std::string_view name) {
  struct Row {
    std::string_view name;
    double diameter;  ///< millimetres
    double pitch;     ///< millimetres
  };
  constexpr Row kCoarse[] = {{"M4", 4, 0.7},  {"M5", 5, 0.8},   {"M6", 6, 1},      {"M7", 7, 1},
                             {"M8", 8, 1.25}, {"M10", 10, 1.5}, {"M12", 12, 1.75}, {"M14", 14, 2},
                             {"M16", 16, 2},  {"M18", 18, 2.5}, {"M20", 20, 2.5}};
  for (const Row& row : kCoarse) {
    if (row.name == name) return Thread{0.0005 * row.diameter, 0.001 * row.pitch};
  }
  return std::nullopt;
}

}  // namespace libmfx::sim
