#include <algorithm>
#include <utility>
#include <vector>

#include "halving_cuts.h"
#include "libmfx/geometry/plane.h"

namespace libmfx::geometry {
namespace {

using data_structures::EMBEDDING_XYZ;
using data_structures::PointCloud;
using data_structures::PointXYZW;
using Eigen::Index;
using Bins = std::vector<std::vector<PointCloud>>;

constexpr Index kQualityRow = 3;

bool HaveQualityRow(const Bins& bins) {
  for (const auto& bin : bins) {
    for (const PointCloud& line : bin) {
      if (line.cols() > 0 && line.rows() <= kQualityRow) return false;
    }
  }
  return true;
}

/// Converts all lines to cartesian coordinates in place, and copies x, y, z of all samples, line by
/// line, into one cloud. The rows beneath stay where they are: no pass over the samples needs them.
HalvingCuts Join(Bins& bins) {
  std::vector<CutLine> lines;
  Index total = 0;
  for (auto& bin : bins) {
    for (PointCloud& line : bin) {
      if (line.cols() > 0) line.Convert(EMBEDDING_XYZ);
      lines.push_back({line.cols()});
      total += line.cols();
    }
  }
  Eigen::MatrixXd joined(3, total);
  Index base = 0;
  for (const auto& bin : bins) {
    for (const PointCloud& line : bin) {
      if (line.cols() > 0) joined.middleCols(base, line.cols()) = line.data().topRows(3);
      base += line.cols();
    }
  }
  return {PointCloud(std::move(joined), {{EMBEDDING_XYZ, {0}}}), std::move(lines)};
}

Eigen::VectorXd Qualities(const Bins& bins, Index total) {
  Eigen::VectorXd qualities(total);
  Index base = 0;
  for (const auto& bin : bins) {
    for (const PointCloud& line : bin) {
      if (line.cols() > 0) qualities.segment(base, line.cols()) = line.row(kQualityRow);
      base += line.cols();
    }
  }
  return qualities;
}

/// The samples kept of one line, with their weights as one row more.
PointCloud KeptSamples(const PointCloud& line, const Eigen::Ref<const Eigen::VectorXd>& weights,
                       bool keep_neighbours) {
  const Index last = line.cols() - 1;
  const auto has_weight = [&](Index i) { return weights[i] > kLeastWeight; };
  const auto kept = [&](Index i) {
    return has_weight(i) || (keep_neighbours && (has_weight(std::min(i + 1, last)) ||
                                                 has_weight(std::max<Index>(i - 1, 0))));
  };
  Index count = 0;
  for (Index i = 0; i <= last; ++i) count += kept(i) ? 1 : 0;
  Eigen::MatrixXd data(line.rows() + 1, count);
  Index k = 0;
  for (Index i = 0; i <= last; ++i) {
    if (!kept(i)) continue;
    data.col(k).head(line.rows()) = line.data().col(i);
    data(line.rows(), k++) = weights[i];
  }
  return PointCloud(std::move(data), line.embeddings());
}

/// The kept samples of all lines, each read at its own place. Lines are released on the way, so
/// that input and result never stand in memory in full beside each other.
Bins Collect(Bins& bins, const Eigen::VectorXd& weights, bool keep_neighbours) {
  Bins selected(bins.size());
  Index base = 0;
  for (std::size_t b = 0; b < bins.size(); ++b) {
    for (PointCloud& line : bins[b]) {
      const Index columns = line.cols();
      selected[b].push_back(KeptSamples(line, weights.segment(base, columns), keep_neighbours));
      line = PointCloud();
      base += columns;
    }
  }
  return selected;
}

}  // namespace

bool Plane::IterativeBinaryCuts(Bins bins, const PointXYZW& center, Bins& selected,
                                double min_quality, double min_distance, double max_distance,
                                double first_sigma, double cut_sigma, double tolerance,
                                bool keep_neighbours) {
  if (!HaveQualityRow(bins)) return false;
  Eigen::VectorXd weights;
  Plane plane;
  {
    HalvingCuts cuts = Join(bins);
    const Eigen::MatrixXd& points = cuts.points().data();
    const Eigen::VectorXd qualities = Qualities(bins, points.cols());
    // The distance is that of the column that gets the weight, the quality the sample's own.
    cuts.WeighCandidates(
        [&](Index own, Index place) {
          const double distance = (center.xyz() - points.col(place).head<3>()).norm();
          return min_distance <= distance && distance <= max_distance &&
                 min_quality < qualities[own];
        },
        first_sigma);
    if (cuts.Run(cut_sigma, tolerance, plane) != CutsEnd::kFound) return false;
    weights = std::move(cuts).TakeWeights();
  }
  selected = Collect(bins, weights, keep_neighbours);
  *this = plane;
  return true;
}

}  // namespace libmfx::geometry
