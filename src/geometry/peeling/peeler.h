#pragma once

#include <Eigen/Core>

#include "geometry/peeling/farthest.h"

namespace libmfx::geometry::peeling {

/// A sum of many doubles with the error of one of them: what is taken out again leaves the sum of
/// the rest, also when it was much larger than that.
class RunningSum {
 public:
  void Add(double x);
  double Value() const { return _high + _low; }

 private:
  double _high = 0.0, _low = 0.0;
};

/// Takes points out of a cloud one by one, always the one farthest from the least-squares plane of
/// those that are left, the lowest column first among equals. The outcome is that of a new fit and
/// a new search after each removal, and a removal's cost doesn't grow with the number of points.
///
/// The plane comes from running sums of the coordinates and their products. They are taken in a
/// frame of the points' own, centred on them with axes along their spreads: in it the three
/// coordinates, which may be angles beside a range, keep their digits each on its own. The frame is
/// laid anew when what is left has become much smaller than what it was laid for.
class Peeler {
 public:
  /// \param points finite, at least 3
  explicit Peeler(Eigen::Matrix3Xd points);

  Eigen::Index Left() const { return _left; }
  /// sqrt(|mean(r^2) - mean(r)^2|) of the signed distances r of what is left from its plane; in the
  /// unit of the coordinates. 0 for points that coincide. Not told for fewer than 3 points.
  double Deviation() const;
  /// Takes out the farthest point, fits the plane to the others, and returns the point's column.
  Eigen::Index RemoveFarthest();

 private:
  Eigen::Vector3d ToFrame(Eigen::Index column) const {
    return _axes.transpose() * (_points.col(column) - _centre);
  }
  void AddToSums(const Eigen::Vector3d& p, double sign);
  void LayFrame();
  /// The scatter matrix of what is left, in the frame.
  Eigen::Matrix3d Scatter(Eigen::Vector3d& mean) const;
  void Fit();
  /// \param along_axes, principal the scatter along the frame's axes and along its own
  bool HasOutgrownFrame(const Eigen::Vector3d& along_axes, const Eigen::Vector3d& principal) const;

  Eigen::Matrix3Xd _points;  ///< scaled by a power of two: at most 1 in magnitude
  int _exponent = 0;         ///< a coordinate times 2^_exponent is in the caller's unit
  Eigen::Index _left;
  Farthest _farthest;
  Eigen::Vector3d _centre;
  Eigen::Matrix3d _axes;  ///< unit columns
  RunningSum _sums[3];
  RunningSum _products[6];           ///< xx, xy, xz, yy, yz, zz
  Eigen::Vector3d _laid_along_axes;  ///< scatter along the axes when the frame was laid
  Eigen::Vector3d _laid_principal;   ///< scatter along its own axes then, ascending
  double _rounding = 0.0;            ///< of a coordinate, then
  LocalPlane _plane;
  double _deviation = 0.0;
};

}  // namespace libmfx::geometry::peeling
