// Studs and threaded holes up to the samples: requests, settings, nominals and drive points.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "feature_probe.h"
#include "libmfx/features/stud.h"
#include "libmfx/features/threaded_hole.h"
#include "paths.h"
#include "settings.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using test::PointsOf;

/// A stud that leans from the line of sight by 45 degrees, two metres ahead.
json StudRequest() {
  return {{"$id", "T1"},
          {"Feature",
           {{"$type", "StudFeature"},
            {"Name", "pin"},
            {"Location", {0.0, 0.0, 2.0}},
            {"Axis", {0.0, 3.0, -3.0}},
            {"Radius", 0.005},
            {"Offset", 0.001},
            {"Height", 0.02}}}};
}

/// A bore seen at 30 degrees.
json HoleRequest() {
  json request = StudRequest();
  request["Feature"]["$type"] = "ThreadedHoleFeature";
  request["Feature"]["Axis"] = {0.0, 0.5, std::sqrt(0.75)};
  return request;
}

template <typename T>
std::string ErrorOf(const json& request) {
  return T(request.dump()).GetError();
}

TEST(Stud, ErrorsOfARequestInOrder) {
  EXPECT_EQ(Stud("{").GetError(), "Unable to parse JSON message!");
  json request = StudRequest();
  EXPECT_EQ(ErrorOf<Stud>(request), "");
  request["Feature"]["Height"] = 0.0;
  EXPECT_EQ(ErrorOf<Stud>(request), "Request does not contain valid nominal height!");
  request["Feature"]["Offset"] = -0.001;
  EXPECT_EQ(ErrorOf<Stud>(request), "Request does not contain valid nominal offset!");
  request["Feature"].erase("Radius");
  EXPECT_EQ(ErrorOf<Stud>(request), "Request does not contain valid nominal radius!");
  for (const char* key : {"Location", "Axis"}) {
    json without = StudRequest();
    without["Feature"].erase(key);
    EXPECT_EQ(ErrorOf<Stud>(without), "Request does not contain nominal location and/or axis!");
    EXPECT_EQ(ErrorOf<ThreadedHole>(without),
              "Request does not contain nominal location and/or axis!");
  }
}

TEST(Stud, ARejectedRequestHasNoValidNominals) {
  json request = StudRequest();
  request["Feature"].erase("Radius");
  Stud stud(request.dump());
  EXPECT_TRUE(stud.GetDrivePoints(false).empty());
  EXPECT_FALSE(stud.Reset(true, false));
  EXPECT_EQ(stud.GetError(), "Original JSON was invalid!");
}

TEST(Stud, ReadsItsRequest) {
  json request = StudRequest();
  request["FixAxis"] = true;
  request["FixRadius"] = 1;
  request["PointSpacing"] = 0.0002;
  request["LineSpacing"] = 0.0003;
  request["QualityThreshold"] = 40;
  request["ScanQualityThreshold"] = 41;
  request["RescanThreshold"] = 0.003;
  request["SearchEnabled"] = true;
  request["MinIncidentAngle"] = 0.2;
  request["Feature"]["RadiusTolerance"] = 0.002;
  request["Feature"]["PlaneTolerance"] = -1.0;  // only a positive one is taken
  const Stud stud(request.dump());
  test::ExpectSettings(stud, {{L"FixAxis", true},
                              {L"FixRadius", true},
                              {L"PointSpacing", 0.0002},
                              {L"LineSpacing", 0.0003},
                              {L"QualityThreshold", 40.0},
                              {L"RescanThreshold", 0.003},
                              {L"SearchEnabled", true},
                              {L"MinIncidentAngle", 0.2},
                              {L"RadiusTolerance", 0.002},
                              {L"PlaneTolerance", 0.001},
                              {L"NominalCylinderRadius", 0.005},
                              {L"NominalCylinderBottomOffset", 0.001},
                              {L"NominalCylinderHeight", 0.02}});
  const auto axis = stud.GetSetting<PointXYZW>(L"NominalCylinderAxis");
  EXPECT_NEAR(axis.y(), std::sqrt(0.5), 1e-15);
  EXPECT_EQ(axis.w(), 0.0);
  EXPECT_EQ(stud.GetSetting<PointXYZW>(L"NominalCylinderCenter"), PointXYZW(0.0, 0.0, 2.0));
  request["$type"] = "ThreadedHoleFeature";
  EXPECT_EQ(ThreadedHole(request.dump()).GetSetting<double>(L"QualityThreshold"), 41.0);
}

TEST(Stud, TableOfSettings) {
  const auto descriptor = Stud::FeatureDescriptor();
  EXPECT_EQ(descriptor->_name, L"Stud");
  EXPECT_EQ(descriptor->_label, L"Performs cylinder fitting for stud scan data");
  const auto& rows = descriptor->_settings;
  const std::vector<std::wstring> names = {L"FixAxis",
                                           L"FixRadius",
                                           L"PointSpacing",
                                           L"LineSpacing",
                                           L"QualityThreshold",
                                           L"SearchEnabled",
                                           L"RescanThreshold",
                                           L"IDCMethod",
                                           L"NominalCylinderAxis",
                                           L"NominalCylinderCenter",
                                           L"NominalCylinderRadius",
                                           L"NominalCylinderBottomOffset",
                                           L"NominalCylinderHeight",
                                           L"RadiusTolerance",
                                           L"PlaneTolerance",
                                           L"MinIncidentAngle",
                                           L"FittedCylinderAxis",
                                           L"FittedCylinderCenter",
                                           L"FittedCylinderRadius"};
  ASSERT_EQ(rows.size(), names.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].name, names[i]);
    EXPECT_EQ(rows[i].kind, i < 8    ? win32_support::KIND_PARAMETER
                            : i < 16 ? win32_support::KIND_NOMINAL
                                     : win32_support::KIND_RESULT);
  }
  for (const std::size_t i : {8, 9, 16, 17})
    EXPECT_EQ(rows[i].type, win32_support::SETTING_POINT_XYZ) << i;
  EXPECT_EQ(rows[3].default_double, 0.0005);
  EXPECT_EQ(rows[6].default_double, std::numeric_limits<double>::max());
  EXPECT_EQ(rows[7].default_int, -1);
  EXPECT_EQ(rows[8].default_point, PointXYZW(0.0, 0.0, 0.0, 0.0));
  EXPECT_EQ(rows[9].default_point, PointXYZW(0.0, 0.0, 2.0, 1.0));
  EXPECT_EQ(rows[10].default_double, 0.001);
  EXPECT_EQ(rows[12].default_double, 0.025);
  EXPECT_EQ(rows[15].default_double, 0.17453292519943295);
  EXPECT_EQ(rows[16].default_point, PointXYZW(0.0, 0.0, -1.0, 0.0));
  EXPECT_EQ(rows[17].default_point, PointXYZW(0.0, 0.0, 0.0, 0.0));
  EXPECT_EQ(rows[18].default_double, -1.0);
}

TEST(ThreadedHole, TableOfSettingsIsNotInMetres) {
  const auto descriptor = ThreadedHole::FeatureDescriptor();
  EXPECT_EQ(descriptor->_name, L"ThreadedHole");
  EXPECT_EQ(descriptor->_label, L"Performs threaded hole detection");
  const auto& rows = descriptor->_settings;
  const auto& stud = Stud::FeatureDescriptor()->_settings;
  ASSERT_EQ(rows.size(), stud.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].name, stud[i].name);
    EXPECT_EQ(rows[i].label == stud[i].label, i != 15);
  }
  EXPECT_EQ(rows[3].default_double, 0.001);
  EXPECT_EQ(rows[8].default_point, PointXYZW(0.0, 0.0, 1.0, 1.0));
  EXPECT_EQ(rows[9].default_point, PointXYZW(110.0, 52.5, 0.0, 1.0));
  EXPECT_EQ(rows[10].default_double, 5.0);
  EXPECT_EQ(rows[11].default_double, 1.0);
  EXPECT_EQ(rows[12].default_double, 18.0);
  EXPECT_EQ(rows[13].default_double, 3.0);
  EXPECT_EQ(rows[14].default_double, 2.0);
  EXPECT_EQ(rows[15].label,
            L"The minimum angle to the feature to extract a Threaded Hole reliably (rad)");
}

TEST(Stud, ResetPutsTheDefaultsInThePlaceOfTheRequest) {
  Stud stud(StudRequest().dump());
  EXPECT_FALSE(stud.Reset(false, false));
  EXPECT_EQ(stud.GetSetting<PointXYZW>(L"NominalCylinderCenter"), PointXYZW(0.0, 0.0, 2.0));
  EXPECT_EQ(stud.GetSetting<double>(L"NominalCylinderRadius"), 0.001);
  EXPECT_EQ(stud.GetSetting<double>(L"NominalCylinderHeight"), 0.025);
  // The default axis is no direction, so the nominals don't pass.
  EXPECT_EQ(stud.GetError(), "The angle of the feature is too small for a reliable extraction!");
}

json WithAxis(json request, double angle, double sense) {
  request["Feature"]["Axis"] = {0.0, std::sin(angle), -sense * std::cos(angle)};
  return request;
}

TEST(Stud, AxisTowardsTheOriginPassesAndOneAcrossTheViewFails) {
  const char* error = "The angle of the feature is too small for a reliable extraction!";
  EXPECT_EQ(ErrorOf<Stud>(WithAxis(StudRequest(), 0.0, 1.0)), "");
  EXPECT_EQ(ErrorOf<Stud>(WithAxis(StudRequest(), std::acos(0.0), 1.0)), error);
  EXPECT_EQ(ErrorOf<Stud>(WithAxis(StudRequest(), 0.0, -1.0)), error);
  json zero = StudRequest();
  zero["Feature"]["Axis"] = {0.0, 0.0, 0.0};
  EXPECT_EQ(ErrorOf<Stud>(zero), error);
}

TEST(Stud, TheCosineIsComparedWithTheAngle) {
  json request = StudRequest();
  request["Feature"]["Axis"] = {0.0, 0.8, -0.6};
  request["MinIncidentAngle"] = 0.6;  // an equal one passes
  EXPECT_EQ(ErrorOf<Stud>(request), "");
  request["MinIncidentAngle"] = 0.6000001;
  EXPECT_EQ(ErrorOf<Stud>(request),
            "The angle of the feature is too small for a reliable extraction!");
}

TEST(ThreadedHole, AngleHasTwoBounds) {
  constexpr double kDegree = 0.017453292519943295;
  const auto error_at = [&](double degrees) {
    return ErrorOf<ThreadedHole>(WithAxis(HoleRequest(), degrees * kDegree, -1.0));
  };
  const char* small = "The angle of the feature is too small for a reliable extraction!";
  const char* large = "The angle of the feature is too large for a reliable extraction!";
  EXPECT_EQ(error_at(0.0), small);
  EXPECT_EQ(error_at(9.99), small);
  EXPECT_EQ(error_at(10.01), "");
  EXPECT_EQ(error_at(49.99), "");
  EXPECT_EQ(error_at(50.01), large);
  EXPECT_EQ(error_at(170.0), large);  // towards the instrument: counts as across the view
}

TEST(ThreadedHole, TellsItsAnglesOnStandardOutput) {
  json request = WithAxis(HoleRequest(), 0.5, -1.0);
  request["Feature"]["Location"] = {0.0, 0.0, 1.0};
  testing::internal::CaptureStdout();
  const ThreadedHole hole(request.dump());
  const std::string text = testing::internal::GetCapturedStdout();
  EXPECT_EQ(text,
            "ThreadedHole (pin) nominal incident: 0.5\nLower bound angle: 0.174533\n"
            "Upper bound angle: 0.872665\n");
}

TEST(Stud, DrivesALineForEachLineSpacing) {
  const auto points_of = [](double radius, double spacing) {
    json request = StudRequest();
    request["Feature"]["Radius"] = radius;
    request["LineSpacing"] = spacing;
    Stud stud(request.dump());
    const std::size_t points = stud.GetDrivePoints(false).size();
    EXPECT_EQ(stud.GetError(), "");
    return points;
  };
  EXPECT_EQ(points_of(0.005, 0.0005), 40U);
  EXPECT_EQ(points_of(0.005, 0.011), 0U);
  EXPECT_EQ(points_of(0.008, 0.01), 2U);
}

TEST(ThreadedHole, RoundsTheNumberOfLines) {
  json request = HoleRequest();
  request["Feature"]["Radius"] = 0.008;
  request["LineSpacing"] = 0.01;
  EXPECT_EQ(ThreadedHole(request.dump()).GetDrivePoints(false).size(), 4U);
}

TEST(Stud, LinesRunAlongTheAxis) {
  Stud stud(StudRequest().dump());
  const auto plan = PointsOf(stud.GetDrivePoints(false));
  ASSERT_EQ(plan.size(), 40U);
  const Eigen::Vector3d center(0.0, 0.0, 2.0), axis(0.0, std::sqrt(0.5), -std::sqrt(0.5));
  for (std::size_t i = 0; i < plan.size(); ++i) {
    const Eigen::Vector3d p = test::PlaceOf(plan[i]).xyz() - center;
    EXPECT_EQ(plan[i].point_spacing, i % 2 == 0 ? 0.0 : 0.0001);
    // Up on even lines, down on odd ones: from half a height below to one and a half above.
    const bool low = i % 4 == 0 || i % 4 == 3;
    EXPECT_NEAR(p.dot(axis), low ? -0.01 : 0.03, 1e-12) << i;
    EXPECT_NEAR(std::abs(p.x()), std::abs(static_cast<double>(i / 2) * 0.0005 - 0.005), 1e-12) << i;
    EXPECT_NEAR(p.dot(Eigen::Vector3d(0.0, 1.0, 1.0)), 0.0, 1e-12) << i;
  }
  EXPECT_EQ(PointsOf(stud.GetLastDrivePoints()), plan);
}

TEST(Stud, AnAxisAlongTheViewStillHasARaster) {
  json request = WithAxis(StudRequest(), 0.0, 1.0);
  Stud stud(request.dump());
  const auto plan = PointsOf(stud.GetDrivePoints(false));
  ASSERT_EQ(plan.size(), 40U);
  double widest = 0.0;
  for (const Position& p : plan) {
    EXPECT_TRUE(std::isfinite(p.azimuth + p.elevation + p.range));
    const auto at = test::PlaceOf(p);
    widest = std::max(widest, std::hypot(at.x(), at.y()));
  }
  EXPECT_NEAR(widest, 0.005, 1e-12);
}

TEST(Stud, PlansThatNoInstrumentDrivesAreRefused) {
  const auto refusal_of = [](const char* key, const json& value, bool in_feature) {
    json request = StudRequest();
    (in_feature ? request["Feature"] : request)[key] = value;
    Stud stud(request.dump());
    EXPECT_TRUE(stud.GetDrivePoints(false).empty()) << key;
    EXPECT_TRUE(stud.GetLastDrivePoints().empty()) << key;
    return stud.GetError();
  };
  EXPECT_NE(refusal_of("LineSpacing", 0.0, false), "");
  EXPECT_NE(refusal_of("LineSpacing", -0.001, false), "");
  EXPECT_NE(refusal_of("LineSpacing", 1e-12, false), "");
  EXPECT_NE(refusal_of("Radius", 1e300, true), "");
  EXPECT_NE(refusal_of("Height", 1e300, true), "");
  EXPECT_NE(refusal_of("Location", {1e300, 0.0, 2.0}, true), "");
}

TEST(Stud, ASpacingThatNoCountHangsOnIsHandedOutAsItIs) {
  for (const double spacing : {0.0, -0.001}) {
    json request = StudRequest();
    request["PointSpacing"] = spacing;
    Stud stud(request.dump());
    const auto plan = PointsOf(stud.GetDrivePoints(false));
    ASSERT_EQ(plan.size(), 40U) << stud.GetError();
    EXPECT_EQ(plan[1].point_spacing, spacing);
    stud.SetSetting(L"PointSpacing", std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(stud.GetDrivePoints(true).empty());
    EXPECT_EQ(stud.GetError(), "PointSpacing is not finite: nan");
  }
}

TEST(Stud, SearchDrivesASpiralAroundTheNominal) {
  json request = StudRequest();
  request["SearchEnabled"] = true;
  Stud stud(request.dump());
  const auto plan = PointsOf(stud.GetDrivePoints(false));
  ASSERT_EQ(plan.size(), 40U);
  // A reset would put the nominal back to its default, so the host keeps it in the descriptor.
  const auto descriptor = Stud::FeatureDescriptor();
  const auto kept = descriptor->_settings;
  descriptor->_settings[5].default_bool = true;
  descriptor->_settings[8].default_point = stud.GetSetting<PointXYZW>(L"NominalCylinderAxis");
  descriptor->_settings[10].default_double = 0.005;
  EXPECT_TRUE(stud.Reset(false, true));
  descriptor->_settings = kept;
  const auto spiral = PointsOf(stud.GetDrivePoints(true));
  EXPECT_EQ(stud.GetDriveStep(), SEARCH);
  // 20 points a turn, a millimetre a turn, up to four radii.
  EXPECT_NEAR(static_cast<double>(spiral.size()), 1.0 + 20.0 * 20.0, 1.0);
  EXPECT_EQ(PointsOf(stud.GetLastDrivePoints()), plan) << "a search pattern does not stand there";
  const Eigen::Vector3d center(0.0, 0.0, 2.0), axis(0.0, std::sqrt(0.5), -std::sqrt(0.5));
  for (const Position& p : spiral) {
    const Eigen::Vector3d at = test::PlaceOf(p).xyz() - center;
    EXPECT_NEAR(at.dot(axis), 0.0, 1e-12);
    EXPECT_LE(at.norm(), 0.0201);
  }
}

TEST(Stud, TheFactoryMakesBoth) {
  const std::unique_ptr<Feature> stud(Feature::Create(StudRequest().dump()));
  EXPECT_EQ(stud->FeatureName(), "Stud");
  const std::unique_ptr<Feature> hole(Feature::Create(HoleRequest().dump()));
  EXPECT_EQ(hole->FeatureName(), "ThreadedHole");
}

}  // namespace
}  // namespace libmfx::features
