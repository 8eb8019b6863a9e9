#include "features/shared/surface_gaps.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

namespace libmfx::features::shared {
namespace {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::VectorXYZW;

constexpr double kSpacing = 1e-4;
const geometry::Plane kSurface(PointXYZW(0, 0, 2), VectorXYZW(0, 0, -1));

/// Lines of 60 samples along x, a millimetre apart, of which those stay that `keep` names; `move`
/// says where sample i of line k lies.
std::vector<PointCloud> Lines(int lines, double spacing, const std::function<bool(int)>& keep,
                              const std::function<Eigen::Vector3d()>& noise = nullptr) {
  std::vector<PointCloud> made;
  int sample = 0;
  for (int k = 0; k < lines; ++k) {
    Eigen::MatrixXd points = Eigen::MatrixXd::Zero(5, 60);
    Eigen::Index kept = 0;
    for (int i = 0; i < 60; ++i) {
      if (!keep(sample++)) continue;
      points.col(kept).head<3>() << spacing * i, 1e-3 * k, 2.0;
      if (noise) points.col(kept).head<3>() += noise();
      ++kept;
    }
    made.emplace_back(Eigen::MatrixXd(points.leftCols(kept)));
  }
  return made;
}

bool All(int) { return true; }

TEST(SurfaceGaps, EvenLinesAreUnbrokenAtAnySpacing) {
  for (const double spacing : {0.3 * kSpacing, kSpacing, 2.5 * kSpacing}) {
    EXPECT_TRUE(SurfaceIsUnbroken(Lines(4, spacing, All), kSurface, kSpacing)) << spacing;
  }
}

TEST(SurfaceGaps, ASixthMayBeMissing) {
  const auto every = [](int n) { return [n](int i) { return i % n != n - 2; }; };
  EXPECT_TRUE(SurfaceIsUnbroken(Lines(4, kSpacing, every(8)), kSurface, kSpacing));
  EXPECT_FALSE(SurfaceIsUnbroken(Lines(4, kSpacing, every(5)), kSurface, kSpacing));
}

TEST(SurfaceGaps, SamplesLostAtRandomBreakIt) {
  for (const double lost : {0.25, 0.5, 0.7}) {
    std::mt19937 rng(11);
    std::bernoulli_distribution is_lost(lost);
    const auto keep = [&](int) { return !is_lost(rng); };
    EXPECT_FALSE(SurfaceIsUnbroken(Lines(8, kSpacing, keep), kSurface, kSpacing)) << lost;
  }
}

TEST(SurfaceGaps, NoiseOfHalfASpacingBreaksNothing) {
  std::mt19937 rng(12);
  std::normal_distribution<double> normal(0.0, 0.5 * kSpacing);
  const auto noise = [&] { return Eigen::Vector3d(normal(rng), 0.0, 0.0); };
  EXPECT_TRUE(SurfaceIsUnbroken(Lines(8, kSpacing, All, noise), kSurface, kSpacing));
}

TEST(SurfaceGaps, OnlyTheSurfaceCounts) {
  // Behind the border a line comes back from 5 mm below, with every second sample lost.
  Eigen::MatrixXd line = Eigen::MatrixXd::Zero(5, 60);
  for (int i = 0; i < 60; ++i) {
    const bool below = i >= 30;
    line.col(i).head<3>() << kSpacing * (below ? 2 * i - 30 : i), 0.0, below ? 2.005 : 2.0;
  }
  EXPECT_TRUE(SurfaceIsUnbroken({PointCloud(line)}, kSurface, kSpacing));
  line.row(2).setConstant(2.0);
  EXPECT_FALSE(SurfaceIsUnbroken({PointCloud(line)}, kSurface, kSpacing));
}

TEST(SurfaceGaps, LinesWithoutGapsTellNothing) {
  EXPECT_TRUE(SurfaceIsUnbroken({}, kSurface, kSpacing));
  EXPECT_TRUE(SurfaceIsUnbroken({PointCloud(), PointCloud(Eigen::MatrixXd::Ones(5, 1))}, kSurface,
                                kSpacing));
  EXPECT_TRUE(SurfaceIsUnbroken(Lines(1, 0.0, All), kSurface, kSpacing));
}

}  // namespace
}  // namespace libmfx::features::shared
