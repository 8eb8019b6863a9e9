#include "libmfx/features/rectangle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "feature_probe.h"
#include "opening_scene.h"
#include "paths.h"

namespace libmfx::features {
namespace {

using data_structures::Distance;
using nlohmann::json;
using namespace test;
using testing::Contains;
using testing::HasSubstr;

json Request() {
  return OpeningRequest("RectangleFeature", "Tangent", {{"$id", "R1"}, {"ScansPerSide", 4}},
                        {{"Name", "window"}, {"Length", 0.03}, {"Width", 0.02}});
}

/// A rectangle of the given size whose centre is off by (u, v), turned by `angle` in the plate.
auto Opening(double length, double width, double u = 0.0, double v = 0.0, double angle = 0.0) {
  const auto covers = [=](double along, double across) {
    return std::abs(along) < length / 2 && std::abs(across) < width / 2;
  };
  return OpeningAt(covers, u, v, angle);
}

std::string ErrorOf(const json& request) {
  const Rectangle rectangle(request.dump());
  return rectangle.GetError();
}

TEST(Rectangle, TableAndDefaults) {
  const auto descriptor = Rectangle::FeatureDescriptor();
  EXPECT_EQ(descriptor->_name, L"Rectangle");
  const auto& rows = descriptor->_settings;
  ASSERT_EQ(rows.size(), 17U);
  EXPECT_EQ(rows[0].label, L"Rectangle Length");
  EXPECT_EQ(rows[3].type, win32_support::SETTING_VECTOR_XYZ);
  EXPECT_EQ(rows[7].name, L"ScanPassesPerSide");
  EXPECT_EQ(rows[7].type, win32_support::SETTING_INT);
  EXPECT_EQ(rows[7].default_int, 2);
  EXPECT_EQ(rows[6].default_double, 0.005);
  EXPECT_EQ(rows[16].name, L"MeasuredWidth");
  EXPECT_EQ(rows[16].label, L"Rectangle Width");
  EXPECT_EQ(rows[16].kind, win32_support::KIND_RESULT);
}

TEST(Rectangle, ErrorsOfARequest) {
  EXPECT_EQ(Rectangle("nothing").GetError(), "Unable to parse JSON message!");
  for (const char* key : {"Location", "Normal", "Tangent"}) {
    json request = Request();
    request["Feature"].erase(key);
    EXPECT_EQ(ErrorOf(request),
              "Request does not contain nominal location, normal, and/or tangent!");
  }
  for (const json& bad : {json(0.0), json(-1), json("x"), json(nullptr)}) {
    json request = Request();
    request["Feature"]["Length"] = bad;
    EXPECT_EQ(ErrorOf(request), "Request does not contain valid nominal length!");
    request = Request();
    request["Feature"]["Width"] = bad;
    EXPECT_EQ(ErrorOf(request), "Request does not contain valid nominal width!");
  }
  json request = Request();
  request["Feature"].erase("Width");
  EXPECT_EQ(ErrorOf(request), "Request does not contain valid nominal width!");
  EXPECT_EQ(ErrorOf(json::object()),
            "Request does not contain nominal location, normal, and/or tangent!");
}

TEST(Rectangle, PlanCrossesEverySideInAlternation) {
  Rectangle rectangle(Request().dump());
  const auto points = PointsOf(rectangle.GetDrivePoints(false));
  ASSERT_EQ(points.size(), 32U);
  EXPECT_EQ(points, PointsOf(rectangle.GetLastDrivePoints()));
  for (std::size_t i = 0; i < points.size(); ++i) {
    const PointXYZW p = PlaceOf(points[i]);
    const bool outside = !Opening(0.03, 0.02)(p);
    EXPECT_EQ(outside, i % 4 == 0 || i % 4 == 3) << i;
    EXPECT_EQ(points[i].point_spacing, i % 2 == 0 ? 0.00035 : 0.0001);
    EXPECT_NEAR((p - kPlate.center).dot(kPlate.normal), 0.0, 1e-12);
  }
  // Side 0 lies on the tangent's side, side 1 a quarter turn about the normal further.
  const auto at = [&](std::size_t i) { return PlaceOf(points[i]); };
  EXPECT_NEAR(kPlate.u(at(0)), 0.020, 1e-12);
  EXPECT_NEAR(kPlate.v(at(0)), -0.006, 1e-12);
  EXPECT_NEAR(kPlate.v(at(8)), 0.015, 1e-12);
}

TEST(Rectangle, ASmallOpeningIsCrossedToItsCentreOnly) {
  json request = Request();
  request["Feature"]["Length"] = 0.004;
  request["Feature"]["Width"] = 0.004;
  Rectangle rectangle(request.dump());
  const auto points = PointsOf(rectangle.GetDrivePoints(false));
  const PointXYZW inner = PlaceOf(points[1]);
  EXPECT_NEAR(kPlate.u(inner), 0.0, 1e-12);
}

TEST(Rectangle, ParallelNormalAndTangentAreRefused) {
  for (const double sign : {1.0, -1.0}) {
    json request = Request();
    request["Feature"]["Tangent"] = TripleOf(kPlate.normal * sign);
    Rectangle rectangle(request.dump());
    EXPECT_TRUE(rectangle.GetDrivePoints(true).empty());
    EXPECT_TRUE(rectangle.GetLastDrivePoints().empty());
    EXPECT_EQ(rectangle.GetError(),
              "Normal and tangent are (anti-)parallel! Unable to create scan pattern!");
  }
}

TEST(Rectangle, NoPassesScanNothing) {
  json request = Request();
  request["ScansPerSide"] = 0;
  Rectangle rectangle(request.dump());
  EXPECT_TRUE(rectangle.GetDrivePoints(true).empty());
  EXPECT_EQ(rectangle.GetError(), "");
}

TEST(Rectangle, AbsurdPlansAreRefusedInWords) {
  json request = Request();
  request["ScansPerSide"] = 2147483647;
  Rectangle many(request.dump());
  EXPECT_TRUE(many.GetDrivePoints(true).empty());
  EXPECT_NE(many.GetError().find("ScansPerSide asks for a plan of"), std::string::npos);
  request = Request();
  request["Feature"]["Location"] = {1e300, 0, 1e300};
  Rectangle far(request.dump());
  EXPECT_TRUE(far.GetDrivePoints(true).empty());
  EXPECT_NE(far.GetError(), "");
  Rectangle nan(Request().dump());
  nan.SetSetting(L"NominalLength", std::nan(""));
  EXPECT_TRUE(nan.GetDrivePoints(true).empty());
  EXPECT_EQ(nan.GetError(), "NominalLength is not finite: nan");
}

TEST(Rectangle, MeasuresOnTheNominal) {
  const auto feature = MeasurePlate(Request(), Opening(0.03, 0.02));
  ASSERT_TRUE(feature->GetIsSuccessful()) << feature->GetError();
  const auto measured = feature->GetSetting<PointXYZW>(L"MeasuredPoint");
  EXPECT_LT(Distance(measured, kPlate.center), 8e-5);
  // An edge point is the last sample on the surface: up to a spacing outside of the opening.
  EXPECT_NEAR(feature->GetSetting<double>(L"MeasuredLength"), 0.03, 2e-4);
  EXPECT_NEAR(feature->GetSetting<double>(L"MeasuredWidth"), 0.02, 2e-4);
  EXPECT_GT(feature->GetSetting<VectorXYZW>(L"MeasuredNormal").dot(kPlate.normal), 1 - 1e-9);
  EXPECT_GT(feature->GetSetting<VectorXYZW>(L"MeasuredTangent").dot(kPlate.tangent), 1 - 5e-5);
  const auto result = nlohmann::ordered_json::parse(feature->GetResult());
  std::vector<std::string> keys;
  for (const auto& item : result.items()) keys.push_back(item.key());
  EXPECT_EQ(keys, (std::vector<std::string>{"$type", "Location", "Normal", "Tangent", "Length",
                                            "Width", "ScanData", "Success", "Target", "Name"}));
  EXPECT_EQ(result["$type"], "RectangleTargetResult");
  EXPECT_EQ(result["ScanData"]["DataFormat"], "LR_XYZ");
}

TEST(Rectangle, OnePassReachesAShiftedOpeningPartOfTheWay) {
  // The lines across two of the sides stand where the nominal puts them, and so does the mean of
  // their edge points: the centre follows a shift along those sides only in part.
  const auto feature = MeasurePlate(Request(), Opening(0.03, 0.02, 0.001, 0.0));
  ASSERT_TRUE(feature->GetIsSuccessful()) << feature->GetError();
  const double reached = kPlate.u(feature->GetSetting<PointXYZW>(L"MeasuredPoint"));
  EXPECT_GT(reached, 0.0004);
  EXPECT_LT(reached, 0.0007);
}

TEST(Rectangle, PassesAroundTheMovedNominalReachAShiftedAndTurnedOpening) {
  json request = Request();
  request["RescanThreshold"] = 5e-5;
  const auto opening = Opening(0.03, 0.02, 0.001, -0.0015, 0.05);
  const auto first = MeasurePlate(request, opening);
  EXPECT_FALSE(first->GetIsSuccessful());
  EXPECT_EQ(first->GetError(), "");
  EXPECT_EQ(first->GetDriveStep(), RESCAN);
  EXPECT_EQ(first->GetSetting<PointXYZW>(L"NominalPoint"),
            first->GetSetting<PointXYZW>(L"MeasuredPoint"));
  const auto feature = MeasurePlate(request, opening, 10);
  // The step alone asks for nothing: a host looks at the success as well.
  EXPECT_TRUE(feature->GetIsSuccessful());
  EXPECT_EQ(feature->GetDriveStep(), RESCAN);
  EXPECT_LT(Distance(feature->GetSetting<PointXYZW>(L"MeasuredPoint"), kPlate.At(0.001, -0.0015)),
            1.5e-4);
  const auto tangent = feature->GetSetting<VectorXYZW>(L"MeasuredTangent");
  EXPECT_NEAR(std::atan2(tangent.dot(kPlate.across()), tangent.dot(kPlate.tangent)), 0.05, 0.01);
}

std::string ErrorOver(const std::function<bool(const PointXYZW&)>& opening,
                      const json& request = Request()) {
  const auto feature = MeasurePlate(request, opening);
  EXPECT_FALSE(feature->GetIsSuccessful());
  const json result = json::parse(feature->GetResult());
  EXPECT_EQ(result["ErrorMessage"], feature->GetError());
  EXPECT_FALSE(result.contains("Location"));
  return feature->GetError();
}

TEST(Rectangle, AWrongSizeIsInconsistent) {
  EXPECT_EQ(ErrorOver(Opening(0.03, 0.0172)), "Inconsistent dimensions! Check target offset!");
  EXPECT_EQ(ErrorOver(Opening(0.0328, 0.02)), "Inconsistent dimensions! Check target offset!");
}

TEST(Rectangle, NothingComesBack) {
  EXPECT_EQ(ErrorWithoutSamples(Request()), "All scanned data was filtered!");
}

TEST(Rectangle, AFilledOpeningIsNone) {
  const std::string error = ErrorOver([](const PointXYZW&) { return false; });
  EXPECT_TRUE(error == "Inconsistent dimensions! Check target offset!" ||
              error == "Significant scan data within fit area! Check target area!")
      << error;
}

TEST(Rectangle, ASideWithOneGoodLineIsNotEnough) {
  // On side 0 only the line at v = -6 mm comes back.
  const auto opening = [](const PointXYZW& p) {
    return Opening(0.03, 0.02)(p) || (kPlate.u(p) > 0.0149 && kPlate.v(p) > -0.005);
  };
  EXPECT_EQ(ErrorOver(opening), "Bad scan lines resulted insufficient edge points being found!");
}

TEST(Rectangle, ALineBesideTheOpeningMakesItsSideDoubtful) {
  // The opening is shifted so far that the outermost lines of two sides never meet it.
  json request = Request();
  request["ScansPerSide"] = 9;
  const auto off = Opening(0.03, 0.02, 0.0032, 0.0);
  const auto feature = MeasurePlate(request, off);
  EXPECT_TRUE(feature->GetIsSuccessful()) << feature->GetError();
  EXPECT_THAT(feature->GetWarnings(), Contains(HasSubstr("off the line through that side")));
  EXPECT_EQ(json::parse(feature->GetResult())["Warnings"].get<std::vector<std::string>>(),
            feature->GetWarnings());
}

TEST(Rectangle, ACentreOffItsNominalIsDoubtedUnlessARescanWasAskedFor) {
  const auto centre_doubted = Contains(testing::StartsWith("The measured centre lies 0."));
  json request = Request();
  const auto warnings_at = [&](double shift) {
    return MeasurePlate(request, Opening(0.03, 0.02, shift, 0.0))->GetWarnings();
  };
  EXPECT_THAT(warnings_at(0.0), testing::IsEmpty());
  EXPECT_THAT(warnings_at(0.0001), testing::IsEmpty());
  EXPECT_THAT(warnings_at(0.0006), centre_doubted);
  request["PointSpacing"] = 0.0005;  // two spacings are more than the centre is off
  EXPECT_THAT(warnings_at(0.0006), testing::Not(centre_doubted));
  request.erase("PointSpacing");
  request["RescanThreshold"] = 0.001;
  EXPECT_THAT(warnings_at(0.0006), testing::IsEmpty());
}

TEST(Rectangle, ARescanComesBeforeAnyDoubt) {
  json request = Request();
  request["ScansPerSide"] = 9;
  request["RescanThreshold"] = 0.0001;
  const auto feature = MeasurePlate(request, Opening(0.03, 0.02, 0.0032, 0.0));
  EXPECT_FALSE(feature->GetIsSuccessful());
  EXPECT_EQ(feature->GetDriveStep(), RESCAN);
  EXPECT_EQ(feature->GetError(), "");
  EXPECT_TRUE(feature->GetWarnings().empty());
}

TEST(Rectangle, ATiltedSurfaceIsRejected) {
  json request = Request();
  // The nominal's normal is 20 degrees off the plate's.
  const double angle = 20.0 * std::numbers::pi / 180.0;
  const VectorXYZW tilted = kPlate.normal * std::cos(angle) + kPlate.across() * std::sin(angle);
  request["Feature"]["Normal"] = TripleOf(tilted);
  Rectangle rectangle(request.dump());
  rectangle.GetDrivePoints(false);
  // Samples on the true plate, line by line as planned on it.
  Rectangle straight(Request().dump());
  rectangle.UpdateRawData(
      PlateWith(Opening(0.03, 0.02)).Drive(PointsOf(straight.GetDrivePoints(false))));
  rectangle.AnalyzeFeature();
  EXPECT_EQ(rectangle.GetError(),
            "Rectangle::Analyze(): The normal vector of the scan data fit plane exceeds the angle "
            "to nominal rejection threshold!");
}

TEST(Rectangle, AFailedPlaneEndsWithoutAText) {
  Rectangle rectangle(Request().dump());
  rectangle.GetDrivePoints(false);
  rectangle.UpdateRawData({{0.0, 0.0, 9.0, 80.0, 1}, {0.1, 0.0, 9.0, 80.0, 1}});
  rectangle.AnalyzeFeature();
  EXPECT_FALSE(rectangle.GetIsSuccessful());
  EXPECT_EQ(rectangle.GetError(), "");
}

TEST(Rectangle, GarbageSamplesEndInAnErrorOrNone) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  Rectangle rectangle(Request().dump());
  rectangle.GetDrivePoints(false);
  std::vector<RawDataPoint> samples;
  for (int i = 0; i < 5000; ++i) {
    const double x = std::sin(12.9898 * i);
    samples.emplace_back(x, std::cos(78.233 * i), i % 7 == 0 ? nan : 1e3 * x, 60.0 + x, i * 7919);
  }
  rectangle.UpdateRawData(samples);
  rectangle.AnalyzeFeature();
  EXPECT_FALSE(rectangle.GetIsSuccessful());
  EXPECT_TRUE(json::accept(rectangle.GetResult()));
}

TEST(Rectangle, SearchSpiralReachesTheMultipleOfTheLength) {
  json request = Request();
  request["SearchEnabled"] = true;
  request["SearchRadiusMultiplier"] = 1.5;
  Rectangle rectangle(request.dump());
  rectangle.GetDrivePoints(false);
  const auto pattern = PointsOf(rectangle.GetLastDrivePoints());
  // What the host does so that the nominal outlives the reset.
  for (auto& row : Rectangle::FeatureDescriptor()->_settings) {
    if (row.type == win32_support::SETTING_POINT_XYZ) {
      row.SetDefault(rectangle.GetSetting<PointXYZW>(row.name));
    } else if (row.type == win32_support::SETTING_VECTOR_XYZ) {
      row.SetDefault(rectangle.GetSetting<VectorXYZW>(row.name));
    } else if (row.type == win32_support::SETTING_DOUBLE) {
      row.SetDefault(rectangle.GetSetting<double>(row.name));
    } else if (row.type == win32_support::SETTING_BOOL) {
      row.SetDefault(rectangle.GetSetting<bool>(row.name));
    }
  }
  EXPECT_TRUE(rectangle.Reset(false, true));
  double farthest = 0.0;
  for (const Position& p : PointsOf(rectangle.GetDrivePoints(true))) {
    farthest = std::max(farthest, Distance(PlaceOf(p), kPlate.center));
  }
  EXPECT_NEAR(farthest, 0.045, 1e-4);
  EXPECT_EQ(rectangle.GetDriveStep(), SEARCH);
  EXPECT_EQ(PointsOf(rectangle.GetLastDrivePoints()), pattern);
  Rectangle::FeatureDescriptor()->_defaults_captured = false;
  Rectangle::FeatureDescriptor();
}

}  // namespace
}  // namespace libmfx::features
