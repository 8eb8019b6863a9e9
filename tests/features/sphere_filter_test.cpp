// The filters of the sphere's analysis, each on clouds made by hand.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "ball_scene.h"
#include "protected.h"

namespace libmfx::features {
namespace {

using Eigen::MatrixXd;
using test::LogCollector;

const PointCloud::Embeddings kAer = {{EMBEDDING_AER, {0}}};
const PointCloud::Embeddings kXyz = {{EMBEDDING_XYZ, {0}}};

/// A cloud of raw samples: azimuth, elevation, range, quality each; the status counts up.
PointCloud Samples(const std::vector<std::array<double, 4>>& samples) {
  MatrixXd data(5, samples.size());
  for (std::size_t i = 0; i < samples.size(); ++i) {
    for (int r = 0; r < 4; ++r) data(r, i) = samples[i][r];
    data(4, i) = static_cast<double>(i);
  }
  return PointCloud(data, kAer);
}

bool Logged(const std::wstring& text) {
  const std::vector<std::wstring> texts = LogCollector::Texts();
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

Eigen::Vector3d Place(double az, double el, double range) {
  return AzElRange(az, el, range).ToPoint().xyz();
}

TEST(SphereFilterByDistance, ComparesTheAzimuthInRadiansWithADistanceInMetres) {
  SphereFit s;
  PointCloud out;
  const PointCloud cloud = Samples({{0.0, 0.0, 2.0, 60},
                                    {0.01, 0.5, 900.0, 60},
                                    {-0.01, 0.0, 2.0, 60},
                                    {0.0101, 0.0, 2.0, 60},
                                    {0.0, 0.0, 2.0, 50},
                                    {0.0, -0.3, 3.0, 50.001}});
  ASSERT_TRUE(PROTECTED(s, FilterByDistance)(cloud, AzElRange(0.0, 0.2, 5.0), out, 0.01, 50.0));
  ASSERT_EQ(out.cols(), 4) << "neither range nor elevation plays a part";
  ASSERT_EQ(out.rows(), 3);
  EXPECT_LT((out.data().col(1) - Place(0.01, 0.5, 900.0)).norm(), 1e-12);
  EXPECT_LT((out.data().col(3) - Place(0.0, -0.3, 3.0)).norm(), 1e-12);
  EXPECT_EQ(out.embeddings(), kXyz);
}

TEST(SphereFilterByDistance, FewerThanFourAreAnError) {
  SphereFit s;
  PointCloud out;
  const std::array<double, 4> sample{0.1, 0.0, 2.0, 60};
  const AzElRange center(0.1, 0.0, 2.0);
  EXPECT_FALSE(
      PROTECTED(s, FilterByDistance)(Samples({sample, sample, sample}), center, out, 0.01, 50.0));
  EXPECT_EQ(s.GetError(),
            "FilterByDistance(): FilterByDistance failed (ERROR_SF_FILTER = -10). Bad filtered "
            "data!");
  SphereFit four;
  EXPECT_TRUE(PROTECTED(four, FilterByDistance)(Samples({sample, sample, sample, sample}), center,
                                                out, 0.01, 50.0));
}

TEST(SphereFilterByDistance, SamplesThatAreNotFiniteDoNotPass) {
  SphereFit s;
  PointCloud out;
  const double nan = std::nan("");
  const double inf = std::numeric_limits<double>::infinity();
  const std::array<double, 4> good{0.1, 0.0, 2.0, 60};
  const PointCloud cloud = Samples({good,
                                    {nan, 0, 2, 60},
                                    good,
                                    {0.1, nan, 2, 60},
                                    good,
                                    {0.1, 0, inf, 60},
                                    good,
                                    {0.1, 0, 2, inf}});
  ASSERT_TRUE(PROTECTED(s, FilterByDistance)(cloud, AzElRange(0.1, 0.0, 2.0), out, 0.01, 50.0));
  EXPECT_EQ(out.cols(), 4);
  EXPECT_TRUE(out.data().allFinite());
}

/// Samples in all quadrants around (0.1, 0.2, 2): `n` in each, at up to 4 mrad.
std::vector<std::array<double, 4>> AllAround(int n) {
  std::vector<std::array<double, 4>> samples;
  for (int i = 1; i <= n; ++i) {
    const double a = 0.004 * i / n;
    samples.push_back({0.1 + a, 0.2 + a, 2.0, 80});
    samples.push_back({0.1 - a, 0.2 + a, 2.0, 80});
    samples.push_back({0.1 - a, 0.2 - a, 2.0, 80});
    samples.push_back({0.1 + a, 0.2 - a, 2.0, 80});
  }
  return samples;
}

const AzElRange kCenter(0.1, 0.2, 2.0);
constexpr double kRadius = 0.01;

/// A feature whose nominal is the centre, and the spurs that it cuts out of samples.
struct Cut {
  Cut() { s.SetSetting<PointXYZW>(L"NominalPoint", kCenter.ToPoint()); }
  bool From(const PointCloud& cloud, double radius = kRadius) {
    return PROTECTED(s, FilterByDistanceFromAzElMedianSpur)(cloud, kCenter, spurs, radius, 50.0);
  }
  bool From(const std::vector<std::array<double, 4>>& samples, double radius = kRadius) {
    return From(Samples(samples), radius);
  }

  SphereFit s;
  PointCloud spurs[5];
};

TEST(SphereSpurs, QuadrantsTakeTheirSamplesInOrder) {
  Cut cut;
  const PointCloud cloud = Samples(AllAround(6));
  ASSERT_TRUE(cut.From(cloud));
  for (int q = 0; q < 4; ++q) {
    ASSERT_EQ(cut.spurs[q].cols(), 6) << q;
    ASSERT_EQ(cut.spurs[q].rows(), 3);
    EXPECT_EQ(cut.spurs[q].embeddings(), kXyz);
    const double a = 0.004 / 6;
    const double az = q == 0 || q == 3 ? a : -a;
    const double el = q < 2 ? a : -a;
    EXPECT_LT((cut.spurs[q].data().col(0) - Place(0.1 + az, 0.2 + el, 2.0)).norm(), 1e-15);
  }
}

TEST(SphereSpurs, TheCentreItselfBelongsToTheFirstQuadrant) {
  Cut cut;
  std::vector<std::array<double, 4>> samples = AllAround(4);
  samples.push_back({0.1, 0.2, 2.0, 80});
  samples.push_back({0.099, 0.2, 2.0, 80});
  samples.push_back({0.1, 0.199, 2.0, 80});
  ASSERT_TRUE(cut.From(samples));
  EXPECT_EQ(cut.spurs[0].cols(), 5);
  EXPECT_EQ(cut.spurs[1].cols(), 5);
  EXPECT_EQ(cut.spurs[2].cols(), 4);
  EXPECT_EQ(cut.spurs[3].cols(), 5);
}

TEST(SphereSpurs, ThePatchTakesWhatIsNearTheNominalPointAsWell) {
  Cut cut;
  std::vector<std::array<double, 4>> samples = AllAround(4);
  // 0.35 of the distance is 3.5 mm; along the line of sight that is exact.
  samples.push_back({0.1, 0.2, 2.0034, 80});
  samples.push_back({0.1, 0.2, 2.0036, 80});
  ASSERT_TRUE(cut.From(samples));
  EXPECT_EQ(cut.spurs[0].cols(), 6) << "both are in a quadrant";
  int near = 0;
  const Eigen::Vector3d nominal = cut.s.GetSetting<PointXYZW>(L"NominalPoint").xyz();
  for (const auto& a : samples) {
    if ((Place(a[0], a[1], a[2]) - nominal).norm() < 0.0035) ++near;
  }
  EXPECT_EQ(cut.spurs[4].cols(), near);
  ASSERT_GT(near, 1);
  EXPECT_LT((cut.spurs[4].data().rightCols<1>() - Place(0.1, 0.2, 2.0034)).norm(), 1e-15);
}

TEST(SphereSpurs, RangeAtTheDistancePassesAndQualityAtTheThresholdDoesNot) {
  Cut cut;
  std::vector<std::array<double, 4>> samples = AllAround(4);
  samples.push_back({0.101, 0.201, 2.25, 80});
  samples.push_back({0.101, 0.201, 1.75, 80});
  samples.push_back({0.101, 0.201, 2.2501, 80});
  samples.push_back({0.101, 0.201, 2.0, 50});
  samples.push_back({0.101, 0.201, 2.0, 50.001});
  cut.s.SetSetting<double>(L"BoxDimensionRatio", 0.001);  // the extents shall not matter here
  ASSERT_TRUE(cut.From(samples, 0.25));
  EXPECT_EQ(cut.spurs[0].cols(), 4 + 3);
}

TEST(SphereSpurs, ExtentsBelowTheThresholdAreAnError) {
  // 2 atan2(0.75 * 0.01 * 0.8, 2.0) is 6 mrad; the samples span 8, then 5.
  Cut cut;
  std::vector<std::array<double, 4>> samples = AllAround(8);
  for (auto& sample : samples) sample[1] = 0.2 + (sample[1] - 0.2) * 5.0 / 8.0;
  const LogCollector collector;
  EXPECT_FALSE(cut.From(samples));
  EXPECT_EQ(cut.s.GetError(),
            "SphereFit::FilterByDistanceFromAzElMedianSpur(): Range extents threshold not met! "
            "(ERROR_SF_HARDWARE = -16)");
  EXPECT_TRUE(Logged(L"FilterByDistanceFromAzElMedianSpur called"));
  EXPECT_TRUE(Logged(L"Error: Range extents threshold not met!"));
  EXPECT_TRUE(Logged(L"distDiff = 0.008 0.005"));
  EXPECT_TRUE(Logged(L"extentThreshold: 0.00599998"));
}

TEST(SphereSpurs, ExtentsAreTakenOverAllSamplesWhateverTheirQuality) {
  Cut cut;
  std::vector<std::array<double, 4>> samples = AllAround(8);
  for (auto& sample : samples) sample[1] = 0.2 + (sample[1] - 0.2) * 5.0 / 8.0;
  samples.push_back({0.1, 0.3, 50.0, 0.0});
  EXPECT_TRUE(cut.From(samples));
}

TEST(SphereSpurs, SamplesThatAreNotFiniteStretchNothingAndPassNowhere) {
  const double nan = std::nan("");
  const double inf = std::numeric_limits<double>::infinity();
  std::vector<std::array<double, 4>> samples = AllAround(6);
  const std::vector<std::array<double, 4>> bad = {{nan, 0.2, 2.0, 80},  {0.1, inf, 2.0, 80},
                                                  {-inf, 0.2, 2.0, 80}, {0.1, 0.2, nan, 80},
                                                  {0.1, 0.2, 2.0, nan}, {0.1, 0.2, 2.0, inf}};
  samples.insert(samples.begin(), bad.begin(), bad.end());
  Cut cut;
  ASSERT_TRUE(cut.From(samples));
  for (int q = 0; q < 4; ++q) EXPECT_EQ(cut.spurs[q].cols(), 6);
  for (const PointCloud& spur : cut.spurs) EXPECT_TRUE(spur.data().allFinite());

  Cut lost;
  EXPECT_FALSE(lost.From(bad));
  EXPECT_NE(lost.s.GetError().find("ERROR_SF_HARDWARE"), std::string::npos);
}

TEST(SphereSpurs, ASpurWithoutSamplesKeepsFiveRows) {
  Cut cut;
  std::vector<std::array<double, 4>> samples;
  for (const auto& sample : AllAround(5)) {
    if (sample[0] > 0.1) samples.push_back(sample);
  }
  samples.push_back({0.09, 0.2, 2.0, 0.0});
  const LogCollector collector;
  ASSERT_TRUE(cut.From(samples));
  EXPECT_EQ(cut.spurs[1].rows(), 5);
  EXPECT_EQ(cut.spurs[1].cols(), 1);
  EXPECT_TRUE(cut.spurs[1].data().isZero(0.0));
  EXPECT_EQ(cut.spurs[1].embeddings(), kAer);
  EXPECT_TRUE(Logged(L"Filtered points quad returned: 3 x 5"));
  EXPECT_TRUE(Logged(L"Filtered points quad returned: 5 x 1"));
  EXPECT_TRUE(Logged(L"FilterByDistanceFromAzElMedianSpur ended"));
}

TEST(SphereSpurs, FiveBadSpursAreAnError) {
  Cut cut;
  std::vector<std::array<double, 4>> samples = AllAround(3);
  for (auto& sample : samples) sample[2] = 2.005;  // keeps them out of the patch
  const LogCollector collector;
  EXPECT_FALSE(cut.From(samples));
  EXPECT_EQ(cut.s.GetError(),
            "SphereFit::FilterByDistanceFromAzElMedianSpur(): Too many bad points. "
            "(ERROR_SF_FILTER = -10)");
  EXPECT_TRUE(Logged(L"Error: badCtr = 5"));
}

TEST(SphereSpurs, FewerThanThreeRowsThrow) {
  Cut cut;
  try {
    cut.From(PointCloud(MatrixXd::Random(2, 6)));
    FAIL() << "no exception";
  } catch (const std::string& text) {
    EXPECT_EQ(text, "AzElRange constructor requires a (3,1)-(row,col) vector!");
  }
}

TEST(SphereCombine, JoinsTheCloudsOfThreeRowsInOrder) {
  SphereFit s;
  PointCloud clouds[4] = {PointCloud(MatrixXd::Zero(5, 1), kAer),
                          PointCloud(MatrixXd::Constant(3, 2, 1.0), kXyz),
                          PointCloud(MatrixXd::Constant(3, 1, 2.0), kXyz),
                          PointCloud(MatrixXd::Constant(3, 3, 3.0), kXyz)};
  PointCloud out;
  const LogCollector collector;
  ASSERT_TRUE(PROTECTED(s, CombineDataSets3)(clouds, 4, out));
  ASSERT_EQ(out.cols(), 6);
  EXPECT_EQ(out.data().row(1), (Eigen::RowVectorXd(6) << 1, 1, 2, 3, 3, 3).finished());
  EXPECT_EQ(out.embeddings(), kXyz);
  EXPECT_EQ(LogCollector::Texts(), (std::vector<std::wstring>{L"CombineDataSets3() entered",
                                                              L"CombineDataSets3() ended"}));
}

TEST(SphereCombine, AQuadrantOfThreePointsOrFewerStillGoesIn) {
  SphereFit s;
  PointCloud clouds[2] = {PointCloud(MatrixXd::Constant(3, 1, 1.0), kXyz),
                          PointCloud(MatrixXd::Constant(3, 3, 2.0), kXyz)};
  PointCloud out;
  ASSERT_TRUE(PROTECTED(s, CombineDataSets3)(clouds, 2, out));
  EXPECT_EQ(out.cols(), 4);
}

TEST(SphereCombine, NothingToCombineIsAnError) {
  PointCloud clouds[2] = {PointCloud(MatrixXd::Zero(5, 1), kAer), PointCloud()};
  SphereFit s;
  PointCloud out;
  EXPECT_FALSE(PROTECTED(s, CombineDataSets3)(clouds, 2, out));
  EXPECT_EQ(s.GetError(),
            "SphereFit::CombineDataSets3(): Failed to combine the datasets. (ERROR_SF_FILTER)");
}

TEST(SphereCombine, AnOutputThatHoldsPointsIsAppendedToAndYetAnError) {
  PointCloud clouds[1] = {PointCloud(MatrixXd::Constant(3, 2, 1.0), kXyz)};
  SphereFit s;
  PointCloud out(MatrixXd::Zero(3, 1), kXyz);
  EXPECT_FALSE(PROTECTED(s, CombineDataSets3)(clouds, 1, out));
  EXPECT_EQ(out.cols(), 3);
}

TEST(SphereFilterByError, AtTheToleranceIsGood) {
  MatrixXd points(3, 6);
  points << 1, 1.25, 0.75, 1.2501, 0.7499, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0;
  points.row(2).setConstant(0.0);
  points(0, 5) = -1.0;
  SphereFit s;
  PointCloud good, bad;
  ASSERT_TRUE(PROTECTED(s, FilterByError)(PointCloud(points), good, bad, PointXYZW(), 1.0, 0.25));
  EXPECT_EQ(good.cols(), 4);
  EXPECT_EQ(bad.cols(), 2);
  EXPECT_EQ(bad.data()(0, 0), 1.2501);
  EXPECT_EQ(good.embeddings(), kXyz);
  EXPECT_EQ(bad.embeddings(), kXyz);
}

TEST(SphereFilterByError, TooFewGoodPointsAreAnError) {
  SphereFit s;
  PointCloud good, bad;
  const MatrixXd points = Eigen::Vector3d(1, 0, 0).replicate(1, 3);
  EXPECT_FALSE(PROTECTED(s, FilterByError)(PointCloud(points), good, bad, PointXYZW(), 1.0, 0.1));
  EXPECT_EQ(s.GetError(),
            "FilterByError(): FilterByError failed (ERROR_SF_FILTER = -10). Too few good points!");
  SphereFit lost;
  const double nan = std::nan("");
  EXPECT_FALSE(PROTECTED(lost, FilterByError)(PointCloud(Eigen::Vector3d(1, 0, 0).replicate(1, 9)),
                                              good, bad, PointXYZW(nan, nan, nan), nan, 0.1));
  EXPECT_EQ(bad.cols(), 9) << "no comparison with NaN holds";
}

}  // namespace
}  // namespace libmfx::features
