#pragma once

#include <Eigen/Core>
#include <vector>

#include "libmfx/data_structures/point.h"
#include "libmfx/export.h"

namespace libmfx::math {

/// The rigid motion of least squares that takes measured points onto their nominal counterparts,
/// by the singular value decomposition of their correlation (Arun, Huang and Blostein 1987, with
/// the correction of reflections by Umeyama 1991).
class LIBMFX_EXPORT Alignment {
 public:
  void AddCorrespondence(const data_structures::PointXYZW& measured,
                         const data_structures::PointXYZW& nominal);
  /// \param transform homogeneous, nominal = transform * measured, translation in metres; all 16
  ///     elements are written
  /// \returns true; false, with `transform` unchanged, if a coordinate is not finite.
  ///
  /// No pair: the identity. Pairs that leave rotations open get the smallest that fits: one pair
  /// (or coincident points) a translation alone, two pairs (or collinear points) no turn about
  /// their line. Lines that point against each other turn about a fixed perpendicular.
  bool MeasuredToNominalTransform(Eigen::Matrix4d& transform);
  /// Forgets all pairs.
  void Reset();

 protected:
  std::vector<data_structures::PointXYZW> _measured;  ///< metres
  std::vector<data_structures::PointXYZW> _nominal;   ///< metres; as many as were measured

 private:
  bool Solve(Eigen::Matrix4d& transform) const;
};

}  // namespace libmfx::math
