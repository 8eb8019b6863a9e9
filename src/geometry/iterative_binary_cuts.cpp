#include <cstddef>
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

/// All samples, line by line. The rows beneath stay where they are: no pass needs them.
struct Joined {
  HalvingCuts cuts;
  Eigen::VectorXd qualities;
};

/// Converts all lines to cartesian coordinates in place, and copies what the cuts need.
Joined Join(Bins& bins) {
  std::vector<CutLine> lines;
  Index total = 0;
  for (auto& bin : bins) {
    for (PointCloud& line : bin) {
      if (line.cols() > 0) line.Convert(EMBEDDING_XYZ);
      lines.push_back({line.cols()});
      total += line.cols();
    }
  }
  PointRows points(total);
  Eigen::VectorXd qualities(total);
  double* quality = qualities.data();
  for (const auto& bin : bins) {
    for (const PointCloud& line : bin) {
      const double* from = line.data().data();
      const double* const end = from + line.data().size();
      for (; from != end; from += line.rows()) {
        points.Add(from);
        *quality++ = from[kQualityRow];
      }
    }
  }
  return {{std::move(points).Take(), std::move(lines)}, std::move(qualities)};
}

/// The marked samples of a line, of at least four rows if there are any, with their weights as one
/// row more. The line is left empty.
PointCloud TakeKept(PointCloud& line, const double* weights, const std::vector<char>& kept,
                    Index count) {
  const Index rows = line.rows();
  Eigen::MatrixXd data(rows + 1, count);
  const double* from = line.data().data();
  double* to = data.data();
  for (std::size_t i = 0; i < kept.size(); ++i, from += rows) {
    if (kept[i] == 0) continue;
    Eigen::Vector4d::Map(to) = Eigen::Vector4d::Map(from);
    for (Index row = 4; row < rows; ++row) to[row] = from[row];
    to[rows] = weights[i];
    to += rows + 1;
  }
  PointCloud selected(std::move(data), std::move(line.embeddings()));
  line = PointCloud();
  return selected;
}

/// The kept samples of all lines, each read at its own place. Lines are released on the way, so
/// that input and result never stand in memory in full beside each other.
Bins Collect(Bins& bins, const Eigen::VectorXd& weights, bool keep_neighbours) {
  Bins selected(bins.size());
  std::vector<char> kept;
  const double* own = weights.data();
  for (std::size_t b = 0; b < bins.size(); ++b) {
    selected[b].reserve(bins[b].size());
    for (PointCloud& line : bins[b]) {
      const Index columns = line.cols();
      kept.resize(static_cast<std::size_t>(columns));
      const Index count = MarkInUse(own, columns, keep_neighbours, kept.data());
      selected[b].push_back(TakeKept(line, own, kept, count));
      own += columns;
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
    Joined joined = Join(bins);
    HalvingCuts& cuts = joined.cuts;
    cuts.WeighAround({center.xyz(), min_distance, max_distance, &joined.qualities, min_quality},
                     first_sigma);
    if (cuts.Run(cut_sigma, tolerance, plane) != CutsEnd::kFound) return false;
    weights = std::move(cuts).TakeWeights();
  }
  selected = Collect(bins, weights, keep_neighbours);
  *this = plane;
  return true;
}

}  // namespace libmfx::geometry
