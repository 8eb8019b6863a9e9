#pragma once

#include <Eigen/Core>
#include <vector>

#include "libmfx/data_structures/point.h"
#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/export.h"
#include "libmfx/math/acc_stats.h"

namespace libmfx::geometry {

/// An infinite plane with a frame on it. Lengths are metres, in the frame of the points given.
///
/// How the frame was made decides its handedness: a frame built from a normal has
/// `bitangent = normal x tangent`, a fitted one `bitangent = tangent x normal`. A caller that
/// compares the two must not assume one handedness, nor a sign of a fitted normal.
///
/// Clouds: shape (rows, points), of which the top three rows are x, y and z; a cloud with fewer
/// rows cannot be fitted. Weights: one per column, or none at all.
class LIBMFX_EXPORT Plane {
 public:
  /// Point (0, 0, 0, 1) and a zero frame: not valid.
  Plane();
  /// The frame is built from `normal`, which is made unit.
  Plane(const data_structures::PointXYZW& point, const data_structures::VectorXYZW& normal);
  /// Each direction is made unit by itself; that they are orthogonal is the caller's business.
  Plane(const data_structures::PointXYZW& point, const data_structures::VectorXYZW& normal,
        const data_structures::VectorXYZW& tangent, const data_structures::VectorXYZW& bitangent);
  Plane(const Plane&) = default;
  Plane& operator=(const Plane&) = default;
  virtual ~Plane() = default;

  /// A point on the plane; after a fit, the (weighted) centroid.
  const data_structures::PointXYZW& Point() const { return _point; }
  void Point(const data_structures::PointXYZW& point) { _point = point; }
  const data_structures::VectorXYZW& Normal() const { return _normal; }
  /// Makes `normal` unit and builds a new frame from it; the earlier tangents are gone.
  void Normal(const data_structures::VectorXYZW& normal);
  const data_structures::VectorXYZW& Tangent() const { return _tangent; }
  /// Sets this axis alone, made unit; the frame may no longer be orthogonal.
  void Tangent(const data_structures::VectorXYZW& tangent);
  const data_structures::VectorXYZW& Bitangent() const { return _bitangent; }
  /// Sets this axis alone, made unit; the frame may no longer be orthogonal.
  void Bitangent(const data_structures::VectorXYZW& bitangent);
  /// The frame as columns: tangent, bitangent, normal.
  Eigen::Matrix3d TBN() const;

  /// False with a NaN in x, y or z of the point or the normal, and with a zero normal.
  bool IsValid() const;
  /// Metres along the normal from the plane to `p`; NaN if the plane is not valid.
  double SignedDistanceTo(const data_structures::PointXYZW& p) const;
  /// Absolute value of SignedDistanceTo.
  double Distance(const data_structures::PointXYZW& p) const;
  /// The foot of the perpendicular from `p`; (NaN, NaN, NaN, 1) if the plane is not valid.
  data_structures::PointXYZW Project(const data_structures::PointXYZW& p) const;
  /// The feet of the perpendiculars from all columns, without embeddings. A cloud that has no
  /// column, or not exactly 3 rows, comes back as it is. Validity is not tested.
  data_structures::PointCloud ProjectPointCloud(const data_structures::PointCloud& cloud) const;

  /// Fits the plane of least squared distances: the centroid, and of the principal axes of the
  /// scatter about it the one of least scatter as normal and the one of largest as tangent.
  ///
  /// A weight acts on the distance and so counts squared in the scatter, while the centroid takes
  /// it as it stands. A column of weight 0 takes no part, even if it holds a NaN.
  ///
  /// True for 3 columns or more, also when they do not determine a plane: collinear points give a
  /// plane through their line, with `tangent` along it; coincident ones, which have no direction
  /// at all, a zero frame that is not valid. Otherwise NaN data, or weights of sum 0, give a plane
  /// of NaN that is not valid.
  /// False, with the plane unchanged, for fewer than 3 columns or rows, and for weights that are
  /// neither empty nor one per column.
  bool LeastSquares(const data_structures::PointCloud& cloud);
  /// The same; on success FillLeastSquaresStats follows.
  bool LeastSquares(const data_structures::PointCloud& cloud, math::AccStats& stats);
  bool LeastSquares(const data_structures::PointCloud& cloud, const Eigen::VectorXd& weights);
  /// The same; on success FillLeastSquaresStats follows, with the distances of all columns, not
  /// weighted.
  bool LeastSquares(const data_structures::PointCloud& cloud, const Eigen::VectorXd& weights,
                    math::AccStats& stats);
  /// Resets `stats` and adds the distance of each column, in order. A plane that is not valid, or
  /// a cloud of fewer than 3 rows, adds NaN for each column.
  void FillLeastSquaresStats(const data_structures::PointCloud& cloud, math::AccStats& stats) const;

  /// The robust fit: finds the dominant plane among the samples of scan lines by fitting, cutting
  /// away every sample beyond half of the worst residual, and fitting again, up to 10 times. Along
  /// each line the weights fall as a half Gaussian over the samples kept, in column order.
  ///
  /// \param bins each inner vector is a bin, each cloud one scan line with its columns in scan
  ///     order; at least 4 rows (x, y, z or, by its embedding, azimuth, elevation, range; then
  ///     quality). Taken by value and converted to cartesian coordinates; move what is not needed
  ///     any more
  /// \param center nominal centre, metres
  /// \param selected result in the shape of `bins`: per line a cloud of the samples kept, in order,
  ///     with all rows of the input (x, y, z on top) and the final weight as one row more
  /// \param min_quality a sample is a candidate only if its quality is strictly above this
  /// \param min_distance, max_distance a sample is a candidate only if its distance to `center`,
  ///     metres, lies in this closed interval
  /// \param first_sigma, cut_sigma standard deviation of the weights of the first and of each later
  ///     fit, in lengths of the line's samples in use
  /// \param tolerance the cuts end when the worst residual in use, metres, is strictly below this
  /// \param keep_neighbours whether rejected samples beside a kept one are returned as well
  /// \returns false, with the plane and `selected` unchanged, if the samples in use determine no
  ///     plane at all, if there are fewer than 3 in `bins`, or if a line that is not empty has
  ///     fewer than 4 rows
  ///
  /// A line without a sample in use does not advance the place at which the next line's weights
  /// are written, so these land on the earlier line's samples, while the result reads each line at
  /// its own place.
  bool IterativeBinaryCuts(std::vector<std::vector<data_structures::PointCloud>> bins,
                           const data_structures::PointXYZW& center,
                           std::vector<std::vector<data_structures::PointCloud>>& selected,
                           double min_quality, double min_distance, double max_distance,
                           double first_sigma, double cut_sigma, double tolerance,
                           bool keep_neighbours);

 private:
  static Eigen::Matrix3d BasisFromPlaneNormal(const data_structures::VectorXYZW& normal);
  void SetFrameFromNormal();

  data_structures::PointXYZW _point;       ///< on the plane, metres
  data_structures::VectorXYZW _normal;     ///< unit
  data_structures::VectorXYZW _tangent;    ///< unit, first axis in the plane
  data_structures::VectorXYZW _bitangent;  ///< unit, second axis in the plane
};

}  // namespace libmfx::geometry
