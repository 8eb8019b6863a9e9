#include "geometry/cylinder/model.h"

namespace libmfx::geometry::cylinder {
namespace {

// Points a block: the eight columns of a block stay in the nearest cache.
constexpr int kBlock = 64;
using Lane = Eigen::Array<double, kBlock, 1>;

Lane Load(const Eigen::ArrayXd& column, Eigen::Index first, Eigen::Index count) {
  if (count == kBlock) return column.segment<kBlock>(first);
  Lane lane = Lane::Zero();
  lane.head(count) = column.segment(first, count);
  return lane;
}

// Sums over one block in a fixed order, whatever the alignment of the points in memory: the same
// points give the same bits.
void Add(const Row<Lane>& row, NormalEquations& sums) {
  for (int a = 0; a < kRadius; ++a) {
    for (int b = 0; b <= a; ++b) sums.matrix(a, b) += (row.jacobian[a] * row.jacobian[b]).sum();
    sums.matrix(kRadius, a) -= row.jacobian[a].sum();
    sums.gradient[a] += (row.jacobian[a] * row.residual).sum();
  }
  sums.gradient[kRadius] -= row.residual.sum();
  sums.cost += 0.5 * row.residual.square().sum();
}

}  // namespace

FreeParameters ListFreeParameters(Model& model, bool fix_axis, bool fix_radius) {
  FreeParameters free{{&model.offset.x(), &model.offset.y()}, {kOffsetX, kOffsetY}};
  const auto add = [&free](double& value, int column) {
    free.values.push_back(&value);
    free.columns.push_back(column);
  };
  if (!fix_axis) {
    add(model.direction.x(), kDirectionX);
    add(model.direction.y(), kDirectionY);
    add(model.direction.z(), kDirectionZ);
  }
  if (!fix_radius) add(model.radius, kRadius);
  return free;
}

NormalEquations Evaluate(const Points& points, const Model& model) {
  NormalEquations sums;
  sums.matrix.setZero();
  sums.gradient.setZero();
  for (Eigen::Index first = 0; first < points.size(); first += kBlock) {
    const Eigen::Index count = std::min<Eigen::Index>(kBlock, points.size() - first);
    Row<Lane> row = EvaluateRow<Lane>(Load(points.x, first, count), Load(points.y, first, count),
                                      Load(points.z, first, count), model);
    row.residual += Load(points.depth, first, count);
    if (count < kBlock) {
      row.residual.tail(kBlock - count).setZero();
      for (Lane& column : row.jacobian) column.tail(kBlock - count).setZero();
    }
    Add(row, sums);
  }
  sums.matrix(kRadius, kRadius) = static_cast<double>(points.size());
  sums.matrix.triangularView<Eigen::StrictlyUpper>() = sums.matrix.transpose();
  return sums;
}

Eigen::ArrayXd Residuals(const Points& points, const Model& model) {
  Eigen::ArrayXd residuals(points.size());
  for (Eigen::Index first = 0; first < points.size(); first += kBlock) {
    const Eigen::Index count = std::min<Eigen::Index>(kBlock, points.size() - first);
    const Row<Lane> row =
        EvaluateRow<Lane>(Load(points.x, first, count), Load(points.y, first, count),
                          Load(points.z, first, count), model);
    residuals.segment(first, count) = row.residual.head(count) + points.depth.segment(first, count);
  }
  return residuals;
}

}  // namespace libmfx::geometry::cylinder
