#include "libmfx/data_structures/point_cloud.h"

#include <cmath>
#include <string>
#include <utility>

#include "data_structures/cartesian.h"
#include "data_structures/usable_columns.h"

namespace libmfx::data_structures {
namespace {

void CartesianToSpherical(Eigen::MatrixXd& data, int row) {
  for (Eigen::Index i = 0; i < data.cols(); ++i) {
    double* column = &data(row, i);
    const AzElRange aer(PointXYZW(column[0], column[1], column[2]));
    column[0] = aer.azimuth;
    column[1] = aer.elevation;
    column[2] = aer.range;
  }
}

}  // namespace

int RowsNeeded(PointEmbedding embedding) {
  switch (embedding) {
    case EMBEDDING_XY:
      return 2;
    case EMBEDDING_XYZ:
    case EMBEDDING_AER:
      return 3;
  }
  return 0;
}

PointCloud::PointCloud(Eigen::MatrixXd data, Embeddings embeddings)
    : _data(std::move(data)), _embeddings(std::move(embeddings)) {}

PointCloud::PointCloud(const std::vector<RawDataPoint>& raw, PointEmbedding embedding,
                       double min_quality, bool keep_extra_rows) {
  const bool cartesian = embedding == EMBEDDING_XYZ;
  const auto write = [=](const RawDataPoint& sample, double* column) {
    WriteSpherical(sample, column);
    if (keep_extra_rows) WriteExtraRows(sample, column);
  };
  _data = UsableColumns(raw, min_quality, keep_extra_rows ? 5 : 3, write);
  if (cartesian) SphericalToCartesian(_data, 0);
  _embeddings[cartesian ? EMBEDDING_XYZ : EMBEDDING_AER] = {0};
}

void PointCloud::DropInvalidEmbeddings() {
  for (auto entry = _embeddings.begin(); entry != _embeddings.end();) {
    const int needed = RowsNeeded(entry->first);
    std::erase_if(entry->second, [&](int row) { return row < 0 || row + needed > rows(); });
    entry = entry->second.empty() ? _embeddings.erase(entry) : std::next(entry);
  }
}

void PointCloud::Convert(PointEmbedding target) { Convert({}, target); }

void PointCloud::Convert(const std::set<PointEmbedding>& sources, PointEmbedding target) {
  DropInvalidEmbeddings();
  if (_embeddings.empty()) return;
  if (rows() < RowsNeeded(target)) {
    throw std::string(
        "Point cloud is not an appropriate n-space embedding for the conversion type!");
  }
  for (const PointEmbedding source : {EMBEDDING_XY, EMBEDDING_XYZ, EMBEDDING_AER}) {
    if (source == target || (!sources.empty() && !sources.contains(source))) continue;
    const bool to_cartesian = target == EMBEDDING_XYZ && source == EMBEDDING_AER;
    const bool to_spherical = target == EMBEDDING_AER && source == EMBEDDING_XYZ;
    const auto found = _embeddings.find(source);
    if (found == _embeddings.end() || !(to_cartesian || to_spherical)) continue;
    for (const int row : found->second) {
      to_cartesian ? SphericalToCartesian(_data, row) : CartesianToSpherical(_data, row);
    }
    _embeddings[target].merge(found->second);
    _embeddings.erase(source);
  }
}

}  // namespace libmfx::data_structures
