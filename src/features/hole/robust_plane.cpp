#include <cmath>

#include "features/hole/scan_line.h"
#include "features/shared/directions.h"
#include "features/shared/segments.h"
#include "geometry/line_weights.h"
#include "libmfx/features/hole.h"

namespace libmfx::features {
namespace {

constexpr int kMaxCuts = 10;

/// The points of all lines side by side, each with its weight.
///
/// A walk over the lines moves its offset on only past lines that hold a weight: behind a line
/// without any, the weights of the later lines fall on earlier columns than their own. The weights
/// are only ever read by column, so what such a scan loses is the weight of some points at its end.
class WeightedLines {
 public:
  WeightedLines(const std::vector<PointCloud>& lines, bool fast_star)
      : _lines(lines), _fast_star(fast_star), _cloud(Joined(lines)) {
    _weights = Eigen::VectorXd::Zero(_cloud.cols());
  }

  const PointCloud& cloud() const { return _cloud; }
  const Eigen::VectorXd& weights() const { return _weights; }

  /// Weights for the points between the two distances from `center`, ends included.
  void WeighRing(const PointXYZW& center, double min_distance, double max_distance, double sigma) {
    Eigen::Index offset = 0;
    for (const PointCloud& line : _lines) {
      for (Eigen::Index j = 0; j < line.cols(); ++j) {
        const double distance = (line.point(j) - center).norm();
        if (distance >= min_distance && distance <= max_distance) _weights[offset + j] = 1.0;
      }
      if (WindowLine(line, offset, sigma)) offset += line.cols();
    }
  }

  /// Weights for the points no farther from the plane than half of `worst`; a point that an earlier
  /// cut dropped can come back.
  void WeighNear(const Eigen::VectorXd& distances, double worst, double sigma) {
    geometry::SetWhereAtMost(distances, 0.5 * worst, _weights);
    Eigen::Index offset = 0;
    for (const PointCloud& line : _lines) {
      if (WindowLine(line, offset, sigma)) offset += line.cols();
    }
  }

  /// Distance of every point from the plane, metres.
  Eigen::VectorXd Distances(const geometry::Plane& plane) const {
    const Eigen::Vector3d n = plane.Normal().xyz();
    return ((_cloud.data().topRows<3>().colwise() - plane.Point().xyz()).transpose() * n)
        .cwiseAbs();
  }

  /// The largest distance among the points that carry weight; 0 if there is none.
  double Worst(const Eigen::VectorXd& distances) const {
    double worst = 0.0;
    for (Eigen::Index i = 0; i < _weights.size(); ++i) {
      if (_weights[i] > 0.0 && distances[i] > worst) worst = distances[i];
    }
    return worst;
  }

 private:
  static PointCloud Joined(const std::vector<PointCloud>& lines) {
    Eigen::MatrixXd data(5, shared::ColumnsOf(lines));
    Eigen::Index column = 0;
    for (const PointCloud& line : lines) {
      if (line.cols() == 0) continue;
      data.middleCols(column, line.cols()) = line.data();
      column += line.cols();
    }
    return PointCloud(std::move(data), {{data_structures::EMBEDDING_XYZ, {0}}});
  }

  /// Multiplies the weights of a line, in order, by a window that falls towards the rim.
  /// \return whether the line has any weight
  bool WindowLine(const PointCloud& line, Eigen::Index offset, double sigma) {
    const bool outwards = line.cols() > 0 && RunsOutwards(shared::SegmentOf(line, 0), _fast_star);
    return geometry::ApplyGaussianWindow(_weights.segment(offset, line.cols()), sigma, outwards) >
           0;
  }

  const std::vector<PointCloud>& _lines;
  bool _fast_star;
  PointCloud _cloud;
  Eigen::VectorXd _weights;
};

/// Sorts the columns of each line by their own weight, which goes along as a sixth row of those
/// kept.
void Sort(const std::vector<PointCloud>& lines, const Eigen::VectorXd& weights,
          std::vector<PointCloud>& inliers, std::vector<PointCloud>& outliers) {
  inliers.assign(lines.size(), PointCloud());
  outliers.assign(lines.size(), PointCloud());
  Eigen::Index offset = 0;
  for (std::size_t s = 0; s < lines.size(); ++s) {
    std::vector<Eigen::Index> kept;
    std::vector<Eigen::Index> cut;
    for (Eigen::Index j = 0; j < lines[s].cols(); ++j) {
      (weights[offset + j] > geometry::kLeastWeight ? kept : cut).push_back(j);
    }
    Eigen::MatrixXd data(6, static_cast<Eigen::Index>(kept.size()));
    for (Eigen::Index k = 0; k < data.cols(); ++k) {
      const Eigen::Index j = kept[static_cast<std::size_t>(k)];
      data.col(k) << lines[s].col(j), weights[offset + j];
    }
    inliers[s] = PointCloud(std::move(data), lines[s].embeddings());
    outliers[s] = shared::Columns(lines[s], cut);
    offset += lines[s].cols();
  }
}

}  // namespace

bool Hole::FitRobustPlane(const PointXYZW& center, double min_distance, double max_distance,
                          double first_sigma, double cut_sigma, double tolerance,
                          std::vector<PointCloud>& inliers, std::vector<PointCloud>& outliers) {
  WeightedLines lines(_segments, _use_fast_star);
  lines.WeighRing(center, min_distance, max_distance, first_sigma);
  if (lines.cloud().cols() == 0 || lines.weights().sum() < 3.0) {
    return Fail("Hole::FitRobustPlane(): insufficient weighting for a quality plane fit!");
  }
  geometry::Plane plane;
  if (!plane.LeastSquares(lines.cloud(), lines.weights())) {
    return Fail("Hole::FitRobustPlane: Plane::LeastSquares() failed to fit weighted points!");
  }
  for (int cut = 0; cut < kMaxCuts; ++cut) {
    const Eigen::VectorXd distances = lines.Distances(plane);
    const double worst = lines.Worst(distances);
    if (tolerance > worst) break;
    lines.WeighNear(distances, worst, cut_sigma);
    if (!plane.LeastSquares(lines.cloud(), lines.weights())) {
      return Fail(
          "Hole::FitRobustPlane(): Plane::LeastSquares() failed to fit re-weighted points!");
    }
  }
  _plane = plane;
  if (shared::UnitFromTo(_scan_origin, _plane.Point()).dot(_plane.Normal().normalized()) > 0.0) {
    _plane.Normal(-_plane.Normal());
  }
  Sort(_segments, lines.weights(), inliers, outliers);
  // The angle is taken without sign, so the plane that fails is left turned the other way.
  if (shared::AngleOfCosine(std::abs(_plane.Normal().dot(_input_normal))) > _normal_reject_angle) {
    _plane.Normal(-_plane.Normal());
    return Fail(
        "Hole::FitRobustPlane(): The normal vector of the fit plane exceeds the angle to nominal "
        "rejection threshold.");
  }
  // Points that are all equally far from their plane are all cut, and leave none to fit.
  return _plane.IsValid() || Fail("Hole::FitRobustPlane(): The fit plane is degenerate.");
}

}  // namespace libmfx::features
