#pragma once

#include <benchmark/benchmark.h>

#include <Eigen/SVD>
#include <vector>

#include "libmfx/geometry/plane.h"

/// \file
/// The fits that a robust surface comes to, in their barest form. Lengths are metres.

namespace libmfx::bench {

/// The weighted fits of one robust surface.
struct PlaneFits {
  data_structures::PointCloud cloud;     ///< all lines side by side
  std::vector<Eigen::VectorXd> weights;  ///< of each fit
};

/// The weights that the cuts come to, round by round. The windows along the lines are left out:
/// they change a weight, and not what a fit costs.
/// \param reach from the centre to the farthest sample that counts
inline PlaneFits FitsOf(const std::vector<data_structures::PointCloud>& lines,
                        const data_structures::PointXYZW& center, double reach, double tolerance) {
  PlaneFits fits;
  Eigen::Index columns = 0;
  for (const auto& line : lines) columns += line.cols();
  Eigen::MatrixXd data(5, columns);
  Eigen::Index base = 0;
  for (const auto& line : lines) {
    data.middleCols(base, line.cols()) = line.data().topRows(5);
    base += line.cols();
  }
  fits.cloud = data_structures::PointCloud(data, {{data_structures::EMBEDDING_XYZ, {0}}});
  Eigen::VectorXd weights(columns);
  for (Eigen::Index i = 0; i < columns; ++i) {
    weights[i] = (fits.cloud.point(i) - center).norm() <= reach ? 1.0 : 0.0;
  }
  geometry::Plane plane;
  for (int fit = 0; fit <= 10; ++fit) {
    fits.weights.push_back(weights);
    plane.LeastSquares(fits.cloud, weights);
    Eigen::VectorXd distances(columns);
    for (Eigen::Index i = 0; i < columns; ++i) distances[i] = plane.Distance(fits.cloud.point(i));
    const double worst = (weights.array() > 0.0).select(distances, 0.0).maxCoeff();
    if (worst < tolerance) break;
    weights = (distances.array() <= 0.5 * worst).cast<double>();
  }
  return fits;
}

/// The fits by the library's own calls, on input that is ready for them.
inline void FitPlanes(const PlaneFits& fits) {
  for (const Eigen::VectorXd& weights : fits.weights) {
    geometry::Plane plane;
    benchmark::DoNotOptimize(plane.LeastSquares(fits.cloud, weights));
  }
}

/// The fits by a bare decomposition of the weighted points.
inline void DecomposePlanes(const PlaneFits& fits) {
  for (const Eigen::VectorXd& weights : fits.weights) {
    const auto points = fits.cloud.data().topRows<3>();
    const Eigen::Vector3d mean = points * weights / weights.sum();
    const Eigen::MatrixXd centred = ((points.colwise() - mean) * weights.asDiagonal()).transpose();
    const Eigen::JacobiSVD<Eigen::MatrixXd> svd(centred, Eigen::ComputeThinU | Eigen::ComputeThinV);
    Eigen::Vector3d normal = svd.matrixV().col(2);
    benchmark::DoNotOptimize(normal);
  }
}

}  // namespace libmfx::bench
