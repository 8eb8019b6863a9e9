#pragma once

#include <Eigen/Core>
#include <map>
#include <set>
#include <vector>

#include "libmfx/data_structures/point.h"
#include "libmfx/data_structures/records.h"
#include "libmfx/export.h"

namespace libmfx::data_structures {

/// What kind of coordinates a group of rows of a cloud holds.
enum PointEmbedding : int {
  EMBEDDING_XY = 0,   ///< 2 rows: planar cartesian, metres
  EMBEDDING_XYZ = 1,  ///< 3 rows: cartesian, metres
  EMBEDDING_AER = 2,  ///< 3 rows: azimuth and elevation in radians, range in metres
};

/// Number of rows that an embedding needs; 0 for a value that is none of the three.
LIBMFX_EXPORT int RowsNeeded(PointEmbedding embedding);

/// A matrix of samples, one column each, that remembers which rows hold what kind of coordinates.
///
/// A cloud built from raw samples has the rows: 0 to 2 the coordinates; 3 the quality and 4 the
/// segment number, the last two only when the extra rows were asked for. A cloud of zero columns
/// is legal.
class LIBMFX_EXPORT PointCloud {
 public:
  using Embeddings = std::map<PointEmbedding, std::set<int>>;

  PointCloud() = default;
  /// \param data shape (channels, points), taken as it stands
  /// \param embeddings for each kind, the first rows at which a group of that kind stands
  explicit PointCloud(Eigen::MatrixXd data, Embeddings embeddings = {});
  /// The samples that pass `min_quality` (equal passes; a sample that is not finite does not), in
  /// order, converted to `embedding`.
  /// \param keep_extra_rows true for 5 rows, false for 3
  PointCloud(const std::vector<RawDataPoint>& raw, PointEmbedding embedding, double min_quality,
             bool keep_extra_rows);

  Eigen::Index cols() const { return _data.cols(); }
  Eigen::Index rows() const { return _data.rows(); }
  const Eigen::MatrixXd& data() const { return _data; }
  Eigen::MatrixXd& data() { return _data; }
  const Embeddings& embeddings() const { return _embeddings; }
  Embeddings& embeddings() { return _embeddings; }
  auto col(Eigen::Index i) const { return _data.col(i); }
  auto col(Eigen::Index i) { return _data.col(i); }
  auto row(Eigen::Index i) const { return _data.row(i); }
  auto row(Eigen::Index i) { return _data.row(i); }
  /// x, y, z of a column as a point with `w` 1; the cloud needs 3 rows.
  PointXYZW point(Eigen::Index i) const { return {_data(0, i), _data(1, i), _data(2, i)}; }

  /// Converts every convertible embedding in place.
  /// \throws std::string if the cloud has fewer rows than `target` needs
  void Convert(PointEmbedding target);
  /// The same, limited to `sources`; an empty set means all three kinds.
  void Convert(const std::set<PointEmbedding>& sources, PointEmbedding target);

 private:
  void DropInvalidEmbeddings();

  Eigen::MatrixXd _data;
  Embeddings _embeddings;
};

}  // namespace libmfx::data_structures
