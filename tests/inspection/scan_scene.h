#pragma once

#include <Eigen/Core>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "host/conversation.h"
#include "host/recording.h"
#include "host/scene_driver.h"
#include "inspection/finder.h"
#include "sim/scenario.h"

/// \file
/// Scenes that the tests of the search look at.

namespace libmfx::test {

using Samples = std::vector<host::RawDataPoint>;

/// Whether a sample is there for each point of the path, with NaN for what is lost.
enum class Lost { kDropped, kNan };

/// The samples of a window, measured as a host does it.
inline Samples ScanOf(const inspection::ScanWindow& window, sim::Scene scene, std::uint64_t seed,
                      Lost lost = Lost::kDropped) {
  if (lost == Lost::kNan) scene.noise.lost = sim::LostReturn::kNan;
  host::SceneDriver driver(scene, seed);
  Samples samples;
  host::ObservedDriver observed(driver, [&](const host::Exchange& each) {
    samples.insert(samples.end(), each.samples.begin(), each.samples.end());
  });
  for (const std::string& request : inspection::RequestsOf(window, "search")) {
    host::Measure(request, observed, {.max_passes = 0, .scan_data = host::ScanData::kNone});
  }
  return samples;
}

/// What one instrument sees of several scenes: the nearest of each direction.
inline Samples Nearest(const std::vector<Samples>& scans) {
  Samples nearest = scans.at(0);
  for (const Samples& scan : scans) {
    if (scan.size() != nearest.size()) throw std::logic_error("scans of different paths");
    for (std::size_t i = 0; i < scan.size(); ++i) {
      if (!std::isfinite(nearest[i].range) || scan[i].range < nearest[i].range) {
        nearest[i] = scan[i];
      }
    }
  }
  return nearest;
}

/// A ball on its stem.
inline sim::parts::PartPtr BallOf(double radius) {
  return sim::parts::MakeBall(
      {.radius = radius, .stem_radius = 0.3 * radius, .stem_length = 4.0 * radius});
}

/// A ball with its stem away from the instrument and a bit aside, in front of a wall.
inline sim::Scene BallScene(const Eigen::Vector3d& center, double radius, double behind,
                            double tilt = 0.5) {
  return sim::MakeScene(BallOf(radius), sim::TiltedPose(center, tilt, 0.4), behind);
}

}  // namespace libmfx::test
