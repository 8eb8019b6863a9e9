// What the analyses of openings record of their samples, on scans whose truth is known.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>

#include "converse.h"
#include "host/scene_driver.h"
#include "libmfx/features/feature.h"
#include "sim/scenario.h"

namespace libmfx::features {
namespace {

using nlohmann::json;

const sim::Vec3 kCenter(0.3, -0.2, 2.5);

json Triple(const sim::Vec3& v) { return {v.x(), v.y(), v.z()}; }

/// An opening seen at a slant, and the samples of a measurement of it.
struct Seen {
  sim::Pose pose;
  std::unique_ptr<Feature> feature;

  Seen(json request, const sim::parts::OpeningPlateSpec& part, double incidence)
      : pose(sim::TiltedPose(kCenter, incidence)) {
    json& nominal = request["Feature"];
    nominal["Location"] = Triple(kCenter);
    nominal["Normal"] = Triple(pose.rotation.col(2));
    nominal["Tangent"] = nominal["Axis"] = Triple(pose.rotation.col(0));
    feature.reset(Feature::Create(request.dump()));
    host::SceneDriver driver(sim::MakeScene(sim::parts::MakeOpeningPlate(part), pose, 0.1), 7);
    test::Converse(*feature, driver);
  }

  /// In the plate: across it from the middle of the opening, and below its surface, metres.
  sim::Vec3 InPlate(const RawDataPoint& s) const {
    const PointXYZW p = AzElRange(s.azimuth, s.elevation, s.range).ToPoint();
    return pose.rotation.transpose() * (p.xyz() - kCenter);
  }
  sim::Vec3 InPlate(const PointXYZW& p) const {
    return pose.rotation.transpose() * (p.xyz() - kCenter);
  }
  std::size_t CountOf(SampleFate fate) const {
    const auto& fates = feature->GetStages().fates;
    return static_cast<std::size_t>(std::count(fates.begin(), fates.end(), fate));
  }
};

constexpr double kRadius = 0.006;

Seen SeenHole() {
  return {{{"PointSpacing", 0.0001}, {"Feature", {{"$type", "HoleFeature"}, {"Radius", kRadius}}}},
          sim::parts::RoundOpening(kRadius),
          0.6};
}

TEST(StagesOfAHole, TellSurfaceWallJumpsAndRim) {
  Seen hole = SeenHole();
  ASSERT_TRUE(hole.feature->GetIsSuccessful()) << hole.feature->GetError();
  const std::vector<RawDataPoint> samples = hole.feature->GetRawData();
  const Stages& stages = hole.feature->GetStages();
  ASSERT_EQ(stages.fates.size(), samples.size());
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const sim::Vec3 p = hole.InPlate(samples[i]);
    const double from_axis = std::hypot(p.x(), p.y());
    if (stages.fates[i] == SampleFate::kSurface) {
      EXPECT_GT(from_axis, kRadius - 0.0002) << i;
      EXPECT_LT(std::abs(p.z()), 0.0003) << i;
    }
    if (stages.fates[i] == SampleFate::kWall) {
      EXPECT_NEAR(from_axis, kRadius, 0.0002) << i;
      EXPECT_GT(std::abs(p.z()), 0.0) << i;
    }
    // Of half lines, every second move leads to one.
    const bool usable = samples[i].quality >= 50.0;
    EXPECT_EQ(stages.fates[i] == SampleFate::kBetween, usable && samples[i].status % 2 == 0) << i;
    EXPECT_EQ(stages.fates[i] == SampleFate::kUnusable, !usable) << i;
  }
  EXPECT_GT(hole.CountOf(SampleFate::kSurface), 500U);
  EXPECT_GT(hole.CountOf(SampleFate::kWall), 20U);

  ASSERT_EQ(stages.lines.size(), 18U);
  for (std::size_t k = 0; k < stages.lines.size(); ++k) {
    EXPECT_EQ(stages.lines[k].segment, 2 * static_cast<int>(k) + 1);
    EXPECT_EQ(stages.lines[k].sense, k % 2 == 0 ? 1 : -1);
  }
  ASSERT_GE(stages.edges.size(), 4U);
  for (const StageEdge& edge : stages.edges) {
    const sim::Vec3 p = hole.InPlate(edge.place);
    EXPECT_NEAR(std::hypot(p.x(), p.y()), kRadius, 0.0002);
  }
  ASSERT_TRUE(stages.surface);
  const sim::Vec3 normal = stages.surface->Normal().xyz();
  EXPECT_LT(normal.dot(kCenter), 0.0) << "to the side of the instrument";
  EXPECT_GT(std::abs(normal.dot(hole.pose.rotation.col(2))), 0.9999);
  EXPECT_TRUE(std::all_of(stages.verdicts.begin(), stages.verdicts.end(),
                          [](const StageVerdict& v) { return v.passed; }));
}

TEST(StagesOfAHole, TellLowQualityAndEndWithTheTestThatFailed) {
  Seen hole = SeenHole();
  std::vector<RawDataPoint> samples = hole.feature->GetRawData();
  for (std::size_t i = 0; i < samples.size(); i += 7) samples[i].quality = 10.0;
  hole.feature->UpdateRawData(samples);
  hole.feature->SetSetting(L"NominalRadius", 1.2 * kRadius);
  hole.feature->AnalyzeFeature();
  ASSERT_FALSE(hole.feature->GetIsSuccessful());
  const Stages& stages = hole.feature->GetStages();
  for (std::size_t i = 0; i < samples.size(); ++i) {
    EXPECT_EQ(stages.fates[i] == SampleFate::kUnusable, samples[i].quality < 50.0) << i;
  }
  ASSERT_FALSE(stages.verdicts.empty());
  hole.feature->Reset(true, false);
  EXPECT_TRUE(hole.feature->GetStages().fates.empty());
  EXPECT_TRUE(hole.feature->GetStages().lines.empty());
}

TEST(StagesOfARectangle, TellItsSidesAndTheEdgePointOfEachLine) {
  const Seen seen({{"ScansPerSide", 3},
                   {"Feature", {{"$type", "RectangleFeature"}, {"Length", 0.03}, {"Width", 0.02}}}},
                  sim::parts::RectangularOpening(0.03, 0.02), 0.4);
  ASSERT_TRUE(seen.feature->GetIsSuccessful()) << seen.feature->GetError();
  const Stages& stages = seen.feature->GetStages();
  ASSERT_EQ(stages.lines.size(), 12U);
  for (std::size_t k = 0; k < stages.lines.size(); ++k) {
    EXPECT_EQ(stages.lines[k].segment, 2 * static_cast<int>(k) + 1);
    EXPECT_EQ(stages.lines[k].side, static_cast<int>(k / 3));
    EXPECT_EQ(stages.lines[k].sense, k % 2 == 0 ? 1 : -1);
  }
  ASSERT_EQ(stages.edges.size(), 12U);
  for (const StageEdge& edge : stages.edges) {
    const sim::Vec3 p = seen.InPlate(edge.place).cwiseAbs();
    EXPECT_NEAR(std::min(std::abs(p.x() - 0.015), std::abs(p.y() - 0.01)), 0.0, 0.0003);
  }
  const std::vector<RawDataPoint>& samples = seen.feature->GetRawData();
  std::size_t beside = 0;
  // The last sample of a scan ends its last run and belongs to no line.
  for (std::size_t i = 0; i + 1 < samples.size(); ++i) {
    const bool off = std::abs(seen.InPlate(samples[i]).z()) > 0.0005;
    beside += off && stages.fates[i] == SampleFate::kSurface ? 1 : 0;
    EXPECT_EQ(stages.fates[i] == SampleFate::kBetween,
              samples[i].quality >= 50.0 && samples[i].status % 2 == 0)
        << i;
  }
  EXPECT_LE(beside, stages.lines.size()) << "the neighbour that each line keeps";
  EXPECT_GT(seen.CountOf(SampleFate::kSurface), 100U);
  EXPECT_STREQ(stages.verdicts.front().what, "angle to the nominal normal");
}

TEST(StagesOfASlot, ItsSidesTakeNoPart) {
  const Seen seen({{"ScanPassesPerArc", 5},
                   {"ScanPassesPerSide", 2},
                   {"Feature", {{"$type", "SlotFeature"}, {"Length", 0.03}, {"Width", 0.012}}}},
                  sim::parts::ObroundOpening(0.03, 0.012), 0.4);
  ASSERT_TRUE(seen.feature->GetIsSuccessful()) << seen.feature->GetError();
  const Stages& stages = seen.feature->GetStages();
  ASSERT_EQ(stages.lines.size(), 10U);
  EXPECT_EQ(stages.lines.back().side, 1);
  const std::vector<RawDataPoint>& samples = seen.feature->GetRawData();
  for (std::size_t i = 0; i < samples.size(); ++i) {
    EXPECT_FALSE(samples[i].status > 19 && stages.fates[i] == SampleFate::kSurface) << i;
  }
}

}  // namespace
}  // namespace libmfx::features
