#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/driver.h"
#include "sim/path_walk.h"

namespace libmfx::test {

/// What comes back from a beam: its range in metres, or nothing where that is not a positive
/// number.
using Echo = std::function<double(const sim::Aim&)>;

/// An instrument without noise or footprint, in front of what a test describes by one function.
class IdealDriver final : public host::Driver {
 public:
  explicit IdealDriver(Echo echo, double quality = 80.0)
      : _echo(std::move(echo)), _quality(quality) {}

  std::string Name() const override { return "ideal"; }
  std::vector<host::RawDataPoint> Drive(const std::vector<host::Position>& points,
                                        const std::string& = "") override {
    std::vector<host::RawDataPoint> samples;
    sim::PathWalk(points).Visit([&](const sim::Aim& aim) {
      const double range = _echo(aim);
      if (range > 0.0) {
        samples.emplace_back(aim.azimuth, aim.elevation, range, _quality, aim.status);
      }
    });
    return samples;
  }

 private:
  Echo _echo;
  double _quality;  ///< of every sample
};

}  // namespace libmfx::test
