#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "feature_probe.h"
#include "hole_request.h"
#include "libmfx/features/hole.h"
#include "protected.h"

namespace libmfx::features {
namespace {

using namespace test;

using Points = std::vector<Eigen::Vector3d>;

constexpr const char* kTooFew =
    "Hole::FitRobustPlane(): insufficient weighting for a quality plane fit!";
constexpr const char* kAngle =
    "Hole::FitRobustPlane(): The normal vector of the fit plane exceeds the angle to nominal "
    "rejection threshold.";

PointCloud Line(const Points& points, int segment) {
  Eigen::MatrixXd data(5, static_cast<Eigen::Index>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i) {
    data.col(static_cast<Eigen::Index>(i)) << points[i], 80.0, segment;
  }
  return PointCloud(std::move(data), {{EMBEDDING_XYZ, {0}}});
}

/// A hole whose scan lines are given; a hole of 8 mm has the fast star.
Hole HoleWith(std::vector<PointCloud> segments, double radius = 0.008) {
  Hole hole(HoleRequest(radius).dump());
  PROTECTED(hole, _segments) = std::move(segments);
  return hole;
}

struct Fit {
  bool ok = false;
  std::vector<PointCloud> inliers, outliers;
};

Fit FitPlane(Hole& hole, double tolerance, double max_distance = 0.013, double min_distance = 0.0) {
  Fit fit;
  fit.ok =
      PROTECTED(hole, FitRobustPlane)(hole.GetSetting<PointXYZW>(L"NominalPoint"), min_distance,
                                      max_distance, 1.0, 1.0, tolerance, fit.inliers, fit.outliers);
  return fit;
}

/// Star lines of 40 points each over z = 2 + `height(x, y)`.
template <typename Height>
std::vector<PointCloud> Star(Height height, double step = 0.0001) {
  std::vector<PointCloud> lines;
  for (int i = 0; i < 6; ++i) {
    Points points;
    const double turn = 1.05 * i;
    for (int j = 0; j < 40; ++j) {
      const double r = 0.012 - step * j;
      const double x = r * std::cos(turn);
      const double y = r * std::sin(turn);
      points.emplace_back(x, y, 2.0 + height(x, y));
    }
    lines.push_back(Line(points, 2 * i + 1));
  }
  return lines;
}

TEST(HolePlane, WeightsThatSumBelow3Fail) {
  // Two lines: one point weighs 1, of two the second weighs exp(-1/8): 2.88 together.
  Hole few = HoleWith({Line({{0, 0, 2}}, 1), Line({{0.01, 0, 2}, {0, 0.01, 2}}, 3)});
  EXPECT_FALSE(FitPlane(few, 1e-4).ok);
  EXPECT_EQ(few.GetError(), kTooFew);
}

TEST(HolePlane, WeightsThatSumTo3Pass) {
  Hole three = HoleWith({Line({{0, 0, 2}}, 1), Line({{0.01, 0, 2}}, 3), Line({{0, 0.01, 2}}, 5)});
  EXPECT_TRUE(FitPlane(three, 1e-4).ok) << three.GetError();
}

TEST(HolePlane, NoPointsAtAllFail) {
  Hole none = HoleWith({});
  EXPECT_FALSE(FitPlane(none, 1e-4).ok);
  EXPECT_EQ(none.GetError(), kTooFew);
  Hole empty = HoleWith({PointCloud(Eigen::MatrixXd(5, 0))});
  EXPECT_FALSE(FitPlane(empty, 1e-4).ok);
  EXPECT_EQ(empty.GetError(), kTooFew);
}

TEST(HolePlane, TheRingIsClosedAtBothEnds) {
  const std::vector<PointCloud> lines{Line({{0.5, 0, 2}}, 1), Line({{0, 0.5, 2}}, 3),
                                      Line({{-0.25, 0, 2}}, 5)};
  Hole on_both = HoleWith(lines);
  EXPECT_TRUE(FitPlane(on_both, 1e-4, 0.5, 0.25).ok);
  Hole beyond = HoleWith(lines);
  EXPECT_FALSE(FitPlane(beyond, 1e-4, std::nextafter(0.5, 0.0), 0.25).ok);
  Hole within = HoleWith(lines);
  EXPECT_FALSE(FitPlane(within, 1e-4, 0.5, std::nextafter(0.25, 1.0)).ok);
}

/// The weights that the fit ends with, by column of the joined lines, from the clouds it sorted
/// them into; the columns of each line have to be told apart by their x.
Eigen::VectorXd FinalWeights(const Fit& fit, const std::vector<PointCloud>& lines) {
  std::vector<double> weights;
  for (std::size_t s = 0; s < lines.size(); ++s) {
    for (Eigen::Index j = 0; j < lines[s].cols(); ++j) {
      double weight = 0.0;
      for (Eigen::Index k = 0; k < fit.inliers[s].cols(); ++k) {
        if (fit.inliers[s].data()(0, k) == lines[s].data()(0, j)) {
          weight = fit.inliers[s].data()(5, k);
        }
      }
      weights.push_back(weight);
    }
  }
  return Eigen::Map<Eigen::VectorXd>(weights.data(), static_cast<Eigen::Index>(weights.size()));
}

TEST(HolePlane, ALineWithoutPointsInTheRingLeavesTheOffsetBehind) {
  // The first line lies beyond the ring: the weights of the second fall on its columns, those of
  // the third on the second's, and the last columns carry none.
  const std::vector<PointCloud> lines{
      Line({{0.101, 0, 2}, {0.102, 0, 2}}, 1), Line({{0.003, 0, 2}, {0.004, 0, 2}}, 5),
      Line({{0.005, 0.01, 2}, {0.006, 0.01, 2}}, 9), Line({{0.007, -0.01, 2}}, 13)};
  Hole hole = HoleWith(lines);
  const Fit fit = FitPlane(hole, 1e-4);
  ASSERT_TRUE(fit.ok) << hole.GetError();
  const double second = std::exp(-0.125);
  Eigen::VectorXd expected(7);
  expected << 1, second, 1, second, 1, 0, 0;
  EXPECT_LT((FinalWeights(fit, lines) - expected).norm(), 1e-15)
      << FinalWeights(fit, lines).transpose();
  EXPECT_EQ(fit.inliers[0].cols(), 2) << "points beyond the ring carry the weights";
  EXPECT_EQ(fit.outliers[3].cols(), 1);
}

TEST(HolePlane, WindowsBeginFarFromTheRim) {
  const Points points{{0.001, 0, 2}, {0.002, 0.01, 2}, {0.003, 0, 2}, {0.004, -0.01, 2}};
  const auto weights = [&](int segment, double radius) {
    const std::vector<PointCloud> lines{Line(points, segment)};
    Hole hole = HoleWith(lines, radius);
    const Fit fit = FitPlane(hole, 1e-4);
    EXPECT_TRUE(fit.ok) << hole.GetError();
    return FinalWeights(fit, lines);
  };
  const std::vector<double> window = GaussianWindow(4, 1.0);
  const Eigen::VectorXd falls = Eigen::Map<const Eigen::VectorXd>(window.data(), 4);
  const Eigen::VectorXd rises = falls.reverse();
  constexpr double kFast = 0.008;
  constexpr double kPlain = 0.004;
  EXPECT_EQ(weights(1, kFast), falls);
  EXPECT_EQ(weights(3, kFast), rises);
  EXPECT_EQ(weights(5, kFast), falls);
  EXPECT_EQ(weights(7, kFast), rises);
  EXPECT_EQ(weights(1, kPlain), falls);
  EXPECT_EQ(weights(2, kPlain), rises);
  EXPECT_EQ(weights(4, kPlain), falls);
  EXPECT_EQ(weights(5, kPlain), rises);
}

TEST(HolePlane, ToleranceEqualToTheWorstResidualDoesNotEndTheRounds) {
  const auto lines = Star([](double x, double y) { return 1e-4 * std::sin(900 * x + 700 * y); });
  Hole probe = HoleWith(lines);
  const Fit first = FitPlane(probe, 1.0);
  ASSERT_TRUE(first.ok);
  // The rounds look at the plane as the fit left it, which a turned normal does not change.
  double worst = 0.0;
  for (const PointCloud& line : lines) {
    for (Eigen::Index j = 0; j < line.cols(); ++j) {
      worst = std::max(worst, std::abs((line.point(j) - PROTECTED(probe, _plane).Point())
                                           .dot(PROTECTED(probe, _plane).Normal())));
    }
  }
  const auto cut = [&](double tolerance) {
    Hole hole = HoleWith(lines);
    const Fit fit = FitPlane(hole, tolerance);
    Eigen::Index count = 0;
    for (const PointCloud& cloud : fit.outliers) count += cloud.cols();
    return count;
  };
  const double slack = 1e-15;  // the test sums in its own order
  EXPECT_EQ(cut(worst + slack), 0);
  EXPECT_GT(cut(worst - slack), 0);
  Hole flat = HoleWith(Star([](double, double) { return 0.0; }));
  EXPECT_TRUE(FitPlane(flat, 0.0).ok) << "even a tolerance that nothing beats ends after 10 rounds";
}

TEST(HolePlane, CutsAwayWhatLiesBelow) {
  auto lines = Star([](double x, double y) { return std::hypot(x, y) < 0.0085 ? 0.02 : 0.0; });
  Hole hole = HoleWith(lines);
  const Fit fit = FitPlane(hole, 3e-4);
  ASSERT_TRUE(fit.ok);
  EXPECT_NEAR(PROTECTED(hole, _plane).Normal().z(), -1.0, 1e-12) << "faces the instrument";
  for (std::size_t s = 0; s < lines.size(); ++s) {
    EXPECT_EQ(fit.inliers[s].cols() + fit.outliers[s].cols(), 40);
    EXPECT_EQ(fit.inliers[s].rows(), 6);
    EXPECT_EQ(fit.outliers[s].rows(), 5);
    for (Eigen::Index j = 0; j < fit.outliers[s].cols(); ++j) {
      EXPECT_GT(fit.outliers[s].data()(2, j), 2.01);
    }
  }
}

TEST(HolePlane, ExactlyTheRejectAnglePasses) {
  const auto lines = Star([](double x, double) { return 0.1 * x; });
  Hole probe = HoleWith(lines);
  ASSERT_TRUE(FitPlane(probe, 1e-4).ok);
  const double angle = std::acos(std::abs(
      PROTECTED(probe, _plane).Normal().dot(probe.GetSetting<VectorXYZW>(L"NominalNormal"))));
  EXPECT_NEAR(angle, std::atan(0.1), 1e-9);
  Hole passes = HoleWith(lines);
  PROTECTED(passes, _normal_reject_angle) = angle;
  EXPECT_TRUE(FitPlane(passes, 1e-4).ok);
  Hole fails = HoleWith(lines);
  PROTECTED(fails, _normal_reject_angle) = std::nextafter(angle, 0.0);
  EXPECT_FALSE(FitPlane(fails, 1e-4).ok);
  EXPECT_EQ(fails.GetError(), kAngle);
  EXPECT_GT(PROTECTED(fails, _plane).Normal().z(), 0.0)
      << "the plane that fails is left turned away";
}

TEST(HolePlane, TheNominalNormalCountsWithoutSign) {
  const auto lines = Star([](double, double) { return 0.0; });
  Hole hole = HoleWith(lines);
  hole.SetSetting<VectorXYZW>(L"NominalNormal", VectorXYZW(0, 0, 1));
  EXPECT_TRUE(FitPlane(hole, 1e-4).ok);
  EXPECT_NEAR(PROTECTED(hole, _plane).Normal().z(), -1.0, 1e-12);
}

TEST(HolePlane, CoincidentPointsFailInWords) {
  Hole hole = HoleWith({Line(Points(20, {0, 0, 2}), 1)});
  EXPECT_FALSE(FitPlane(hole, 1e-4).ok);
  EXPECT_EQ(hole.GetError(), kAngle) << "a plane without normal stands at a right angle to all";
}

TEST(HolePlane, PointsThatAreAllEquallyFarFromTheirPlaneFailInWords) {
  // A saddle of four points, each a line of its own and so of weight 1.
  Hole hole = HoleWith({Line({{0.01, 0, 2.001}}, 1), Line({{0, 0.01, 1.999}}, 3),
                        Line({{-0.01, 0, 2.001}}, 5), Line({{0, -0.01, 1.999}}, 7)});
  EXPECT_FALSE(FitPlane(hole, 1e-5).ok);
  EXPECT_EQ(hole.GetError(), "Hole::FitRobustPlane(): The fit plane is degenerate.");
}

TEST(HolePlane, NoPointsAreLostWhateverTheLines) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> length(-0.02, 0.02);
  for (int round = 0; round < 50; ++round) {
    std::vector<PointCloud> lines;
    for (int s = 0; s < 8; ++s) {
      Points points;
      for (unsigned j = 0; j < random() % 9; ++j) {
        points.emplace_back(length(random), length(random), 2.0 + 0.01 * length(random));
      }
      lines.push_back(Line(points, 2 * s + 1));
    }
    Hole hole = HoleWith(lines);
    const Fit fit = FitPlane(hole, 3e-4);
    if (fit.inliers.empty()) continue;
    for (std::size_t s = 0; s < lines.size(); ++s) {
      EXPECT_EQ(fit.inliers[s].cols() + fit.outliers[s].cols(), lines[s].cols());
    }
  }
}

}  // namespace
}  // namespace libmfx::features
