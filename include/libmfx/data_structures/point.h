#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <cmath>

#include "libmfx/export.h"

/// \file
/// Homogeneous points and vectors. Lengths are metres, coordinates are in the instrument's frame.
/// The types wrap the Eigen vector beneath and do not derive from it, so that only meaningful
/// arithmetic compiles: a point plus a point does not.

namespace libmfx::data_structures {

/// A direction or an offset: four doubles of which `w` is 0 unless a caller says otherwise.
class LIBMFX_EXPORT VectorXYZW {
 public:
  VectorXYZW() : _v(Eigen::Vector4d::Zero()) {}
  VectorXYZW(double x, double y, double z, double w = 0.0) : _v(x, y, z, w) {}
  explicit VectorXYZW(const Eigen::Vector4d& v) : _v(v) {}
  explicit VectorXYZW(const Eigen::Vector3d& v) : _v(v.x(), v.y(), v.z(), 0.0) {}

  double x() const { return _v[0]; }
  double y() const { return _v[1]; }
  double z() const { return _v[2]; }
  double w() const { return _v[3]; }
  double& x() { return _v[0]; }
  double& y() { return _v[1]; }
  double& z() { return _v[2]; }
  double& w() { return _v[3]; }

  /// The Eigen 4-vector beneath.
  const Eigen::Vector4d& eigen() const { return _v; }
  Eigen::Vector4d& eigen() { return _v; }
  /// x, y, z as an Eigen 3-vector.
  Eigen::Vector3d xyz() const { return _v.head<3>(); }

  /// Length over x, y, z.
  double norm() const { return _v.head<3>().norm(); }
  double squaredNorm() const { return _v.head<3>().squaredNorm(); }
  /// Dot product over x, y, z.
  double dot(const VectorXYZW& other) const { return _v.head<3>().dot(other._v.head<3>()); }
  /// Cross product; its `w` is 0.
  VectorXYZW cross(const VectorXYZW& other) const {
    return VectorXYZW(Eigen::Vector3d(xyz().cross(other.xyz())));
  }
  /// This vector divided by its length; a zero vector stays zero.
  VectorXYZW normalized() const {
    VectorXYZW result = *this;
    result.normalize();
    return result;
  }
  void normalize() {
    const double squared = squaredNorm();
    if (squared > 0.0) _v /= std::sqrt(squared);
  }
  /// Whether all four components have an absolute value of at most `tolerance`.
  bool isZero(double tolerance = 1e-12) const {
    return std::abs(_v[0]) <= tolerance && std::abs(_v[1]) <= tolerance &&
           std::abs(_v[2]) <= tolerance && std::abs(_v[3]) <= tolerance;
  }

  VectorXYZW& operator+=(const VectorXYZW& o) { return _v += o._v, *this; }
  VectorXYZW& operator-=(const VectorXYZW& o) { return _v -= o._v, *this; }
  VectorXYZW& operator*=(double s) { return _v *= s, *this; }
  VectorXYZW& operator/=(double s) { return _v /= s, *this; }

  friend VectorXYZW operator+(VectorXYZW a, const VectorXYZW& b) { return a += b; }
  friend VectorXYZW operator-(VectorXYZW a, const VectorXYZW& b) { return a -= b; }
  friend VectorXYZW operator-(const VectorXYZW& a) { return VectorXYZW(Eigen::Vector4d(-a._v)); }
  friend VectorXYZW operator*(VectorXYZW a, double s) { return a *= s; }
  friend VectorXYZW operator*(double s, VectorXYZW a) { return a *= s; }
  friend VectorXYZW operator/(VectorXYZW a, double s) { return a /= s; }
  friend bool operator==(const VectorXYZW& a, const VectorXYZW& b) { return a._v == b._v; }

 private:
  Eigen::Vector4d _v;
};

/// A position: four doubles of which `w` is 1 unless a caller says otherwise.
class LIBMFX_EXPORT PointXYZW {
 public:
  PointXYZW() : _v(0.0, 0.0, 0.0, 1.0) {}
  PointXYZW(double x, double y, double z, double w = 1.0) : _v(x, y, z, w) {}
  explicit PointXYZW(const Eigen::Vector4d& v) : _v(v) {}
  explicit PointXYZW(const Eigen::Vector3d& v) : _v(v.x(), v.y(), v.z(), 1.0) {}

  double x() const { return _v[0]; }
  double y() const { return _v[1]; }
  double z() const { return _v[2]; }
  double w() const { return _v[3]; }
  double& x() { return _v[0]; }
  double& y() { return _v[1]; }
  double& z() { return _v[2]; }
  double& w() { return _v[3]; }

  /// The Eigen 4-vector beneath.
  const Eigen::Vector4d& eigen() const { return _v; }
  Eigen::Vector4d& eigen() { return _v; }
  /// x, y, z as an Eigen 3-vector.
  Eigen::Vector3d xyz() const { return _v.head<3>(); }

  /// Point minus point: a vector whose `w` is 0 by construction.
  friend VectorXYZW operator-(const PointXYZW& a, const PointXYZW& b) {
    return VectorXYZW(Eigen::Vector3d(a._v.head<3>() - b._v.head<3>()));
  }
  /// Point plus or minus vector: a point whose `w` is 1 by construction.
  friend PointXYZW operator+(const PointXYZW& p, const VectorXYZW& v) {
    return PointXYZW(Eigen::Vector3d(p._v.head<3>() + v.eigen().head<3>()));
  }
  friend PointXYZW operator-(const PointXYZW& p, const VectorXYZW& v) {
    return PointXYZW(Eigen::Vector3d(p._v.head<3>() - v.eigen().head<3>()));
  }
  friend bool operator==(const PointXYZW& a, const PointXYZW& b) { return a._v == b._v; }

 private:
  Eigen::Vector4d _v;
};

/// A point projected into a plane: x, y and a `w` of 1.
class LIBMFX_EXPORT PointXYW {
 public:
  PointXYW() : _v(0.0, 0.0, 1.0) {}
  PointXYW(double x, double y, double w = 1.0) : _v(x, y, w) {}
  explicit PointXYW(const Eigen::Vector3d& v) : _v(v) {}

  double x() const { return _v[0]; }
  double y() const { return _v[1]; }
  double w() const { return _v[2]; }
  double& x() { return _v[0]; }
  double& y() { return _v[1]; }
  double& w() { return _v[2]; }

  const Eigen::Vector3d& eigen() const { return _v; }
  Eigen::Vector3d& eigen() { return _v; }

  friend bool operator==(const PointXYW& a, const PointXYW& b) { return a._v == b._v; }

 private:
  Eigen::Vector3d _v;
};

/// A strict order of planar points: by x, then y, then w.
struct PointXYWCompare {
  bool operator()(const PointXYW& a, const PointXYW& b) const {
    if (a.x() != b.x()) return a.x() < b.x();
    if (a.y() != b.y()) return a.y() < b.y();
    return a.w() < b.w();
  }
};

inline double dot(const VectorXYZW& a, const VectorXYZW& b) { return a.dot(b); }
inline VectorXYZW cross(const VectorXYZW& a, const VectorXYZW& b) { return a.cross(b); }
inline double norm(const VectorXYZW& v) { return v.norm(); }
inline VectorXYZW normalized(const VectorXYZW& v) { return v.normalized(); }
/// Distance of two points, metres.
inline double Distance(const PointXYZW& a, const PointXYZW& b) { return (a - b).norm(); }

}  // namespace libmfx::data_structures
