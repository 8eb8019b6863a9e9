#include "libmfx/features/slot.h"

#include <gtest/gtest.h>

#include "feature_probe.h"
#include "opening_scene.h"
#include "paths.h"

namespace libmfx::features {
namespace {

using data_structures::Distance;
using nlohmann::json;
using namespace test;

json Request(double length = 0.03, double width = 0.012) {
  return OpeningRequest("SlotFeature", "Tangent",
                        {{"$id", "S1"}, {"ScanPassesPerArc", 6}, {"ScanPassesPerSide", 2}},
                        {{"Length", length}, {"Width", width}});
}

auto Opening(double length, double width, double u = 0.0, double v = 0.0, double angle = 0.0) {
  const auto covers = [=](double along, double across) {
    const double beyond = std::max(0.0, std::abs(along) - (length - width) / 2.0);
    return std::hypot(beyond, across) < width / 2.0;
  };
  return OpeningAt(covers, u, v, angle);
}

TEST(Slot, TableNamesLengthAndWidthTwice) {
  const auto& rows = Slot::FeatureDescriptor()->_settings;
  ASSERT_EQ(rows.size(), 18U);
  EXPECT_EQ(rows[0].name, L"Length");
  EXPECT_EQ(rows[0].kind, win32_support::KIND_NOMINAL);
  EXPECT_EQ(rows[16].name, L"Length");
  EXPECT_EQ(rows[16].kind, win32_support::KIND_RESULT);
  EXPECT_NE(rows[0].offset, rows[16].offset);
  EXPECT_EQ(rows[17].label, L"Slot Width");
}

TEST(Slot, ErrorsOfARequest) {
  const auto error_of = [](const json& request) { return Slot(request.dump()).GetError(); };
  EXPECT_EQ(Slot("").GetError(), "Unable to parse JSON message!");
  for (const json& bad : {json(0), json(-3), json(0.9), json("no")}) {
    json request = Request();
    request["ScanPassesPerArc"] = bad;
    EXPECT_EQ(error_of(request),
              "Request does not contain valid scan passes number for slot arcs!");
  }
  json request = Request();
  request.erase("ScanPassesPerArc");
  EXPECT_EQ(error_of(request), "Request does not contain valid scan passes number for slot arcs!");
  request = Request();
  request["Feature"].erase("Tangent");
  EXPECT_EQ(error_of(request),
            "Request does not contain nominal location, normal, and/or tangent!");
  EXPECT_EQ(error_of(Request(0.0)), "Request does not contain valid nominal length!");
  EXPECT_EQ(error_of(Request(0.03, -0.01)), "Request does not contain valid nominal width!");
}

std::vector<PointXYZW> PlanOf(const json& request) {
  Slot slot(request.dump());
  return PlacesOf(slot.GetDrivePoints(false));
}

TEST(Slot, TheArcsComeBeforeTheSides) {
  const auto points = PlanOf(Request());
  ASSERT_EQ(points.size(), 32U);
  for (std::size_t i = 0; i < points.size(); ++i) {
    EXPECT_EQ(!Opening(0.03, 0.012)(points[i]), i % 4 == 0 || i % 4 == 3) << i;
    const double u = kPlate.u(points[i]);
    if (i < 12) {
      EXPECT_GE(u, 0.009 - 1e-12) << i;
    } else if (i < 24) {
      EXPECT_LE(u, -0.009 + 1e-12) << i;
    } else {
      EXPECT_NEAR(std::abs(u), 0.003, 1e-12) << i;
    }
  }
}

TEST(Slot, WithoutSidePassesOnlyTheArcsArePlanned) {
  json request = Request();
  request.erase("ScanPassesPerSide");
  EXPECT_EQ(PlanOf(request).size(), 24U);
  request["ScanPassesPerSide"] = -5;
  EXPECT_EQ(PlanOf(request).size(), 24U);
}

TEST(Slot, ALengthUpToTheWidthPutsBothArcsOnTheNominal) {
  for (const double length : {0.012, 0.008}) {
    const auto points = PlanOf(Request(length));
    for (std::size_t i = 0; i < 24; i += 2) {
      const PointXYZW middle = points[i] + (points[i + 1] - points[i]) * 0.5;
      EXPECT_NEAR(Distance(middle, kPlate.center), 0.006, 1e-12);
    }
  }
}

TEST(Slot, ParallelNormalAndTangentAreRefused) {
  json request = Request();
  request["Feature"]["Tangent"] = TripleOf(kPlate.normal);
  Slot slot(request.dump());
  EXPECT_TRUE(slot.GetDrivePoints(true).empty());
  EXPECT_EQ(slot.GetError(),
            "Normal and tangent are (anti-)parallel! Unable to create scan pattern!");
}

TEST(Slot, SetRawDataTellsItsStepOnStandardOutput) {
  Slot slot(Request().dump());
  std::queue<Position> next;
  testing::internal::CaptureStdout();
  EXPECT_FALSE(slot.SetRawData({}, next));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Slot::SetRawData()::_search == false\nDrive Step: INITIAL\n"
            "Slot::SetRawData(): Normal search pattern!\n");
  EXPECT_EQ(next.size(), 32U);
  testing::internal::CaptureStdout();
  EXPECT_TRUE(slot.SetRawData({{0, 0, 2, 80, 1}}, next));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Slot::SetRawData()::_search == false\nDrive Step: FEATURE_SCAN_PATTERN\n");
  testing::internal::CaptureStdout();
  EXPECT_TRUE(slot.SetRawData({{0, 0, 2, 80, 1}, {0, 0, 2, 80, 1}}, next));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(slot.GetRawData().size(), 1U);
}

class SlotShape : public testing::TestWithParam<std::pair<double, double>> {};

TEST_P(SlotShape, IsMeasured) {
  const auto [length, width] = GetParam();
  const auto feature = MeasurePlate(Request(length, width), Opening(length, width));
  ASSERT_TRUE(feature->GetIsSuccessful()) << feature->GetError();
  const json result = json::parse(feature->GetResult());
  EXPECT_EQ(result["$type"], "SlotTargetResult");
  const json& at = result["Location"];
  EXPECT_LT(Distance(PointXYZW(at[0], at[1], at[2]), kPlate.center), 1e-4);
  EXPECT_NEAR(result["Length"].get<double>(), length, 2.5e-4);
  EXPECT_NEAR(result["Width"].get<double>(), width, 2.5e-4);
  const json& tangent = result["Tangent"];
  EXPECT_GT(VectorXYZW(tangent[0], tangent[1], tangent[2]).dot(kPlate.tangent), std::cos(0.05));
}

INSTANTIATE_TEST_SUITE_P(RoundToLong, SlotShape,
                         testing::Values(std::pair{0.012, 0.012}, std::pair{0.0125, 0.012},
                                         std::pair{0.016, 0.012}, std::pair{0.03, 0.012},
                                         std::pair{0.1, 0.006}, std::pair{0.2, 0.02}));

TEST(Slot, OffAlongItsTangentTheStraightSidesDoNotBendTheArcs) {
  const auto feature = MeasurePlate(Request(), Opening(0.03, 0.012, 0.002, -0.0005));
  ASSERT_TRUE(feature->GetIsSuccessful()) << feature->GetError();
  EXPECT_LT(Distance(feature->GetSetting<PointXYZW>(L"MeasuredPoint"), kPlate.At(0.002, -0.0005)),
            1.2e-4);
}

/// Measures an opening with a floor this far beneath it, or with nothing there for 0.
json MeasureOverFloor(const json& request, const IsOpen& is_open, double depth) {
  IdealDriver driver([&](const sim::Aim& aim) {
    const PointXYZW p = PlaceOf(aim);
    if (!is_open(p)) return aim.range;
    if (depth == 0.0) return 0.0;
    return aim.range * (1.0 - depth / (p - PointXYZW()).dot(kPlate.normal));
  });
  const std::unique_ptr<Feature> feature(Feature::Create(request.dump()));
  const host::Conversation outcome = Converse(*feature, driver);
  EXPECT_TRUE(outcome.successful) << outcome.error;
  return json::parse(outcome.result);
}

TEST(Slot, TheSampleBeyondTheBorderTellsWhereTheBorderIs) {
  json request = Request();
  request["ScanPassesPerArc"] = 40;
  // Off its nominal, so that the samples of the lines fall at all distances from the border.
  const auto opening = Opening(0.03, 0.012, 0.0004, 0.0003);
  const json floor = MeasureOverFloor(request, opening, 0.02);
  EXPECT_NEAR(floor["Width"].get<double>(), 0.012, 3e-5);
  EXPECT_NEAR(floor["Length"].get<double>(), 0.03, 3e-5);
  // Where nothing follows, the last sample of the surface stands, half a spacing outside.
  const json nothing = MeasureOverFloor(request, opening, 0.0);
  EXPECT_GT(nothing["Width"].get<double>(), 0.012 + 5e-5);
  EXPECT_GT(nothing["Length"].get<double>(), 0.03 + 5e-5);
}

std::string ErrorOver(const std::function<bool(const PointXYZW&)>& opening,
                      const json& request = Request()) {
  const auto feature = MeasurePlate(request, opening);
  EXPECT_FALSE(feature->GetIsSuccessful());
  return feature->GetError();
}

TEST(Slot, FailuresInWords) {
  EXPECT_EQ(ErrorWithoutSamples(Request()), "All scanned data was filtered!");
  EXPECT_EQ(ErrorOver(Opening(0.03, 0.0092)),
            "Considerably high interior points! Is this a flat surface?");
  EXPECT_EQ(ErrorOver(Opening(0.03, 0.012, 0.0, 0.0, 0.3)),
            "Slot is misaligned in the tangent direction!");
  json few = Request();
  few["ScanPassesPerArc"] = 3;
  EXPECT_EQ(ErrorOver(Opening(0.03, 0.012), few), "Insufficient points to fit arc!");
  const auto arc_missing = [](const PointXYZW& p) {
    return Opening(0.03, 0.012)(p) || kPlate.u(p) > 0.0;
  };
  const std::string missing = ErrorOver(arc_missing);
  EXPECT_EQ(missing, "Bad scan lines resulted insufficient edge points being found!");
}

TEST(Slot, AFilledOpeningIsNone) {
  EXPECT_NE(ErrorOver([](const PointXYZW&) { return false; }), "");
}

TEST(Slot, ARescanMovesTheNominal) {
  json request = Request();
  request["RescanThreshold"] = 0.0005;
  const auto feature = MeasurePlate(request, Opening(0.03, 0.012, 0.001, 0.0));
  EXPECT_EQ(feature->GetDriveStep(), RESCAN);
  EXPECT_LT(Distance(feature->GetSetting<PointXYZW>(L"NominalPoint"), kPlate.At(0.001, 0.0)),
            1.2e-4);
}

}  // namespace
}  // namespace libmfx::features
