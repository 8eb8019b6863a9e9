#include "sim/disturbances/clock.h"

namespace libmfx::sim {

void Clock::Begin(const std::vector<data_structures::Position>& path) {
  _samples = 0;
  _jumps.clear();
  _jumps.reserve(path.size());
  std::int64_t jumps = 0;
  for (const auto& point : path) {
    if (point.point_spacing == 0.0) ++jumps;
    _jumps.push_back(jumps);
  }
}

double Clock::Tick(std::int32_t index) {
  const double now = Now(_jumps[static_cast<std::size_t>(index)]);
  ++_samples;
  return now;
}

void Clock::End() {
  _start = Now(_jumps.empty() ? 0 : _jumps.back());
  _samples = 0;
  _jumps.clear();
}

}  // namespace libmfx::sim
