#pragma once

#include <Eigen/Geometry>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/geometry/plane.h"

/// \file
/// A flat surface with gross outliers, all on one side of it, as scan lines; and how far a plane
/// lies from that surface. Used by tests and benchmarks of the robust plane.

namespace libmfx::tests {

/// Draws that are the same everywhere: the engine is fixed, and the distributions are our own.
class Draws {
 public:
  explicit Draws(std::uint64_t seed) : _engine(seed) {}
  double Uniform() { return static_cast<double>(_engine() >> 11) * 0x1p-53; }
  double Within(double low, double high) { return low + (high - low) * Uniform(); }
  double Normal() {
    return std::sqrt(-2.0 * std::log(1.0 - Uniform())) *
           std::cos(2.0 * std::numbers::pi * Uniform());
  }
  Eigen::Vector3d InCube() { return {Within(-1, 1), Within(-1, 1), Within(-1, 1)}; }
  Eigen::Matrix3d Rotation() {
    const Eigen::Vector4d q(Normal(), Normal(), Normal(), Normal());
    return Eigen::Quaterniond(q.normalized()).toRotationMatrix();
  }

 private:
  std::mt19937_64 _engine;
};

/// Where the outliers stand.
enum class Outliers {
  kScattered,  ///< anywhere along the lines, 1 to 20 mm behind the surface
  kWall,       ///< the end of each line runs down a wall at right angles, up to 20 mm deep
  kStep,       ///< the end of each line lies on a second surface, 10 mm behind
};

/// How the lines lie.
enum class Lines {
  kStar,      ///< from 30 mm around the centre inwards to 10 mm, as over a hole
  kParallel,  ///< side by side, all ending at the same edge, as over the edge of a plate
};

struct OutlierScene {
  Outliers outliers = Outliers::kScattered;
  Lines lines = Lines::kStar;
  double fraction = 0.3;  ///< of the samples of each line
  int line_count = 20;
  int samples = 100;     ///< per line
  double noise = 10e-6;  ///< along the normal, one standard deviation, metres

  // What Make has drawn.
  Eigen::Matrix3d frame =
      Eigen::Matrix3d::Identity();  ///< columns: two axes in the surface and its normal
  Eigen::Vector3d center = Eigen::Vector3d::Zero();  ///< metres, on the surface, 2 m away

  /// One bin with all lines; rows x, y, z, quality 90 and segment number.
  std::vector<std::vector<data_structures::PointCloud>> Make(std::uint64_t seed) {
    Draws draws(seed);
    frame = draws.Rotation();
    center = 2.0 * draws.Rotation().col(0);
    std::vector<data_structures::PointCloud> bin;
    for (int line = 0; line < line_count; ++line) bin.push_back(MakeLine(line, draws));
    return {bin};
  }

  /// Height of a plane over the surface at the worst of the corners of a square of 40 mm around
  /// the centre, metres.
  double HeightError(const geometry::Plane& plane) const {
    double worst = 0.0;
    for (const double u : {-0.02, 0.02}) {
      for (const double v : {-0.02, 0.02}) {
        const Eigen::Vector3d corner = center + frame * Eigen::Vector3d(u, v, 0.0);
        worst = std::max(worst, plane.Distance(data_structures::PointXYZW(corner)));
      }
    }
    return worst;
  }
  /// Angle of the normals, radians.
  double TiltError(const geometry::Plane& plane) const {
    const Eigen::Vector3d n = plane.Normal().xyz();
    return std::atan2(n.cross(frame.col(2)).norm(), std::abs(n.dot(frame.col(2))));
  }

 private:
  /// Place on the surface of the share t (0 start, 1 end) of a line, metres.
  Eigen::Vector2d Place(int line, double t) const {
    const double share = (line + 0.5) / line_count;
    if (lines == Lines::kParallel) return {0.06 * (share - 0.5), 0.06 * (t - 0.5)};
    const double angle = 2.0 * std::numbers::pi * share;
    const double radius = 0.03 - 0.02 * t;
    return {radius * std::cos(angle), radius * std::sin(angle)};
  }

  data_structures::PointCloud MakeLine(int line, Draws& draws) const {
    Eigen::MatrixXd data(5, samples);
    const double good = 1.0 - fraction;
    for (int i = 0; i < samples; ++i) {
      double t = (i + 0.5) / samples;
      double depth = 0.0;
      if (outliers == Outliers::kScattered) {
        if (draws.Uniform() < fraction) depth = draws.Within(1e-3, 20e-3);
      } else if (t > good) {
        depth = outliers == Outliers::kStep ? 10e-3 : 20e-3 * (t - good) / fraction;
        if (outliers == Outliers::kWall) t = good;
      }
      const Eigen::Vector2d place = Place(line, t);
      data.col(i).head<3>() =
          center + frame * Eigen::Vector3d(place.x(), place.y(), noise * draws.Normal() - depth);
      data.col(i).tail<2>() << 90.0, 2.0 * line + 1.0;
    }
    return data_structures::PointCloud(data, {{data_structures::EMBEDDING_XYZ, {0}}});
  }
};

}  // namespace libmfx::tests
