#include "features/shared/surface_fit.h"

#include <utility>

#include "features/shared/directions.h"
#include "geometry/halving_cuts.h"

namespace libmfx::features::shared {

using data_structures::PointCloud;
using geometry::Plane;

namespace {

/// The samples of all lines side by side, and their qualities.
struct Joined {
  geometry::HalvingCuts cuts;
  Eigen::VectorXd qualities;
};

Joined Join(const PointCloud& scan, const SideLines& sides) {
  std::vector<geometry::CutLine> cut_lines;
  Eigen::Index total = 0;
  for (const std::vector<ScanLine>& side : sides) {
    for (const ScanLine& line : side) {
      cut_lines.push_back({static_cast<Eigen::Index>(line.columns.size())});
      total += cut_lines.back().columns;
    }
  }
  geometry::PointRows points(total);
  Eigen::VectorXd qualities(total);
  double* quality = qualities.data();
  for (const std::vector<ScanLine>& side : sides) {
    for (const ScanLine& line : side) {
      for (const Eigen::Index column : line.columns) {
        const double* const sample = &scan.data()(0, column);
        points.Add(sample);
        *quality++ = sample[3];
      }
    }
  }
  return {{std::move(points).Take(), std::move(cut_lines)}, std::move(qualities)};
}

/// The samples in use, and those beside them.
SurfaceSamples Collect(const PointCloud& scan, const SideLines& sides,
                       const geometry::HalvingCuts& cuts) {
  SurfaceSamples samples;
  samples.marks.resize(static_cast<std::size_t>(cuts.weights().size()));
  const double* weights = cuts.weights().data();
  char* mark = samples.marks.data();
  for (const std::vector<ScanLine>& side : sides) {
    std::vector<PointCloud>& clouds = samples.lines.emplace_back();
    clouds.reserve(side.size());
    for (const ScanLine& line : side) {
      const auto columns = static_cast<Eigen::Index>(line.columns.size());
      Eigen::MatrixXd kept(3, geometry::MarkInUse(weights, columns, true, mark));
      double* to = kept.data();
      for (const Eigen::Index column : line.columns) {
        if (*mark++ == 0) continue;
        const double* const sample = &scan.data()(0, column);
        for (int row = 0; row < 3; ++row) *to++ = sample[row];
      }
      clouds.emplace_back(std::move(kept));
      weights += columns;
    }
  }
  return samples;
}

}  // namespace

SurfaceFit FitSurface(const PointCloud& scan, const SideLines& lines, const SurfaceRules& rules,
                      Plane& plane, SurfaceSamples& samples) {
  constexpr double kFirstSigma = 0.25;
  constexpr double kCutSigma = 1.0;
  Joined joined = Join(scan, lines);
  geometry::HalvingCuts& cuts = joined.cuts;
  cuts.WeighAround(
      {rules.center.xyz(), 0.0, rules.max_distance, &joined.qualities, rules.quality_threshold},
      kFirstSigma);
  Plane fitted;
  if (cuts.Run(kCutSigma, 3.0 * rules.point_spacing, fitted) != geometry::CutsEnd::kFound) {
    return SurfaceFit::kNoPlane;
  }
  samples = Collect(scan, lines, cuts);
  plane = fitted;
  if (plane.Normal().dot(rules.normal) < 0.0) plane.Normal(-plane.Normal());
  const double angle = AngleOfCosine(plane.Normal().dot(rules.normal));
  return angle > rules.reject_angle ? SurfaceFit::kTilted : SurfaceFit::kFound;
}

}  // namespace libmfx::features::shared
