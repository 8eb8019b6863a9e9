// What an analysis records of its samples, on scans whose truth is known.

#include "libmfx/features/stages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>

#include "ball_scene.h"
#include "cylinder_points.h"
#include "edge_profile.h"
#include "features/shared/sample_fates.h"
#include "libmfx/features/custom_scan.h"
#include "libmfx/features/pvi.h"
#include "libmfx/features/stud.h"
#include "protected.h"

namespace libmfx::features {
namespace {

using data_structures::Distance;
using nlohmann::json;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

RawDataPoint SampleAt(const PointXYZW& p, double quality = 80.0, int status = 1) {
  const AzElRange at(p);
  return {at.azimuth, at.elevation, at.range, quality, status};
}

std::size_t CountOf(const Stages& stages, SampleFate fate) {
  return static_cast<std::size_t>(std::count(stages.fates.begin(), stages.fates.end(), fate));
}

void ExpectEmpty(const Stages& stages) {
  EXPECT_TRUE(stages.fates.empty());
  EXPECT_TRUE(stages.parts.empty());
  EXPECT_TRUE(stages.lines.empty());
  EXPECT_FALSE(stages.surface);
  EXPECT_TRUE(stages.edges.empty());
  EXPECT_FALSE(stages.profile);
  EXPECT_TRUE(stages.fitted.empty());
  EXPECT_TRUE(stages.verdicts.empty());
}

// ---- columns and samples

TEST(SampleFatesTest, AColumnIsAUsableSample) {
  const std::vector<RawDataPoint> samples = {
      {0, 0, 2, 10, 1}, {0, 0, 2, 50, 1}, {0, 0, kNan, 90, 1}, {0.1, 0, 2, 90, 1}};
  std::vector<SampleFate> told;
  shared::ColumnSamples columns;
  const PointCloud scan = shared::ScanOf(samples, 50.0, columns);
  EXPECT_EQ(columns, (shared::ColumnSamples{1, 3}));
  EXPECT_EQ(columns, shared::UsableSamples(samples, 50.0));
  EXPECT_EQ(scan.data(), PointCloud(samples, EMBEDDING_XYZ, 50.0, true).data());
  shared::SampleFates fates(columns, samples.size(), told);
  using enum SampleFate;
  EXPECT_EQ(told, (std::vector<SampleFate>{kUnusable, kBetween, kUnusable, kBetween}));
  fates.Set(1, kWall);
  EXPECT_EQ(told, (std::vector<SampleFate>{kUnusable, kBetween, kUnusable, kWall}));
  const PointCloud kept(Eigen::MatrixXd(scan.data().rightCols(1)));
  fates.SetAll(kDropped);
  fates.SetKept({0, 1}, scan, kept, kSurface);
  EXPECT_EQ(told, (std::vector<SampleFate>{kUnusable, kDropped, kUnusable, kSurface}));
}

// ---- surface point

json PviRequest() {
  return {{"Feature",
           {{"$type", "SurfaceNormalFeature"},
            {"Location", {0.0, 0.0, 2.0}},
            {"Normal", {0.0, 0.0, -1.0}}}}};
}

/// 100 samples of the plane z = 2 with a ripple of a micrometre.
std::vector<RawDataPoint> PlaneSamples() {
  std::vector<RawDataPoint> samples;
  for (int i = 0; i < 100; ++i) {
    samples.push_back(SampleAt(
        {0.0002 * (i % 10) - 0.0009, 0.0002 * (i / 10) - 0.0009, 2.0 + 1e-6 * std::sin(7.0 * i)}));
  }
  return samples;
}

TEST(StagesOfASurfacePoint, TellTheFateOfEachSampleThePlaneAndTheTests) {
  PVI pvi(PviRequest().dump());
  ExpectEmpty(pvi.GetStages());
  std::vector<RawDataPoint> samples = PlaneSamples();
  samples[0].quality = 10.0;
  samples[30].range = kNan;
  samples[42].range += 0.0005;
  samples[77].range -= 0.0004;
  pvi.UpdateRawData(samples);
  ExpectEmpty(pvi.GetStages());
  pvi.AnalyzeFeature();
  ASSERT_TRUE(pvi.GetIsSuccessful()) << pvi.GetError();
  const Stages& stages = pvi.GetStages();
  ASSERT_EQ(stages.fates.size(), samples.size());
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const SampleFate expected = i == 0 || i == 30    ? SampleFate::kUnusable
                                : i == 42 || i == 77 ? SampleFate::kDropped
                                                     : SampleFate::kFitted;
    EXPECT_EQ(stages.fates[i], expected) << i;
  }
  ASSERT_TRUE(stages.surface);
  EXPECT_LT((stages.surface->Normal().xyz() + Eigen::Vector3d::UnitZ()).norm(), 1e-3);
  EXPECT_NEAR(stages.surface->Point().z(), 2.0, 1e-6);
  ASSERT_EQ(stages.verdicts.size(), 3U);
  EXPECT_STREQ(stages.verdicts[2].what, "angle to the nominal normal");
  for (const StageVerdict& verdict : stages.verdicts) {
    EXPECT_TRUE(verdict.passed) << verdict.what;
    EXPECT_LE(verdict.value, verdict.limit) << verdict.what;
  }
  pvi.Reset(true, false);
  ExpectEmpty(pvi.GetStages());
}

TEST(StagesOfASurfacePoint, EndWithTheTestThatFailed) {
  json request = PviRequest();
  request["AngleThresh"] = -1.0;
  PVI pvi(request.dump());
  pvi.UpdateRawData(PlaneSamples());
  pvi.AnalyzeFeature();
  ASSERT_FALSE(pvi.GetIsSuccessful());
  const Stages& stages = pvi.GetStages();
  ASSERT_EQ(stages.verdicts.size(), 2U);
  EXPECT_STREQ(stages.verdicts[1].what, "angle to the line of sight");
  EXPECT_EQ(stages.verdicts[1].limit, -1.0);
  EXPECT_FALSE(stages.verdicts[1].passed);
  // Too few samples for a plane: none of them is judged.
  pvi.Reset(true, false);
  pvi.UpdateRawData({PlaneSamples()[0], PlaneSamples()[1]});
  pvi.AnalyzeFeature();
  EXPECT_EQ(CountOf(pvi.GetStages(), SampleFate::kBetween), 2U);
  EXPECT_FALSE(pvi.GetStages().surface);
}

// ---- sphere

struct Sphere {
  test::Ball ball;
  SphereFit feature{test::SphereRequest(ball.Front(), ball.radius)};
  std::vector<RawDataPoint> samples;

  Sphere() {
    std::mt19937_64 random(4);
    test::MeasureBall(feature, ball, random);
    samples = feature.GetRawData();
    feature.Reset(true, false);
  }
  void Analyse() {
    feature.UpdateRawData(samples);
    feature.AnalyzeFeature();
  }
};

TEST(StagesOfASphere, TellPartsAndFates) {
  Sphere sphere;
  ExpectEmpty(sphere.feature.GetStages());
  const std::size_t n = sphere.samples.size();
  ASSERT_GT(n, 500U);
  sphere.samples[5].quality = 10.0;
  sphere.samples[6].azimuth = kNan;
  sphere.samples[7].range += 0.05;    // farther than a radius
  sphere.samples[8].range += 0.001;   // off the ball
  sphere.samples[9].range -= 0.0012;  // the same, before it
  sphere.Analyse();
  ASSERT_TRUE(sphere.feature.GetIsSuccessful()) << sphere.feature.GetError();
  const Stages& stages = sphere.feature.GetStages();
  ASSERT_EQ(stages.fates.size(), n);
  ASSERT_EQ(stages.parts.size(), n);
  EXPECT_EQ(stages.fates[5], SampleFate::kUnusable);
  EXPECT_EQ(stages.fates[6], SampleFate::kUnusable);
  EXPECT_EQ(stages.fates[7], SampleFate::kFar);
  EXPECT_EQ(stages.fates[8], SampleFate::kDropped);
  EXPECT_EQ(stages.fates[9], SampleFate::kDropped);
  EXPECT_EQ(CountOf(stages, SampleFate::kFitted), PROTECTED(sphere.feature, _final_fit_count));
  EXPECT_GT(CountOf(stages, SampleFate::kLeftOut), 0U);
  EXPECT_EQ(CountOf(stages, SampleFate::kBetween), 0U);

  const AzElRange aim = PROTECTED(sphere.feature, _refined_aer);
  for (std::size_t i = 0; i < n; ++i) {
    if (i >= 5 && i <= 7) {
      EXPECT_EQ(stages.parts[i], -1);
      continue;
    }
    const RawDataPoint& s = sphere.samples[i];
    const bool right = s.azimuth >= aim.azimuth;
    const int quadrant = s.elevation >= aim.elevation ? (right ? 0 : 1) : (right ? 3 : 2);
    const PointXYZW p = AzElRange(s.azimuth, s.elevation, s.range).ToPoint();
    const bool patch = Distance(p, aim.ToPoint()) < 0.35 * sphere.ball.radius;
    EXPECT_EQ(stages.parts[i], patch ? 4 : quadrant) << i;
    // The fit leaves those out that lie farther from it than the others.
    const double off = std::abs((p.xyz() - sphere.ball.center).norm() - sphere.ball.radius);
    EXPECT_LT(stages.fates[i] == SampleFate::kFitted ? off : 0.0, 2e-5) << i;
  }
  EXPECT_STREQ(stages.verdicts.back().what, "quality of the fit");
  EXPECT_TRUE(stages.verdicts.back().passed);
  ASSERT_EQ(stages.fitted.size(), 1U);
  EXPECT_STREQ(stages.fitted[0].what, "Radius");
  // Of the fit, so close to the ball's own and not it.
  EXPECT_NEAR(stages.fitted[0].value, sphere.ball.radius, 5e-5);
  EXPECT_NE(stages.fitted[0].value, sphere.ball.radius);
}

TEST(StagesOfASphere, WithoutPartsTellFatesAlone) {
  Sphere sphere;
  sphere.feature.SetSetting(L"AdvancedFilter", false);
  sphere.samples[5].quality = 10.0;
  sphere.samples[8].range += 0.005;
  sphere.samples[9].azimuth += 0.5;
  sphere.Analyse();
  const Stages& stages = sphere.feature.GetStages();
  EXPECT_TRUE(stages.parts.empty());
  ASSERT_EQ(stages.fates.size(), sphere.samples.size());
  EXPECT_EQ(stages.fates[5], SampleFate::kUnusable);
  EXPECT_EQ(stages.fates[8], SampleFate::kDropped);
  EXPECT_EQ(stages.fates[9], SampleFate::kFar);
  EXPECT_GT(CountOf(stages, SampleFate::kFitted), 100U);
}

TEST(StagesOfASphere, AreCutShortWhereTheScanIsTooSmall) {
  Sphere sphere;
  sphere.samples.resize(40);
  sphere.Analyse();
  ASSERT_FALSE(sphere.feature.GetIsSuccessful());
  const Stages& stages = sphere.feature.GetStages();
  ASSERT_FALSE(stages.verdicts.empty());
  EXPECT_TRUE(std::any_of(stages.verdicts.begin(), stages.verdicts.end(),
                          [](const StageVerdict& verdict) { return !verdict.passed; }));
  EXPECT_TRUE(stages.parts.empty());
  EXPECT_EQ(CountOf(stages, SampleFate::kFitted), 0U);
}

// ---- edge

json EdgeAt(double offset, bool use_nominal_offset = false) {
  json request = test::EdgeRequest(offset, use_nominal_offset);
  request["Feature"]["EdgePoint"] = {0.006 + 0.5 * offset, 0.0, 2.0 + offset};
  return request;
}

TEST(StagesOfAnEdge, TellTheLineItsProfileAndTheEdge) {
  const std::vector<test::Place> places = test::BorderProfile();
  std::vector<RawDataPoint> samples = test::SamplesOf({{-0.0053, 0.0}, {-0.005, 0.0}}, 0);
  const auto line = test::SamplesOf(places);
  samples.insert(samples.end(), line.begin(), line.end());
  samples[2].range += 0.02;  // deeper than the clearance zone
  samples[10].quality = 20.0;
  // Beside the plane of the line; the neighbours of samples in it stay with them.
  for (std::size_t i = 20; i < 25; ++i) samples[i] = SampleAt({places[i - 2].x, 0.002, 2.0});
  Edge edge(EdgeAt(0.001).dump());
  edge.UpdateRawData(samples);
  ExpectEmpty(edge.GetStages());
  edge.AnalyzeFeature();
  ASSERT_TRUE(edge.GetIsSuccessful()) << edge.GetError();
  const Stages& stages = edge.GetStages();
  ASSERT_EQ(stages.fates.size(), samples.size());
  EXPECT_EQ(stages.fates[0], SampleFate::kBetween);
  EXPECT_EQ(stages.fates[1], SampleFate::kBetween);
  EXPECT_EQ(stages.fates[2], SampleFate::kFar);
  EXPECT_EQ(stages.fates[10], SampleFate::kUnusable);
  for (std::size_t i = 21; i < 24; ++i) EXPECT_EQ(stages.fates[i], SampleFate::kDropped) << i;

  ASSERT_TRUE(stages.profile);
  const StageProfile& profile = *stages.profile;
  EXPECT_EQ(CountOf(stages, SampleFate::kSurface), static_cast<std::size_t>(profile.split_index));
  EXPECT_EQ(CountOf(stages, SampleFate::kSurface) + CountOf(stages, SampleFate::kFitted) +
                CountOf(stages, SampleFate::kLeftOut),
            static_cast<std::size_t>(profile.selected.cols()));
  // Nothing but the surface comes before the split, and what is on the flank comes behind it.
  for (std::size_t i = 2; i < samples.size(); ++i) {
    const test::Place& place = places[i - 2];
    EXPECT_FALSE(place.depth > 0.0005 && stages.fates[i] == SampleFate::kSurface) << i;
    EXPECT_FALSE(place.x < 0.0 && stages.fates[i] == SampleFate::kFitted) << i;
  }
  EXPECT_EQ(profile.nominal, edge.GetSetting<PointXYZW>(L"NominalEdgePoint"));
  EXPECT_GT(profile.reach, 0.0);
  ASSERT_EQ(stages.lines.size(), 1U);
  EXPECT_EQ(stages.lines[0].segment, 1);
  ASSERT_EQ(stages.edges.size(), 1U);
  EXPECT_EQ(stages.edges[0].segment, 1);
  EXPECT_EQ(stages.edges[0].place, edge.GetSetting<PointXYZW>(L"MeasuredPoint"));
  EXPECT_STREQ(stages.verdicts.back().what, "distance from the nominal edge point");
  EXPECT_EQ(stages.verdicts.back().limit, 0.5 * PROTECTED(edge, _nominal_offset));
  edge.Reset(true, false);
  ExpectEmpty(edge.GetStages());
}

TEST(StagesOfAnEdge, AtTheNominalOffsetTheGapEndsWhatIsUsed) {
  std::vector<test::Place> places = test::BorderProfile();
  const std::size_t before = places.size();
  for (int i = 0; i < 5; ++i) places.push_back({0.0081 + 0.0001 * i, 0.008});
  const auto edge = test::Analyzed(EdgeAt(0.001, true), test::SamplesOf(places));
  const Stages& stages = edge->GetStages();
  ASSERT_TRUE(edge->GetIsSuccessful()) << edge->GetError();
  for (std::size_t i = before; i < places.size(); ++i) {
    EXPECT_TRUE(stages.fates[i] == SampleFate::kLeftOut || stages.fates[i] == SampleFate::kFar)
        << i;
  }
  EXPECT_EQ(stages.fates[before - 1], SampleFate::kFitted);
  EXPECT_EQ(stages.profile->reach, 0.0);
}

TEST(StagesOfAnEdge, AreCutShortWithoutASplitAndHoldTheNominalOfThePass) {
  std::vector<test::Place> flat;
  for (int i = 0; i < 200; ++i) flat.push_back({-0.005 + 0.0001 * i, 0.0});
  const auto straight = test::Analyzed(EdgeAt(0.001), test::SamplesOf(flat));
  ASSERT_FALSE(straight->GetIsSuccessful());
  EXPECT_GT(straight->GetStages().profile->selected.cols(), 0);
  EXPECT_EQ(straight->GetStages().profile->reach, 0.0);
  EXPECT_TRUE(straight->GetStages().edges.empty());

  Edge moved(EdgeAt(0.001).dump());
  const PointXYZW first = moved.GetSetting<PointXYZW>(L"NominalEdgePoint");
  moved.SetSetting(L"RescanThreshold", 0.0002);
  moved.UpdateRawData(test::SamplesOf(test::BorderProfile(0.0063)));
  testing::internal::CaptureStdout();
  moved.AnalyzeFeature();
  EXPECT_EQ(moved.GetStages().profile->nominal, first);
  const PointXYZW second = moved.GetSetting<PointXYZW>(L"NominalEdgePoint");
  ASSERT_GT(Distance(first, second), 0.0002);
  moved.UpdateRawData(test::SamplesOf(test::BorderProfile(0.0063)));
  moved.AnalyzeFeature();
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(moved.GetStages().profile->nominal, second);
}

// ---- cylinder

/// A stud of 5 mm with a base plate around it.
struct StudScan {
  test::CylinderPoints wall;
  std::vector<RawDataPoint> samples;
  std::size_t on_wall;

  StudScan() {
    wall.axis = Eigen::Vector3d(0.1, 0.6, -0.8).normalized();
    wall.noise = 2e-6;
    for (const Eigen::Vector3d& p : wall.Make()) samples.push_back(SampleAt(PointXYZW(p)));
    on_wall = samples.size();
    const Eigen::Vector3d e = wall.axis.unitOrthogonal();
    const Eigen::Vector3d f = wall.axis.cross(e);
    for (int i = 0; i < 60; ++i) {
      const Eigen::Vector3d out = std::cos(0.1 * i) * e + std::sin(0.1 * i) * f;
      samples.push_back(SampleAt(PointXYZW(Eigen::Vector3d(wall.point + 0.008 * out))));
    }
  }
  json Request() const {
    const auto triple = [](const Eigen::Vector3d& v) { return json{v.x(), v.y(), v.z()}; };
    return {{"Feature",
             {{"$type", "StudFeature"},
              {"Location", triple(wall.point)},
              {"Axis", triple(wall.axis)},
              {"Radius", wall.radius},
              {"Offset", 0.001},
              {"Height", 0.019},
              {"RadiusTolerance", 0.001}}}};
  }
  /// A sample at the place of another one, `out` metres farther from the axis.
  RawDataPoint Moved(std::size_t i, double out) const {
    const Eigen::Vector3d p =
        AzElRange(samples[i].azimuth, samples[i].elevation, samples[i].range).ToPoint().xyz();
    const Eigen::Vector3d from = p - wall.point;
    const Eigen::Vector3d away = (from - from.dot(wall.axis) * wall.axis).normalized();
    return SampleAt(PointXYZW(Eigen::Vector3d(p + out * away)));
  }
};

TEST(StagesOfACylinder, TellWallBaseAndWhatIsLeftOut) {
  StudScan scan;
  scan.samples[100].quality = 10.0;
  scan.samples[200].range = kNan;
  scan.samples[300].quality = 55.0;           // stands out from its neighbours
  scan.samples[400] = scan.Moved(400, 3e-4);  // in the window, off the wall
  scan.samples[500] = scan.Moved(500, 0.01);  // out of the window
  Stud stud(scan.Request().dump());
  stud.UpdateRawData(scan.samples);
  ExpectEmpty(stud.GetStages());
  stud.AnalyzeFeature();
  ASSERT_TRUE(stud.GetIsSuccessful()) << stud.GetError();
  const Stages& stages = stud.GetStages();
  ASSERT_EQ(stages.fates.size(), scan.samples.size());
  for (std::size_t i = 0; i < scan.samples.size(); ++i) {
    const SampleFate expected = i == 100 || i == 200 || i == 300 ? SampleFate::kUnusable
                                : i == 400                       ? SampleFate::kDropped
                                : i == 500                       ? SampleFate::kFar
                                : i < scan.on_wall               ? SampleFate::kWall
                                                                 : SampleFate::kSurface;
    EXPECT_EQ(stages.fates[i], expected) << i;
  }
  ASSERT_TRUE(stages.surface);
  const Eigen::Vector3d base = stages.surface->Point().xyz();
  EXPECT_NEAR((base - scan.wall.point).dot(scan.wall.axis), 0.0, 1e-6);
  EXPECT_LT(stages.surface->Normal().xyz().dot(base), 0.0);  // towards the instrument
  stud.Reset(true, false);
  ExpectEmpty(stud.GetStages());
}

TEST(StagesOfACylinder, AreCutShortWithoutAWall) {
  StudScan scan;
  scan.samples.erase(scan.samples.begin() + 5,
                     scan.samples.begin() + static_cast<std::ptrdiff_t>(scan.on_wall));
  Stud stud(scan.Request().dump());
  stud.UpdateRawData(scan.samples);
  stud.AnalyzeFeature();
  ASSERT_FALSE(stud.GetIsSuccessful());
  EXPECT_EQ(CountOf(stud.GetStages(), SampleFate::kWall), 0U);
  EXPECT_EQ(CountOf(stud.GetStages(), SampleFate::kDropped), 5U);
  EXPECT_FALSE(stud.GetStages().surface);
}

// ---- scan path

TEST(StagesOfAScanPath, TellWhatPassedTheThreshold) {
  CustomScan scan(
      R"({"QualityThreshold": 50, "PointSpacing": 0.01, "Feature": {"$type": "ScanPathFeature",
          "Path": {"Segments": [[[0, 0, 2], [0.1, 0, 2]]]}}})");
  scan.OutputDataBySegment(false);
  scan.UpdateRawData({{0, 0, 2, 60, 1}, {0, 0, 2, 40, 1}, {0, kNan, 2, 60, 1}, {0, 0, 2, 50, 1}});
  scan.AnalyzeFeature();
  using enum SampleFate;
  EXPECT_EQ(scan.GetStages().fates,
            (std::vector<SampleFate>{kFitted, kUnusable, kUnusable, kFitted}));
  scan.OutputDataBySegment(true);  // the host holds the samples, none are kept
  scan.AnalyzeFeature();
  ExpectEmpty(scan.GetStages());
}

}  // namespace
}  // namespace libmfx::features
