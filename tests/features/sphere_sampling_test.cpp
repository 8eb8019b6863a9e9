// The choice of a spur and the consensus search.

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <sstream>

#include "ball_scene.h"
#include "protected.h"

namespace libmfx::features {
namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;
using test::LogCollector;

const PointCloud::Embeddings kXyz = {{EMBEDDING_XYZ, {0}}};
const Eigen::Vector3d kBall(0.2, 0.1, 3.0);

/// `n` points over the half of a sphere that faces the origin.
PointCloud Cap(double radius, int n, double noise, unsigned seed = 1,
               const Eigen::Vector3d& center = kBall) {
  std::mt19937_64 random(seed);
  std::normal_distribution<double> normal(0.0, 1.0);
  MatrixXd points(3, n);
  for (int i = 0; i < n; ++i) {
    Eigen::Vector3d d(normal(random), normal(random), normal(random));
    d.normalize();
    if (d.dot(center) > 0) d = -d;
    points.col(i) = center + (radius + noise * normal(random)) * d;
  }
  return PointCloud(points, kXyz);
}

bool Logged(const std::wstring& start) {
  for (const std::wstring& text : LogCollector::Texts()) {
    if (text.starts_with(start)) return true;
  }
  return false;
}

struct Choice {
  bool ok;
  unsigned int spur = 99;
  PointXYZW center;
  double radius = -1.0;
  VectorXd residuals;
};

Choice Choose(SphereFit& s, PointCloud (&spurs)[5], double nominal) {
  Choice c{};
  c.ok = PROTECTED(s, FindBestFitSpur)(spurs, c.center, c.radius, c.residuals, c.spur, nominal);
  return c;
}

TEST(SphereBestSpur, TheRadiusNearestTheNominalWins) {
  PointCloud spurs[5] = {Cap(0.0130, 50, 0), Cap(0.0126, 50, 0), Cap(0.0128, 50, 0),
                         Cap(0.0127, 40, 0), Cap(0.0125, 50, 0)};
  SphereFit s;
  const LogCollector collector;
  const Choice c = Choose(s, spurs, 0.0127);
  ASSERT_TRUE(c.ok);
  EXPECT_EQ(c.spur, 3u);
  EXPECT_NEAR(c.radius, 0.0127, 1e-12);
  EXPECT_LT((c.center.xyz() - kBall).norm(), 1e-12);
  EXPECT_EQ(c.residuals.size(), 40);
  EXPECT_EQ(LogCollector::Texts(),
            (std::vector<std::wstring>{L"In FindBestFitSpur - passed in radius: 0.0127",
                                       L"Selected spur 3", L"FindBestFitSpur ended"}));
}

TEST(SphereBestSpur, TheFirstOfEqualsStays) {
  const PointCloud same = Cap(0.0127, 50, 1e-5);
  PointCloud spurs[5] = {Cap(0.02, 50, 0), same, same, same, same};
  SphereFit s;
  EXPECT_EQ(Choose(s, spurs, 0.0127).spur, 1u);
}

TEST(SphereBestSpur, AStraySpurWithALuckyRadiusBeatsGoodQuadrants) {
  // Four points of another sphere, well off the ball, but of exactly its radius.
  PointCloud spurs[5] = {
      Cap(0.0127, 400, 1e-5, 1), Cap(0.0127, 400, 1e-5, 2), Cap(0.0127, 400, 1e-5, 3),
      Cap(0.0127, 4, 0, 4, kBall + Eigen::Vector3d(0.5, 0, 0)), Cap(0.0127, 400, 1e-5, 5)};
  SphereFit s;
  EXPECT_EQ(Choose(s, spurs, 0.0127).spur, 3u);
}

TEST(SphereBestSpur, SpursOfThreePointsOrOfFiveRowsTakeNoPart) {
  PointCloud spurs[5] = {Cap(0.0127, 3, 0), PointCloud(MatrixXd::Zero(5, 1)), Cap(0.0129, 4, 0),
                         PointCloud(MatrixXd::Random(5, 100)), PointCloud()};
  SphereFit s;
  const Choice c = Choose(s, spurs, 0.0127);
  EXPECT_TRUE(c.ok);
  EXPECT_EQ(c.spur, 2u);
}

TEST(SphereBestSpur, FiveBadSpursAreAnError) {
  PointCloud spurs[5];
  SphereFit s;
  const LogCollector collector;
  EXPECT_FALSE(Choose(s, spurs, 0.0127).ok);
  EXPECT_EQ(s.GetError(), "SphereFit::FindBestFitSpur(): Too many bad points! (ERROR_SF_LSF = -5)");
  EXPECT_TRUE(Logged(L"Error: badCtr = 5"));
}

TEST(SphereBestSpur, ABadSpurWinsOverSpheresOfMoreThanTwiceTheRadius) {
  PointCloud spurs[5] = {Cap(0.03, 50, 0), Cap(0.03, 50, 0), PointCloud(), Cap(0.03, 50, 0),
                         PointCloud()};
  SphereFit s;
  const Choice c = Choose(s, spurs, 0.0127);
  EXPECT_FALSE(c.ok);
  EXPECT_EQ(c.spur, 2u);
  EXPECT_EQ(c.radius, 0.0);
  EXPECT_EQ(c.residuals, VectorXd(VectorXd::Zero(4)));
  EXPECT_EQ(s.GetError(),
            "SphereFit::FindBestFitSpur(): The best spur is bad. (ERROR_SF_LSF = -5)");
}

struct Estimate {
  bool ok;
  PointXYZW center;
  double radius = -1.0;
  VectorXd residuals;
};

Estimate Sample(SphereFit& s, const PointCloud& cloud, double tolerance, double nominal = 0.0127) {
  Estimate e{};
  e.ok =
      PROTECTED(s, SamplingSphereFit)(cloud, nominal, e.center, e.radius, e.residuals, tolerance);
  return e;
}

TEST(SphereSampling, FindsTheSphereInManyRuns) {
  for (unsigned run = 0; run < 40; ++run) {
    SphereFit s;
    const PointCloud cloud = Cap(0.0127, 300 + 20 * run, 5e-6, run);
    const Estimate e = Sample(s, cloud, 2e-4);
    ASSERT_TRUE(e.ok) << s.GetError();
    EXPECT_LT((e.center.xyz() - kBall).norm(), 2e-5);
    EXPECT_NEAR(e.radius, 0.0127, 2e-5);
    ASSERT_EQ(e.residuals.size(), cloud.cols()) << "of all points, not of the sample alone";
    EXPECT_NEAR(e.residuals[7], (cloud.data().col(7) - e.center.xyz()).norm() - e.radius, 1e-18);
  }
}

TEST(SphereSampling, Logs) {
  SphereFit s;
  const LogCollector collector;
  const Estimate e = Sample(s, Cap(0.0127, 400, 1e-6), 2e-4);
  ASSERT_TRUE(e.ok);
  const std::vector<std::wstring> texts = LogCollector::Texts();
  ASSERT_EQ(texts.size(), 7u);
  EXPECT_EQ(texts[0], L"SamplingSphereFit() started");
  EXPECT_TRUE(texts[1].starts_with(L"No. of fitPoints columns: "));
  EXPECT_TRUE(texts[1].ends_with(L" meets or exceeds the fit threshold: 53.444"));
  EXPECT_EQ(texts[2], L"First estimate");
  EXPECT_NE(texts[3].find(L"| 0.012"), std::wstring::npos);
  EXPECT_EQ(texts[4], L"Second estimate");
  std::wostringstream second, end;
  const PointXYZW& c = e.center;
  second << c.x() << " " << c.y() << " " << c.z() << " | " << e.radius;
  EXPECT_EQ(texts[5], second.str());
  end << "SamplingSphereFit() ended. Return estimate: CenterPoint(" << c.x() << "," << c.y() << ","
      << c.z() << ")  Radius - " << e.radius;
  EXPECT_EQ(texts[6], end.str());
}

TEST(SphereSampling, AFewSamplesOfTheWrongRadiusAreNotAdopted) {
  SphereFit s;
  EXPECT_FALSE(Sample(s, Cap(0.0135, 400, 1e-6), 2e-4).ok);
  EXPECT_EQ(s.GetError(),
            "SphereFit::SamplingSphereFit(): The number of fitPoints is less than the fit "
            "threshold! (ERROR_QUALITY)");
}

TEST(SphereSampling, ATenthOfTheToleranceDecides) {
  // Off by 15 um: a tolerance of 0.2 mm adopts it, one of 0.1 mm does not.
  SphereFit wide, narrow;
  const PointCloud cloud = Cap(0.012715, 400, 0.0);
  EXPECT_TRUE(Sample(wide, cloud, 2e-4).ok);
  EXPECT_FALSE(Sample(narrow, cloud, 1e-4).ok);
}

TEST(SphereSampling, ASpurOfExactlyTheThresholdRunsAllRoundsAndPasses) {
  // 25 columns and a sample of 25: the set can reach the threshold but never exceed it.
  SphereFit s;
  const LogCollector collector;
  EXPECT_TRUE(Sample(s, Cap(0.0127, 25, 1e-7), 2e-4).ok) << s.GetError();
  EXPECT_FALSE(Logged(L"No. of fitPoints columns"));
}

TEST(SphereSampling, ASpurBelowTheSampleSizeCannotReachTheThreshold) {
  SphereFit s;
  EXPECT_FALSE(Sample(s, Cap(0.0127, 24, 0.0), 2e-4).ok);
  EXPECT_NE(s.GetError().find("less than the fit threshold"), std::string::npos);
}

TEST(SphereSampling, TheSampleIsAFortiethOfALargeCloudInSinglePrecision) {
  // 2000 columns draw 50 and want 267.22.
  SphereFit s;
  const LogCollector collector;
  ASSERT_TRUE(Sample(s, Cap(0.0127, 2000, 1e-6), 2e-4).ok);
  const std::wstring line = LogCollector::Texts()[1];
  EXPECT_TRUE(line.ends_with(L"fit threshold: 267.22"));
  EXPECT_LE(std::stoi(line.substr(line.find(L": ") + 2)), 267 + 50);
}

TEST(SphereSampling, ASampleOfFewerThanFourIsAnError) {
  SphereFit s;
  s.SetSetting<int>(L"NumSamplePoints", 3);
  EXPECT_FALSE(Sample(s, Cap(0.0127, 100, 0.0), 2e-4).ok);
  EXPECT_EQ(s.GetError(), "SphereFit::SamplingSphereFit(): SphereFitLS failed.");
}

TEST(SphereSampling, AnAbsurdSampleSizeIsRefusedLikeMissingMemory) {
  SphereFit s;
  s.SetSetting<int>(L"NumSamplePoints", 2147483647);
  EXPECT_FALSE(Sample(s, Cap(0.0127, 100, 0.0), 2e-4).ok);
  EXPECT_EQ(s.GetError(),
            "SphereFit::SamplingSphereFit(): Failed to allocate memory. (ERROR_SF_HARDWARE)");
}

TEST(SphereSampling, AnEmptyCloudIsAnError) {
  SphereFit s;
  EXPECT_FALSE(Sample(s, PointCloud(MatrixXd(3, 0)), 2e-4).ok);
  EXPECT_EQ(s.GetError(), "SphereFit::SamplingSphereFit(): SphereFitLS failed.");
  SphereFit none;
  none.SetSetting<int>(L"NumSamplePoints", -5);
  EXPECT_FALSE(Sample(none, PointCloud(), 2e-4).ok);
}

}  // namespace
}  // namespace libmfx::features
