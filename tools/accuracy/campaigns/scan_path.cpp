// Free scan paths over a plate: how far the samples lie from the plate's surface.

#include <algorithm>
#include <cmath>

#include "tools/accuracy/campaign.h"

namespace libmfx::accuracy {
namespace {

/// Two crossing lines of 100 mm in the nominal plane, a sample every 2 mm.
Job Draw(const Condition& condition, sim::Rng& rng) {
  const Placement p = DrawPlacement(condition, rng);
  const Vector3d along = 0.05 * p.nominal_tangent;
  const Vector3d across = 0.05 * p.nominal_normal.cross(p.nominal_tangent);
  const auto line = [&](const Vector3d& half) {
    return json::array({ToJson(p.nominal_place - half), ToJson(p.nominal_place + half)});
  };
  Job job;
  job.request = {{"PointSpacing", 0.002},
                 {"QualityThreshold", 20.0},
                 {"Feature",
                  {{"$type", "ScanPathFeature"},
                   {"Path", {{"Segments", json::array({line(along), line(across)})}}}}}};
  job.scene = {{"part", {{"type", "plane"}, {"length", 0.3}, {"width", 0.3}}}, {"pose", p.Pose()}};
  return job;
}

/// The median tells of the bulk of the samples, the mean of a common offset. A stray sample, which
/// a free path passes on as it came, counts for little in either.
std::vector<double> Errors(const Result& r) {
  std::vector<double> heights;
  for (const Vector3d& p : r.Points()) {
    heights.push_back((p - r.True("center")).dot(r.True("normal")));
  }
  if (heights.empty()) return {NAN, NAN};
  std::sort(heights.begin(), heights.end());
  std::vector<double> distances;
  distances.reserve(heights.size());
  for (const double height : heights) distances.push_back(std::abs(height));
  std::sort(distances.begin(), distances.end());
  return {distances[distances.size() / 2], heights[heights.size() / 2]};
}

const Registered kScanPath({
    "scan_path",
    "Scan path",
    "Two crossing lines of 100 mm over a flat sheet, a sample every 2 mm, on the virtual "
    "instrument "
    "with its usual noise. The errors of a run are the median distance of its samples from the "
    "sheet, and the median of their signed heights: what is left when the noise has been averaged.",
    StandardConditions(),
    {{"distance", "µm", 1e6, 50e-6}, {"height", "µm", 1e6, 25e-6}},
    Draw,
    Errors,
    {"2 to 5 m, up to 20°", "2 to 5 m, 20° to 45°"},
});

}  // namespace
}  // namespace libmfx::accuracy
