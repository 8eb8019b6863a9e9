// The outlier removal of a surface point beside the plain algorithm: a fit of all points that are
// left, and a look at all their residuals, in every round.

#include <gtest/gtest.h>

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "geometry/peeling/peeler.h"
#include "libmfx/features/pvi.h"
#include "protected.h"
#include "random_cases.h"

namespace libmfx::features {
namespace {

using Eigen::Index;
using Eigen::Matrix3Xd;
using Engine = std::mt19937_64;
using Longs = Eigen::Matrix<long double, 3, Eigen::Dynamic>;

/// What a round of the plain algorithm finds.
struct Round {
  double deviation = 0.0;
  Eigen::Matrix<long double, 1, Eigen::Dynamic> distances;
};

Round FitAnew(const Matrix3Xd& points, const std::vector<Index>& left) {
  const Longs taken = points(Eigen::all, left).cast<long double>();
  const Eigen::Matrix<long double, 3, 1> centroid = taken.rowwise().mean();
  const Longs centred = taken.colwise() - centroid;
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix<long double, 3, 3>> eigen(
      (centred * centred.transpose()).eval());
  Round round;
  round.distances = (eigen.eigenvectors().col(0).transpose() * centred).cwiseAbs();
  const auto n = static_cast<long double>(left.size());
  round.deviation = static_cast<double>(std::sqrt(round.distances.squaredNorm() / n));
  return round;
}

/// Peels `rounds` points off and compares each round. `tolerance` is what the rounding of the
/// coordinates may make of a distance.
void ComparePeeling(const Matrix3Xd& points, Index rounds, double tolerance) {
  geometry::peeling::Peeler peeler(points);
  std::vector<Index> left(static_cast<std::size_t>(points.cols()));
  for (std::size_t i = 0; i < left.size(); ++i) left[i] = static_cast<Index>(i);
  for (Index k = 0; k < rounds; ++k) {
    const Round round = FitAnew(points, left);
    ASSERT_NEAR(peeler.Deviation(), round.deviation, tolerance + 1e-12 * round.deviation) << k;
    const Index column = peeler.RemoveFarthest();
    const auto found = std::find(left.begin(), left.end(), column);
    ASSERT_NE(found, left.end()) << k;
    // The farthest, or as far as rounding lets it be told from that.
    const auto distance = round.distances[found - left.begin()];
    const auto farthest = round.distances.maxCoeff();
    ASSERT_GE(distance, farthest * (1.0L - 1e-12L) - static_cast<long double>(tolerance)) << k;
    left.erase(found);
    ASSERT_EQ(peeler.Left(), static_cast<Index>(left.size()));
  }
}

double Normal(Engine& engine) { return std::normal_distribution<double>()(engine); }
double Uniform(Engine& engine) { return std::uniform_real_distribution<double>(-1, 1)(engine); }

/// A patch with noise of a hundredth of its size.
Eigen::Vector3d OnPatch(Engine& engine) {
  const double x = Uniform(engine), y = Uniform(engine);
  return {x, y, 0.3 * x - 0.8 * y + 0.01 * Normal(engine)};
}

/// A cloud of the sizes of a measurement: azimuth, elevation and range.
Eigen::Vector3d AsMeasured(const Eigen::Vector3d& p) {
  return {0.4 + 1e-3 * p.x(), -0.2 + 2e-3 * p.y(), 7.0 + 2e-3 * p.z()};
}

struct Family {
  const char* name;
  std::function<Eigen::Vector3d(Engine&, int)> point;
  double tolerance;  ///< a few units in the last place of the largest coordinate
};

const Family kFamilies[] = {
    {"noise", [](Engine& e, int) { return OnPatch(e); }, 4e-16},
    {"as measured", [](Engine& e, int) { return AsMeasured(OnPatch(e)); }, 4e-15},
    {"outliers of all sizes",
     [](Engine& e, int i) {
       Eigen::Vector3d p = OnPatch(e);
       if (i % 9 == 0) p.z() += std::exp(6.0 * Uniform(e));
       return p;
     },
     4e-13},
    {"outliers along the surface",
     [](Engine& e, int i) {
       const Eigen::Vector3d p = OnPatch(e);
       return i % 50 == 0 ? Eigen::Vector3d(1e4 * p.x(), 1e4 * p.y(), p.z()) : p;
     },
     1e-11},
    {"a second surface",
     [](Engine& e, int i) {
       const Eigen::Vector3d p = OnPatch(e);
       return AsMeasured(i % 4 == 0 ? Eigen::Vector3d(p.x(), p.y(), 0.2 + p.z() - p.x()) : p);
     },
     4e-15},
    {"a ball", [](Engine& e, int) { return Eigen::Vector3d(Normal(e), Normal(e), Normal(e)); },
     4e-15},
    {"a needle",
     [](Engine& e, int) { return Eigen::Vector3d(9 * Uniform(e), Normal(e), Normal(e)); }, 4e-14},
    {"far away",
     [](Engine& e, int) { return Eigen::Vector3d(OnPatch(e) + Eigen::Vector3d(1e6, -3e5, 2e6)); },
     2e-9},
    {"tiny", [](Engine& e, int) { return Eigen::Vector3d(1e-170 * OnPatch(e)); }, 1e-185},
    {"huge", [](Engine& e, int) { return Eigen::Vector3d(1e170 * OnPatch(e)); }, 1e155},
    {"tilted and exactly coplanar",
     [](Engine& e, int) {
       const double x = Uniform(e), y = Uniform(e);
       return AsMeasured({x, y, 0.3 * x - 0.8 * y});
     },
     4e-15},
    {"in one line",
     [](Engine& e, int) { return Eigen::Vector3d(Uniform(e) * Eigen::Vector3d(1.0, 0.7, -2.0)); },
     4e-15},
    {"duplicates",
     [](Engine& e, int i) {
       Engine own(static_cast<std::uint64_t>(i % 40) + e.min());
       return AsMeasured(OnPatch(own));
     },
     4e-15},
    {"ranges read to full micrometres",
     [](Engine& e, int) {
       Eigen::Vector3d p = AsMeasured(OnPatch(e));
       p.z() = std::round(p.z() * 1e6) * 1e-6;
       return p;
     },
     4e-15},
    {"sizes that double",
     [](Engine& e, int i) {
       return Eigen::Vector3d(std::ldexp(1.0, i % 30) *
                              Eigen::Vector3d(Normal(e), Normal(e), Normal(e)));
     },
     1e-6},
};

TEST(PviPeeling, IsThatOfAFreshFitInEveryRound) {
  Engine engine(20);
  for (const Family& family : kFamilies) {
    const auto n_of = [](int draw) { return draw % 3 == 0 ? 12 : draw % 3 == 1 ? 90 : 400; };
    for (int draw = 0; draw < test::Draws(9, 3); ++draw) {
      SCOPED_TRACE(std::string(family.name) + ", " + std::to_string(draw));
      Matrix3Xd points(3, n_of(draw));
      for (int i = 0; i < points.cols(); ++i) points.col(i) = family.point(engine, i);
      ComparePeeling(points, points.cols() - (draw % 2 == 0 ? 3 : points.cols() / 2),
                     family.tolerance);
      if (HasFatalFailure()) break;
    }
  }
}

/// The order in which all points but three go.
std::vector<Index> OrderOf(const Matrix3Xd& points) {
  geometry::peeling::Peeler peeler(points);
  std::vector<Index> order;
  while (peeler.Left() > 3) order.push_back(peeler.RemoveFarthest());
  return order;
}

TEST(PviPeeling, TheFirstColumnWinsATie) {
  // All residuals are zero, and stay so.
  Matrix3Xd flat(3, 1000);
  for (int i = 0; i < 1000; ++i) flat.col(i) << 0.1 * (i % 31), 0.3 * (i % 37), 0.7;
  const Matrix3Xd spot = Eigen::Vector3d(0.1, -0.2, 2.0).replicate(1, 1000);
  for (const Matrix3Xd& points : {flat, spot}) {
    const std::vector<Index> order = OrderOf(points);
    for (std::size_t i = 0; i < order.size(); ++i) ASSERT_EQ(order[i], static_cast<Index>(i));
  }
  // Pairs on either side, at the corners of squares: exact sums leave an exact plane.
  Matrix3Xd pairs(3, 16);
  for (int i = 0; i < 16; ++i) {
    const int corner = i % 4, level = 1 + i / 8;
    pairs.col(i) << (corner % 2 == 0 ? 64 : -64), (corner / 2 == 0 ? 64 : -64),
        (i % 8 < 4 ? level : -level);
  }
  EXPECT_EQ(geometry::peeling::Peeler(pairs).RemoveFarthest(), 8);
}

/// The kept columns of the plain algorithm, by their number; empty if too few are left.
std::vector<Index> KeptAnew(const Matrix3Xd& points, double percentage, double cut_ratio) {
  std::vector<Index> left(static_cast<std::size_t>(points.cols()));
  for (std::size_t i = 0; i < left.size(); ++i) left[i] = static_cast<Index>(i);
  std::vector<Index> kept = left;
  Round round = FitAnew(points, left);
  double share = 0.0;
  do {
    Index farthest;
    round.distances.maxCoeff(&farthest);
    left.erase(left.begin() + farthest);
    const Round next = FitAnew(points, left);
    if (next.deviation / round.deviation < cut_ratio) kept = left;
    round = next;
    share = 1.0 - static_cast<double>(left.size()) / static_cast<double>(points.cols());
  } while (!(percentage / 100.0 <= share) && left.size() >= 4);
  return left.size() == 3 ? std::vector<Index>() : kept;
}

/// What `RemoveOutliers` keeps, by a number in a row of its own.
std::vector<Index> Kept(const Matrix3Xd& points, double percentage, double cut_ratio) {
  PVI pvi;
  pvi.SetSetting(L"MaxFiltertPrct", percentage);
  pvi.SetSetting(L"FilterCutRatio", cut_ratio);
  Eigen::MatrixXd data(5, points.cols());
  data.topRows(3) = points;
  for (Index i = 0; i < points.cols(); ++i) data(3, i) = data(4, i) = static_cast<double>(i);
  PointCloud cloud(data);
  if (!PROTECTED(pvi, RemoveOutliers)(cloud)) return {};
  std::vector<Index> kept;
  for (Index i = 0; i < cloud.cols(); ++i) kept.push_back(static_cast<Index>(cloud.data()(4, i)));
  return kept;
}

TEST(PviPeeling, WhatIsKeptIsThatOfThePlainAlgorithm) {
  Engine engine(21);
  int dropped = 0;
  for (int draw = 0; draw < test::Draws(120, 20); ++draw) {
    const int n = 4 + static_cast<int>(engine() % 120);
    Matrix3Xd points(3, n);
    for (int i = 0; i < n; ++i) {
      Eigen::Vector3d p = OnPatch(engine);
      if (engine() % 12 == 0) p.z() += 3.0 * Uniform(engine);
      points.col(i) = AsMeasured(p);
    }
    const double percentage = draw % 4 == 0   ? 30.0
                              : draw % 4 == 1 ? 75.0
                              : draw % 4 == 2 ? 5.0
                                              : 0.0;
    const double cut_ratio = draw % 5 == 0 ? 0.98 : 0.9;
    const std::vector<Index> kept = Kept(points, percentage, cut_ratio);
    ASSERT_EQ(kept, KeptAnew(points, percentage, cut_ratio)) << draw;
    dropped += static_cast<int>(kept.size()) < n ? 1 : 0;
  }
  EXPECT_GT(dropped, test::Draws(60, 8));
}

TEST(PviPeeling, TwoHundredThousandSamplesRunThrough) {
  Engine engine(22);
  Matrix3Xd points(3, 200000);
  for (int i = 0; i < 200000; ++i) {
    points.col(i) = AsMeasured(OnPatch(engine));
    if (i % 100 == 0) points(2, i) += 0.001 * Uniform(engine);
  }
  // One gross outlier, which alone makes a third of the scatter.
  points(2, 777) += 0.03;
  const std::vector<Index> kept = Kept(points, 30.0, 0.9);
  ASSERT_EQ(kept.size(), 199999u);
  EXPECT_EQ(kept[777], 778);
}

}  // namespace
}  // namespace libmfx::features
