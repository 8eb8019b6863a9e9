#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "column_sums.h"
#include "libmfx/geometry/plane.h"
#include "line_weights.h"

namespace libmfx::geometry {
namespace {

using data_structures::EMBEDDING_XYZ;
using data_structures::PointCloud;
using data_structures::PointXYZW;
using Eigen::Index;
using Bins = std::vector<std::vector<PointCloud>>;

constexpr int kMostCuts = 10;
constexpr double kCutFraction = 0.5;  // of the worst residual; a sample beyond it is cut away
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
PointCloud Join(Bins& bins) {
  Index total = 0;
  for (auto& bin : bins) {
    for (PointCloud& line : bin) {
      if (line.cols() > 0) line.Convert(EMBEDDING_XYZ);
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
  return PointCloud(std::move(joined), {{EMBEDDING_XYZ, {0}}});
}

struct WantedSamples {
  PointXYZW center;
  double min_quality;
  double min_distance;
  double max_distance;
};

/// First weights: 1 for a candidate, then each line's window. The place only advances past a line
/// that has a candidate.
Eigen::VectorXd FirstWeights(const Bins& bins, const Eigen::MatrixXd& joined,
                             const WantedSamples& wanted, double sigma) {
  Eigen::VectorXd weights = Eigen::VectorXd::Zero(joined.cols());
  const Eigen::Vector3d center = wanted.center.xyz();
  Index base = 0;
  for (const auto& bin : bins) {
    for (const PointCloud& line : bin) {
      for (Index i = 0; i < line.cols(); ++i) {
        const double distance = (center - joined.col(base + i)).norm();
        if (wanted.min_distance <= distance && distance <= wanted.max_distance &&
            wanted.min_quality < line.data()(kQualityRow, i)) {
          weights[base + i] = 1.0;
        }
      }
      if (ApplyGaussianWindow(weights.segment(base, line.cols()), sigma) > 0) base += line.cols();
    }
  }
  return weights;
}

/// The window of each line over weights that a cut has set to 0 or 1.
void Reweigh(const Bins& bins, double sigma, Eigen::VectorXd& weights) {
  Index base = 0;
  for (const auto& bin : bins) {
    for (const PointCloud& line : bin) {
      if (ApplyGaussianWindow(weights.segment(base, line.cols()), sigma) > 0) base += line.cols();
    }
  }
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
  PointCloud joined = Join(bins);
  Eigen::VectorXd weights = FirstWeights(
      bins, joined.data(), {center, min_quality, min_distance, max_distance}, first_sigma);
  Plane plane;
  if (!plane.LeastSquares(joined, weights)) return false;
  Eigen::VectorXd residuals(joined.cols());
  for (int cut = 0; cut < kMostCuts; ++cut) {
    // Nothing leads back from a plane that is not valid: no sample has a distance to it.
    if (!plane.IsValid()) return false;
    const double worst = FindResiduals(TopRows(joined.data()), plane.Point().xyz(),
                                       plane.Normal().xyz(), weights, residuals);
    if (worst < tolerance) break;
    SetWhereAtMost(residuals, worst * kCutFraction, weights);
    Reweigh(bins, cut_sigma, weights);
    if (!plane.LeastSquares(joined, weights)) return false;
  }
  if (!plane.IsValid()) return false;
  joined = PointCloud();
  residuals.resize(0);
  selected = Collect(bins, weights, keep_neighbours);
  *this = plane;
  return true;
}

}  // namespace libmfx::geometry
