#include "features/hole/bore.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "features/shared/beam.h"

namespace libmfx::features {
namespace {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::VectorXYZW;
using shared::DepthBelow;
using shared::PierceOf;

/// How close to the bore's circle a foot has to be, in point spacings. The rim fit errs by less.
constexpr double kReach = 5.0;
constexpr std::size_t kFewestSamples = 3;

/// A sample of a line as seen from the bore.
struct Sample {
  Eigen::Index column;
  double depth;     ///< below the surface
  double distance;  ///< of its foot from the bore's centre
};

using Run = std::vector<Sample>;

/// \param depth of the column's sample `p`
Sample SampleAt(Eigen::Index column, const PointXYZW& p, double depth, const Bore& bore) {
  return {column, depth, (bore.surface.Project(p) - bore.center).norm()};
}

/// The sample of a column, if it lies on the wall.
std::optional<Sample> SampleOnWall(const PointCloud& line, Eigen::Index column, const Bore& bore) {
  const PointXYZW p = line.point(column);
  const double depth = DepthBelow(bore.surface, p);
  const double top = bore.chamfer_depth > 0.0 ? bore.chamfer_depth + bore.point_spacing : 0.0;
  if (depth <= top || depth > bore.chamfer_depth + bore.radius) return std::nullopt;
  const Sample sample = SampleAt(column, p, depth, bore);
  if (std::abs(sample.distance - bore.radius) >= kReach * bore.point_spacing) return std::nullopt;
  const VectorXYZW pierce = PierceOf(p, bore.scan_origin, bore.surface) - bore.center;
  if (!(pierce.dot(bore.far_side) > 0.0)) return std::nullopt;
  return sample;
}

/// Leaves the samples whose feet lie within a point spacing of the run's median: the corner of a
/// floor and mixed echoes drop out.
void Trim(Run& run, double point_spacing) {
  if (run.empty()) return;
  std::vector<double> distances(run.size());
  std::transform(run.begin(), run.end(), distances.begin(),
                 [](const Sample& s) { return s.distance; });
  const auto middle = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() / 2);
  std::nth_element(distances.begin(), middle, distances.end());
  std::erase_if(
      run, [&](const Sample& s) { return !(std::abs(s.distance - *middle) <= point_spacing); });
}

/// Whether the run leads down rather than across.
bool LeadsDown(const Run& run) {
  const auto [shallow, deep] = std::minmax_element(
      run.begin(), run.end(), [](const Sample& a, const Sample& b) { return a.depth < b.depth; });
  const auto [near, far] =
      std::minmax_element(run.begin(), run.end(),
                          [](const Sample& a, const Sample& b) { return a.distance < b.distance; });
  return deep->depth - shallow->depth > far->distance - near->distance;
}

/// The first of the longest runs of neighbouring samples on the wall.
Run LongestRun(const PointCloud& line, const Bore& bore) {
  Run on_wall;  // of all runs, one after the other
  std::size_t first = 0;
  std::size_t longest_first = 0;
  std::size_t longest = 0;
  const auto end_run = [&] {
    if (on_wall.size() - first > longest) {
      longest = on_wall.size() - first;
      longest_first = first;
    }
    first = on_wall.size();
  };
  for (Eigen::Index j = 0; j < line.cols(); ++j) {
    if (const auto sample = SampleOnWall(line, j, bore)) {
      if (on_wall.empty()) on_wall.reserve(static_cast<std::size_t>(line.cols() - j));
      on_wall.push_back(*sample);
    } else {
      end_run();
    }
  }
  end_run();
  const auto begin = on_wall.begin() + static_cast<std::ptrdiff_t>(longest_first);
  on_wall.erase(begin + static_cast<std::ptrdiff_t>(longest), on_wall.end());
  on_wall.erase(on_wall.begin(), begin);
  return on_wall;
}

/// The foot of a column, with its quality and segment number.
Eigen::Matrix<double, 5, 1> FootOf(const PointCloud& line, Eigen::Index column, const Bore& bore) {
  Eigen::Matrix<double, 5, 1> foot = line.col(column).head<5>();
  foot.head<3>() = bore.surface.Project(line.point(column)).xyz();
  return foot;
}

}  // namespace

std::optional<WallRun> FindWall(const PointCloud& line, const Bore& bore) {
  Run run = LongestRun(line, bore);
  Trim(run, bore.point_spacing);
  if (run.size() < kFewestSamples || !LeadsDown(run)) return std::nullopt;
  const auto samples = static_cast<Eigen::Index>(run.size());
  const Eigen::Index bins = std::min(samples, kFeetPerLine);
  Eigen::MatrixXd feet = Eigen::MatrixXd::Zero(5, bins);
  std::array<double, kFeetPerLine> counts{};
  WallRun wall{{}, std::numeric_limits<double>::max(), 0.0};
  wall.columns.reserve(run.size());
  for (Eigen::Index k = 0; k < samples; ++k) {
    const Sample& sample = run[static_cast<std::size_t>(k)];
    const Eigen::Index bin = k * bins / samples;
    feet.col(bin) += FootOf(line, sample.column, bore);
    counts[static_cast<std::size_t>(bin)] += 1.0;
    wall.columns.push_back(sample.column);
    wall.shallowest = std::min(wall.shallowest, sample.depth);
    wall.deepest = std::max(wall.deepest, sample.depth);
  }
  for (Eigen::Index bin = 0; bin < bins; ++bin) {
    feet.col(bin) /= counts[static_cast<std::size_t>(bin)];
  }
  feet.row(4).setConstant(line.data()(4, run.front().column));
  wall.feet = PointCloud(std::move(feet), line.embeddings());
  return wall;
}

std::optional<PointCloud> FindMouth(const PointCloud& line, const Bore& bore) {
  Eigen::Index lowest = -1;
  double nearest = bore.radius + kReach * bore.point_spacing;
  for (Eigen::Index j = 0; j < line.cols(); ++j) {
    const PointXYZW p = line.point(j);
    const Sample sample = SampleAt(j, p, DepthBelow(bore.surface, p), bore);
    if (sample.distance >= nearest) continue;
    if (sample.depth <= 0.0 || sample.depth > bore.chamfer_depth + bore.point_spacing) continue;
    // On the cone, which narrows from the rim to the bore over the chamfer's depth.
    const double expected =
        bore.radius + bore.chamfer_offset * (1.0 - sample.depth / bore.chamfer_depth);
    if (std::abs(sample.distance - expected) > 2.0 * bore.point_spacing) continue;
    nearest = sample.distance;
    lowest = j;
  }
  if (lowest < 0) return std::nullopt;
  return PointCloud(Eigen::MatrixXd(FootOf(line, lowest, bore)), line.embeddings());
}

double SpanOf(const std::vector<PointCloud>& feet, const Bore& bore) {
  const VectorXYZW ahead = bore.far_side.normalized();
  const VectorXYZW aside = bore.surface.Normal().cross(ahead);
  double least = std::numeric_limits<double>::max();
  double most = std::numeric_limits<double>::lowest();
  for (const PointCloud& cloud : feet) {
    for (Eigen::Index j = 0; j < cloud.cols(); ++j) {
      const VectorXYZW v = cloud.point(j) - bore.center;
      const double angle = std::atan2(v.dot(aside), v.dot(ahead));
      least = std::min(least, angle);
      most = std::max(most, angle);
    }
  }
  return std::max(0.0, most - least);
}

}  // namespace libmfx::features
