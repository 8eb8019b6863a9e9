#include <algorithm>
#include <cmath>
#include <utility>

#include "features/shared/directions.h"
#include "features/shared/scan_layout.h"
#include "features/shared/segments.h"
#include "geometry/halving_cuts.h"
#include "libmfx/features/hole.h"

namespace libmfx::features {
namespace {

using geometry::CutsEnd;
using geometry::HalvingCuts;

/// The points of all lines side by side, with weights that fall towards the rim.
HalvingCuts Join(const std::vector<PointCloud>& lines, const shared::ScanLayout& layout) {
  geometry::PointRows points(shared::ColumnsOf(lines));
  std::vector<geometry::CutLine> cut_lines;
  for (const PointCloud& line : lines) {
    const bool outwards = line.cols() > 0 && layout.At(shared::SegmentOf(line, 0)).sense < 0;
    cut_lines.push_back({line.cols(), outwards});
    for (Eigen::Index j = 0; j < line.cols(); ++j) points.Add(&line.data()(0, j));
  }
  return {std::move(points).Take(), std::move(cut_lines)};
}

/// Sorts the columns of each line by their own weight, which goes along as a sixth row of those
/// kept.
void Sort(const std::vector<PointCloud>& lines, const Eigen::VectorXd& weights,
          std::vector<PointCloud>& inliers, std::vector<PointCloud>& outliers) {
  inliers.assign(lines.size(), PointCloud());
  outliers.assign(lines.size(), PointCloud());
  const double* own = weights.data();
  for (std::size_t s = 0; s < lines.size(); ++s) {
    const PointCloud& line = lines[s];
    const Eigen::Index kept = std::count_if(
        own, own + line.cols(), [](double weight) { return weight > geometry::kLeastWeight; });
    Eigen::MatrixXd inner(6, kept);
    Eigen::MatrixXd outer(line.rows(), line.cols() - kept);
    double* to_inner = inner.data();
    double* to_outer = outer.data();
    const double* from = line.data().data();
    for (Eigen::Index j = 0; j < line.cols(); ++j, ++own, from += line.rows()) {
      if (*own > geometry::kLeastWeight) {
        to_inner = std::copy_n(from, 5, to_inner);
        *to_inner++ = *own;
      } else {
        to_outer = std::copy_n(from, line.rows(), to_outer);
      }
    }
    inliers[s] = PointCloud(std::move(inner), line.embeddings());
    outliers[s] = PointCloud(std::move(outer), line.embeddings());
  }
}

}  // namespace

bool Hole::FitRobustPlane(const PointXYZW& center, double min_distance, double max_distance,
                          double first_sigma, double cut_sigma, double tolerance,
                          std::vector<PointCloud>& inliers, std::vector<PointCloud>& outliers) {
  HalvingCuts cuts = Join(_segments, Layout());
  cuts.WeighAround({.center = center.xyz(),
                    .min_distance = min_distance,
                    .max_distance = max_distance,
                    .own_distance = true},
                   first_sigma);
  if (cuts.points().rows() == 0 || cuts.weights().sum() < 3.0) {
    return Fail("Hole::FitRobustPlane(): insufficient weighting for a quality plane fit!");
  }
  geometry::Plane plane;
  const CutsEnd end = cuts.Run(cut_sigma, tolerance, plane);
  if (end == CutsEnd::kNoFirstFit) {
    return Fail("Hole::FitRobustPlane: Plane::LeastSquares() failed to fit weighted points!");
  }
  if (end == CutsEnd::kNoLaterFit) {
    return Fail("Hole::FitRobustPlane(): Plane::LeastSquares() failed to fit re-weighted points!");
  }
  _plane = plane;
  if (shared::UnitFromTo(_scan_origin, _plane.Point()).dot(_plane.Normal().normalized()) > 0.0) {
    _plane.Normal(-_plane.Normal());
  }
  Sort(_segments, cuts.weights(), inliers, outliers);
  // The angle is taken without sign, so the plane that fails is left turned the other way.
  const double angle = shared::AngleOfCosine(std::abs(_plane.Normal().dot(_input_normal)));
  if (!Passed("angle to the nominal normal", angle, _normal_reject_angle,
              !(angle > _normal_reject_angle))) {
    _plane.Normal(-_plane.Normal());
    return Fail(
        "Hole::FitRobustPlane(): The normal vector of the fit plane exceeds the angle to nominal "
        "rejection threshold.");
  }
  // Points that are all equally far from their plane are all cut, and leave none to fit.
  return _plane.IsValid() || Fail("Hole::FitRobustPlane(): The fit plane is degenerate.");
}

}  // namespace libmfx::features
