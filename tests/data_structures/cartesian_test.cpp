#include "data_structures/cartesian.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "libmfx/data_structures/records.h"

namespace libmfx::data_structures {
namespace {

using Eigen::MatrixXd;

constexpr Registers kRegisters[] = {Registers::kWidest, Registers::kPortable};

/// Of the GNU C library the error of a sine is known, so that the same bits can be promised; of
/// another one, the next double may come out.
bool IsSame(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
#ifdef __GLIBC__
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
#else
  return a == b || std::abs(a - b) <= 4e-16 * std::abs(a) + 1e-300;
#endif
}

/// How many numbers are not those that each column gives by itself; the first of them is told.
int Differences(const MatrixXd& spherical, Registers registers) {
  MatrixXd columns = spherical;
  SphericalToCartesian(columns, 0, registers);
  int differences = 0;
  for (Eigen::Index i = 0; i < columns.cols(); ++i) {
    const Eigen::Vector3d in = spherical.col(i).head<3>();
    const PointXYZW point = AzElRange(in[0], in[1], in[2]).ToPoint();
    const double expected[] = {point.x(), point.y(), point.z()};
    for (Eigen::Index k = 0; k < 3; ++k) {
      if (IsSame(columns(k, i), expected[k])) continue;
      if (differences++ == 0) {
        ADD_FAILURE() << "column " << i << " row " << k << " of azimuth " << in[0]
                      << " and elevation " << in[1] << ": " << columns(k, i) << " instead of "
                      << expected[k];
      }
    }
  }
  return differences;
}

/// Runs of samples as a scan has them, of 64 columns each, anywhere up to `most` radians.
MatrixXd Runs(Eigen::Index count, double step, double most, unsigned seed) {
  std::mt19937_64 random(seed);
  std::uniform_real_distribution<double> anywhere(-most, most);
  std::uniform_real_distribution<double> scatter(0.5, 1.5);
  MatrixXd data(3, 64 * count);
  for (Eigen::Index i = 0; i < data.cols(); ++i) {
    if (i % 64 == 0) {
      data.col(i) << anywhere(random), anywhere(random) / 2.0, 2.5;
    } else {
      data.col(i) =
          data.col(i - 1) + Eigen::Vector3d(step * scatter(random), -step * scatter(random), 1e-5);
    }
  }
  return data;
}

TEST(Cartesian, ManyColumnsAtOnceAreToTheBitThoseOfEachAlone) {
  for (const Registers registers : kRegisters) {
    for (const double step : {1e-7, 4e-5, 1e-3, 0.02}) {
      EXPECT_EQ(Differences(Runs(500, step, 3.2, 1), registers), 0) << step;
      EXPECT_EQ(Differences(Runs(200, step, 0.02, 2), registers), 0) << step;
      EXPECT_EQ(Differences(Runs(100, step, 9.0, 3), registers), 0) << step;
    }
  }
}

TEST(Cartesian, AnglesAroundEachStepOfTheTableAreExact) {
  MatrixXd data(3, 8 * 1200);
  for (Eigen::Index k = 0; k < 1200; ++k) {
    double angle = (static_cast<double>(k) - 600.0) / 256.0;
    for (int i = 0; i < 4; ++i) angle = std::nextafter(angle, -10.0);
    for (Eigen::Index i = 0; i < 8; ++i) {
      data.col(8 * k + i) << angle, -angle, 1.0;
      angle = std::nextafter(angle, 10.0);
    }
  }
  for (const Registers registers : kRegisters) EXPECT_EQ(Differences(data, registers), 0);
}

TEST(Cartesian, ZerosKeepTheirSignsAndWhatIsNoAngleGivesNoPlace) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  constexpr double kTiny = std::numeric_limits<double>::denorm_min();
  constexpr double kPi = std::numbers::pi;
  const std::vector<double> angles = {0.0,   -0.0,      kTiny,      -kTiny, 1e-300,   9e-7, 1.1e-6,
                                      -1e-6, kPi / 2,   kPi,        -kPi,   -kPi / 2, 1e6,  -1e17,
                                      1e300, kInfinity, -kInfinity, kNan,   0.1,      3.141};
  const auto count = static_cast<Eigen::Index>(angles.size());
  MatrixXd data(3, count * count);
  for (Eigen::Index i = 0; i < count; ++i) {
    for (Eigen::Index k = 0; k < count; ++k) {
      data.col(count * i + k) << angles[static_cast<std::size_t>(i)],
          angles[static_cast<std::size_t>(k)], k % 3 == 0 ? 0.0 : -2.5;
    }
  }
  for (const Registers registers : kRegisters) EXPECT_EQ(Differences(data, registers), 0);
}

TEST(Cartesian, AnyNumberOfColumnsIsConvertedAndNothingBesideThem) {
  for (const Registers registers : kRegisters) {
    MatrixXd none(6, 0);
    SphericalToCartesian(none, 1, registers);
    EXPECT_EQ(none.cols(), 0);
    for (Eigen::Index count = 1; count < 12; ++count) {
      const MatrixXd spherical = Runs(1, 1e-4, 1.0, 5).leftCols(count);
      MatrixXd data = MatrixXd::Constant(6, count, 7.0);
      data.middleRows(1, 3) = spherical;
      SphericalToCartesian(data, 1, registers);
      EXPECT_TRUE((data.row(0).array() == 7.0).all() && (data.bottomRows(2).array() == 7.0).all());
      for (Eigen::Index i = 0; i < count; ++i) {
        const Eigen::Vector3d in = spherical.col(i);
        const PointXYZW point = AzElRange(in[0], in[1], in[2]).ToPoint();
        EXPECT_TRUE(IsSame(data(1, i), point.x()) && IsSame(data(2, i), point.y()) &&
                    IsSame(data(3, i), point.z()))
            << i << " of " << count;
      }
    }
  }
}

}  // namespace
}  // namespace libmfx::data_structures
