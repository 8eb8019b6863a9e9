#include "libmfx/features/pvi.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <numbers>
#include <random>

#include "feature_probe.h"
#include "paths.h"
#include "protected.h"

namespace libmfx::features {
namespace {

using data_structures::Distance;
using nlohmann::json;
using test::LogCollector;
using test::PointsOf;

/// A request at 2 m straight ahead whose normal faces the instrument, tilted by `tilt` radians.
json RequestWithTilt(double tilt) {
  return {{"$id", "7"},
          {"BoxDimension", 0.004},
          {"NumberOfPoints", 25},
          {"Feature",
           {{"$type", "SurfaceNormalFeature"},
            {"Name", "point"},
            {"Location", {0.0, 0.0, 2.0}},
            {"Normal", {std::sin(tilt), 0.0, -std::cos(tilt)}}}}};
}

std::vector<PointXYZW> PlanOf(PVI& pvi) { return test::PlacesOf(pvi.GetDrivePoints(true)); }

/// Samples of a plane through `at` with normal `n`, on a grid of `side` by `side` points around the
/// direction of (0, 0, 2), each moved along the beam by what `error` tells for its index.
std::vector<RawDataPoint> GridOn(const PointXYZW& at, const VectorXYZW& n, int side,
                                 const std::function<double(int)>& error) {
  std::vector<RawDataPoint> samples;
  for (int i = 0; i < side; ++i) {
    for (int j = 0; j < side; ++j) {
      const AzElRange beam(PointXYZW(0.002 * i / side - 0.001, 0.002 * j / side - 0.001, 2.0));
      const VectorXYZW direction =
          (AzElRange(beam.azimuth, beam.elevation, 1.0).ToPoint() - PointXYZW());
      const double range = (at - PointXYZW()).dot(n) / direction.dot(n);
      const int index = i * side + j;
      samples.emplace_back(beam.azimuth, beam.elevation, range + error(index), 80.0, index);
    }
  }
  return samples;
}

const VectorXYZW kFacing(0, 0, -1);

TEST(Pvi, TableAndDefaults) {
  const auto descriptor = PVI::FeatureDescriptor();
  EXPECT_EQ(descriptor->_name, L"PVI");
  EXPECT_EQ(descriptor->_label, L"Plane-Vector Intersect");
  const auto& rows = descriptor->_settings;
  ASSERT_EQ(rows.size(), 21U);
  EXPECT_EQ(rows[1].name, L"NominalNormal");
  EXPECT_EQ(rows[1].type, win32_support::SETTING_POINT_XYZ);
  EXPECT_EQ(rows[1].default_point, PointXYZW(0, 0, 0, 0));
  EXPECT_EQ(rows[7].name, L"AngleThresh");
  EXPECT_EQ(rows[7].label, L"Angle Threshold (degrees)");
  EXPECT_EQ(rows[7].default_double, 1.3962634015954636);
  EXPECT_EQ(rows[9].name, L"MaxFiltertPrct");
  EXPECT_EQ(rows[9].default_double, 30.0);
  EXPECT_EQ(rows[13].name, L"ScanElevation");
  EXPECT_TRUE(rows[13].default_bool);
  EXPECT_EQ(rows[15].default_double, std::numeric_limits<double>::max());
  EXPECT_EQ(rows[16].name, L"DistanceThreshold");
  EXPECT_EQ(rows[20].name, L"Quality");
  EXPECT_EQ(rows[20].kind, win32_support::KIND_RESULT);
  const int parameters = static_cast<int>(
      std::count_if(rows.begin(), rows.end(), [](const auto& row) { return row.kind == 1; }));
  EXPECT_EQ(parameters, 16);
}

TEST(Pvi, OnlyThisClassForbidsHighSpeed) { EXPECT_FALSE(PVI().GetHighSpeedAllowed()); }

TEST(Pvi, ARefusedPlanLeavesTheLastOneAlone) {
  PVI pvi(RequestWithTilt(0.0).dump());
  const auto plan = PointsOf(pvi.GetDrivePoints(false));
  ASSERT_FALSE(plan.empty());
  pvi.SetSetting(L"NominalNormal", PointXYZW(0, 0, 1, 0));
  EXPECT_TRUE(pvi.GetDrivePoints(true).empty());
  EXPECT_EQ(pvi.GetError(), "ERROR_PVI_NORMAL_DIR");
  EXPECT_EQ(PointsOf(pvi.GetLastDrivePoints()), plan);
  EXPECT_TRUE(pvi.GetDrivePoints(true).empty());
  EXPECT_TRUE(pvi.GetLastDrivePoints().empty()) << "with an error there is none";
}

TEST(Pvi, ErrorsOfARequest) {
  const auto error_of = [](const json& request) { return PVI(request.dump()).GetError(); };
  EXPECT_EQ(PVI("{").GetError(), "Unable to parse JSON message!");
  json request = RequestWithTilt(0.0);
  request["Feature"].erase("Location");
  EXPECT_EQ(error_of(request), "Request does not contain nominal location and/or normal!");
  request = RequestWithTilt(0.0);
  request["Feature"].erase("Normal");
  EXPECT_EQ(error_of(request), "Request does not contain nominal location and/or normal!");
  request["Feature"]["Normal"] = {0, 0, 1e-13};
  EXPECT_EQ(error_of(request), "Nominal normal is zero!");
  PVI pvi(request.dump());
  EXPECT_TRUE(pvi.GetDrivePoints(true).empty());
  EXPECT_FALSE(pvi.Reset(true, false));
}

TEST(Pvi, ABoxThatIsNotPositiveLeavesTheDefault) {
  json request = RequestWithTilt(0.0);
  for (const json& box : {json(0.0), json(-1.0), json("x"), json(nullptr)}) {
    request["BoxDimension"] = box;
    EXPECT_EQ(PVI(request.dump()).GetSetting<double>(L"BoxDimension"), 0.003);
  }
}

TEST(Pvi, TwentyFivePointsMakeFiveLegs) {
  PVI pvi(RequestWithTilt(0.5).dump());
  const auto positions = PointsOf(pvi.GetDrivePoints(false));
  ASSERT_EQ(positions.size(), 6U);
  EXPECT_EQ(positions, PointsOf(pvi.GetLastDrivePoints()));
  const auto points = PlanOf(pvi);
  EXPECT_EQ(positions[0].point_spacing, 0.0);
  for (std::size_t i = 1; i < points.size(); ++i) {
    EXPECT_NEAR(positions[i].point_spacing, Distance(points[i], points[i - 1]) / 5.0, 1e-12);
  }
  // Corner to corner along a, and the whole box along b in five steps.
  EXPECT_NEAR(Distance(points[0], points[1]), std::hypot(0.004, 0.0008), 1e-12);
  EXPECT_NEAR(Distance(points[0], points[5]), std::hypot(0.004, 0.004), 1e-12);
}

TEST(Pvi, TwoPointsMakeTwoLegsOfOneSpacing) {
  json request = RequestWithTilt(0.5);
  request["NumberOfPoints"] = 2;
  PVI pvi(request.dump());
  const auto positions = PointsOf(pvi.GetDrivePoints(false));
  ASSERT_EQ(positions.size(), 3U);
  const auto points = PlanOf(pvi);
  EXPECT_NEAR(positions[1].point_spacing, Distance(points[0], points[1]), 1e-12);
}

TEST(Pvi, TheBoxLiesInTheNominalPlane) {
  PVI pvi(RequestWithTilt(0.7).dump());
  const VectorXYZW normal(std::sin(0.7), 0, -std::cos(0.7));
  for (const PointXYZW& p : PlanOf(pvi)) {
    EXPECT_NEAR((p - PointXYZW(0, 0, 2)).dot(normal), 0.0, 1e-12);
  }
}

TEST(Pvi, ScanElevationSwapsTheAxesOnlyAlongTheNormal) {
  const auto first_leg = [](double tilt, bool elevation) {
    PVI pvi(RequestWithTilt(tilt).dump());
    pvi.SetSetting(L"ScanElevation", elevation);
    const auto points = PlanOf(pvi);
    return points.at(1) - points.at(0);
  };
  const VectorXYZW up = first_leg(0.0, true);
  const VectorXYZW across = first_leg(0.0, false);
  EXPECT_GT(std::abs(up.y()), 0.003);
  EXPECT_LT(std::abs(up.x()), 0.001);
  EXPECT_GT(std::abs(across.x()), 0.003);
  EXPECT_LT(std::abs(across.y()), 0.001);
  EXPECT_EQ(first_leg(0.5, true), first_leg(0.5, false));
}

TEST(Pvi, ANormalThatFacesAwayIsRefused) {
  json request = RequestWithTilt(0.0);
  request["Feature"]["Normal"] = {0, 0, 1};
  PVI away(request.dump());
  EXPECT_TRUE(away.GetDrivePoints(true).empty());
  EXPECT_EQ(away.GetError(), "ERROR_PVI_NORMAL_DIR");
  request["Feature"]["Normal"] = {0.5, 0, 1};
  PVI askew(request.dump());
  EXPECT_TRUE(askew.GetDrivePoints(true).empty());
  EXPECT_EQ(askew.GetError(), "ERROR_PVI_NOMINAL_ANGLE");
}

TEST(Pvi, AnAngleEqualToItsThresholdPasses) {
  const double tilt = 0.5;
  const VectorXYZW normal = VectorXYZW(std::sin(tilt), 0, -std::cos(tilt)).normalized();
  const double angle = std::acos(normal.normalized().dot(VectorXYZW(0, 0, -1)));
  json request = RequestWithTilt(tilt);
  request["AngleThresh"] = angle;
  EXPECT_FALSE(PVI(request.dump()).GetDrivePoints(true).empty());
  request["AngleThresh"] = std::nextafter(angle, 0.0);
  PVI beyond(request.dump());
  EXPECT_TRUE(beyond.GetDrivePoints(true).empty());
  EXPECT_EQ(beyond.GetError(), "ERROR_PVI_NOMINAL_ANGLE");
}

TEST(Pvi, ANominalThatIsNotFiniteIsRefusedInWords) {
  PVI pvi(RequestWithTilt(0.0).dump());
  pvi.SetSetting(L"NominalPoint", PointXYZW(0, std::nan(""), 2));
  EXPECT_TRUE(pvi.GetDrivePoints(true).empty());
  EXPECT_EQ(pvi.GetError(), "NominalPoint is not finite: (0, nan, 2)");
  PVI none(RequestWithTilt(0.0).dump());
  none.SetSetting(L"NumberOfPoints", 0);
  EXPECT_TRUE(none.GetDrivePoints(true).empty());
  EXPECT_EQ(none.GetError(), "NumberOfPoints has to be positive and finite: 0");
  PVI huge(RequestWithTilt(0.0).dump());
  huge.SetSetting(L"BoxDimension", 1e200);
  EXPECT_TRUE(huge.GetDrivePoints(true).empty());
  EXPECT_TRUE(huge.GetError().starts_with("Drive point 0 is not finite: ")) << huge.GetError();
}

TEST(Pvi, TracesOfThePlan) {
  testing::internal::CaptureStdout();
  PVI pvi(RequestWithTilt(0.0).dump());
  pvi.GetDrivePoints(true);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "DistanceThreshold: 0.003\nLOS - Nominal Normal Angle: 0.000000\n"
            "PVI::GenerateDrivePoints(): 5, 25\n");
}

/// A noise of 10 micrometres, the same on every call.
double Noise(int i) { return 1e-5 * std::sin(12.9898 * (i + 1)); }

TEST(Pvi, MeasuresAPlaneThroughTheLineOfSight) {
  PVI pvi(RequestWithTilt(0.0).dump());
  const VectorXYZW truth = VectorXYZW(0.02, -0.03, -1).normalized();
  pvi.UpdateRawData(GridOn(PointXYZW(0, 0, 2.001), truth, 6, Noise));
  pvi.AnalyzeFeature();
  ASSERT_TRUE(pvi.GetIsSuccessful()) << pvi.GetError();
  const json result = json::parse(pvi.GetResult());
  EXPECT_EQ(result["$type"], "PVITargetResult");
  EXPECT_NEAR(result["Location"][2].get<double>(), 2.001, 1e-5);
  EXPECT_NEAR(result["Normal"][1].get<double>(), truth.y(), 0.01);
  EXPECT_LT(result["Normal"][2].get<double>(), -0.99);
  EXPECT_EQ(result["ScanData"]["DataFormat"], "LR_XYZ");
  EXPECT_EQ(result["ScanData"]["Count"], result["ScanData"]["Data"].size());
  std::vector<std::string> keys;
  const auto ordered = nlohmann::ordered_json::parse(pvi.GetResult());
  for (const auto& item : ordered.items()) {
    keys.push_back(item.key());
  }
  EXPECT_EQ(keys, (std::vector<std::string>{"$type", "Location", "Normal", "Quality", "ScanData",
                                            "Success", "Target", "Name"}));
}

TEST(Pvi, QualityFollowsTheScatter) {
  const auto quality_with = [](double sigma) {
    PVI pvi(RequestWithTilt(0.0).dump());
    pvi.UpdateRawData(GridOn(PointXYZW(0, 0, 2), kFacing, 6,
                             [sigma](int i) { return (i / 6 + i % 6) % 2 == 0 ? sigma : -sigma; }));
    pvi.AnalyzeFeature();
    EXPECT_TRUE(pvi.GetIsSuccessful()) << pvi.GetError();
    return pvi.GetSetting<double>(L"Quality");
  };
  const double coarse = quality_with(1e-4);
  EXPECT_NEAR(coarse, 80.0, 0.05);
  EXPECT_NEAR(quality_with(1e-5) - coarse, 10.0, 0.1);
}

/// A measurement of 36 samples of which the four in the middle lie `depth` behind the surface.
std::unique_ptr<PVI> MeasureWithCluster(double depth) {
  auto pvi = std::make_unique<PVI>(RequestWithTilt(0.0).dump());
  pvi->UpdateRawData(GridOn(PointXYZW(0, 0, 2), kFacing, 6, [depth](int i) {
    const bool in_cluster = i == 14 || i == 15 || i == 20 || i == 21;
    return in_cluster ? depth + Noise(i) : Noise(i);
  }));
  pvi->AnalyzeFeature();
  return pvi;
}

TEST(Pvi, ClusterOfOutliersIsPeeledOff) {
  const auto pvi = MeasureWithCluster(3e-4);
  ASSERT_TRUE(pvi->GetIsSuccessful()) << pvi->GetError();
  EXPECT_NEAR(pvi->GetSetting<PointXYZW>(L"MeasuredPoint").z(), 2.0, 1e-5);
  EXPECT_LE(json::parse(pvi->GetResult())["ScanData"]["Count"], 32);
}

TEST(Pvi, ClusterDeeperThanTheBoxIsWideEndsInAnErrorNotInAWrongPoint) {
  const auto pvi = MeasureWithCluster(2e-3);
  EXPECT_FALSE(pvi->GetIsSuccessful());
  EXPECT_EQ(pvi->GetError(), "Angle between LOS and Measured Normal Exceeds Threshold.");
}

PointCloud FlatCloud(int count) {
  Eigen::MatrixXd data(5, count);
  for (int i = 0; i < count; ++i) {
    data.col(i) << std::cos(2.4 * i), std::sin(2.4 * i), 1e-5 * std::cos(7.0 * i), 80.0, i;
  }
  return PointCloud(data);
}

TEST(Pvi, RemoveOutliersDropsTheGrossOneAndKeepsTheOrder) {
  PVI pvi;
  PointCloud cloud = FlatCloud(20);
  cloud.data()(2, 7) = 0.5;
  ASSERT_TRUE(PROTECTED(pvi, RemoveOutliers)(cloud));
  ASSERT_LT(cloud.cols(), 20);
  for (Eigen::Index i = 0; i < cloud.cols(); ++i) {
    EXPECT_NE(cloud.data()(4, i), 7.0);
    if (i > 0) {
      EXPECT_GT(cloud.data()(4, i), cloud.data()(4, i - 1));
    }
  }
}

TEST(Pvi, RemoveOutliersLeavesACloudAloneWhenNoRemovalReducesTheScatterEnough) {
  PVI pvi;
  pvi.SetSetting(L"FilterCutRatio", 0.5);
  PointCloud cloud = FlatCloud(20);
  const Eigen::MatrixXd before = cloud.data();
  ASSERT_TRUE(PROTECTED(pvi, RemoveOutliers)(cloud));
  ASSERT_EQ(cloud.cols(), 20);
  EXPECT_EQ(cloud.data(), before);
}

TEST(Pvi, RemoveOutliersOfTooFewSamples) {
  for (int count = 0; count <= 5; ++count) {
    PVI pvi;
    PointCloud cloud = FlatCloud(count);
    EXPECT_FALSE(PROTECTED(pvi, RemoveOutliers)(cloud)) << count;
    EXPECT_EQ(pvi.GetError(), "At least three points required for PVI plane fit! ERROR_PVI_FILTER");
  }
  PVI pvi;
  PointCloud six = FlatCloud(6);
  EXPECT_TRUE(PROTECTED(pvi, RemoveOutliers)(six));
}

TEST(Pvi, TheLaterErrorReplacesTheEarlier) {
  PVI pvi(RequestWithTilt(0.0).dump());
  pvi.UpdateRawData(GridOn(PointXYZW(0, 0, 2), kFacing, 2, Noise));
  const LogCollector collector;
  pvi.AnalyzeFeature();
  EXPECT_EQ(pvi.GetError(), "Outlier removal failed for lack of points!");
  EXPECT_EQ(collector.Texts(),
            (std::vector<std::wstring>{
                L"At least three points required for PVI plane fit! ERROR_PVI_FILTER",
                L"Outlier removal failed for lack of points!"}));
}

TEST(Pvi, AllSamplesFiltered) {
  PVI pvi(RequestWithTilt(0.0).dump());
  auto samples = GridOn(PointXYZW(0, 0, 2), kFacing, 6, Noise);
  for (RawDataPoint& sample : samples) sample.quality = 49.0;
  samples[0] = RawDataPoint(0, 0, std::nan(""), 90.0, 0);
  pvi.UpdateRawData(samples);
  pvi.AnalyzeFeature();
  EXPECT_EQ(pvi.GetError(), "All scanned data was filtered!");
  const json result = json::parse(pvi.GetResult());
  EXPECT_EQ(result["ErrorMessage"], "All scanned data was filtered!");
  EXPECT_FALSE(result.contains("Location"));
}

TEST(Pvi, AFloodOfSamplesIsMeasured) {
  json request = RequestWithTilt(0.0);
  request["NumberOfPoints"] = 30000;
  PVI pvi(request.dump());
  pvi.UpdateRawData(GridOn(PointXYZW(0, 0, 2), kFacing, 175, Noise));
  pvi.AnalyzeFeature();
  ASSERT_TRUE(pvi.GetIsSuccessful()) << pvi.GetError();
  EXPECT_NEAR(pvi.GetSetting<PointXYZW>(L"MeasuredPoint").z(), 2.0, 1e-6);
}

TEST(Pvi, NominalAndLineOfSightThatMeetThePlaneApartAreRefused) {
  json request = RequestWithTilt(0.6);
  PVI pvi(request.dump());
  // The surface lies 10 mm behind the nominal: at a tilt of 0.6 the two meet it 7 mm apart.
  pvi.UpdateRawData(GridOn(PointXYZW(0, 0, 2.01), kFacing, 6, Noise));
  testing::internal::CaptureStdout();
  pvi.AnalyzeFeature();
  const std::string trace = testing::internal::GetCapturedStdout();
  EXPECT_EQ(pvi.GetError(),
            "Distance from Measured Point to Intercept of Nominal Line and Measured Plane Exceeds "
            "Threshold");
  EXPECT_EQ(trace.rfind("Error Distance Check;result,true,error,0.0068", 0), 0U) << trace;
  EXPECT_EQ(pvi.GetSetting<PointXYZW>(L"MeasuredPoint"), PointXYZW());
}

/// A surface tilted by 0.5 rad against its nominal and the line of sight, where the request sets a
/// limit of 0.3 rad under this key.
std::unique_ptr<PVI> MeasureTilted(const char* limit) {
  json request = RequestWithTilt(0.0);
  request[limit] = 0.3;
  auto pvi = std::make_unique<PVI>(request.dump());
  const VectorXYZW truth(std::sin(0.5), 0, -std::cos(0.5));
  pvi->UpdateRawData(GridOn(PointXYZW(0, 0, 2), truth, 6, Noise));
  pvi->AnalyzeFeature();
  return pvi;
}

TEST(Pvi, MeasuredNormalTooFarFromTheLineOfSight) {
  const auto pvi = MeasureTilted("AngleThresh");
  EXPECT_EQ(pvi->GetError(), "Angle between LOS and Measured Normal Exceeds Threshold.");
  // The measured values stand, and the result shows only the error.
  EXPECT_NEAR(pvi->GetSetting<PointXYZW>(L"MeasuredPoint").z(), 2.0, 1e-4);
  EXPECT_GT(pvi->GetSetting<double>(L"Quality"), 80.0);
  EXPECT_FALSE(json::parse(pvi->GetResult()).contains("Location"));
}

TEST(Pvi, MeasuredNormalTooFarFromTheNominal) {
  EXPECT_EQ(MeasureTilted("Nom2MeasAngCheck")->GetError(),
            "Angle between Nominal and Measured Normals Exceeds Threshold.");
}

TEST(Pvi, ASurfaceAlongTheLineOfSightIsRefused) {
  PVI pvi(RequestWithTilt(0.0).dump());
  std::vector<RawDataPoint> samples;
  for (int i = 0; i < 36; ++i) {
    samples.emplace_back(0.0, 1e-4 * (i % 6), 2.0 + 1e-3 * (i / 6), 80.0, i);
  }
  pvi.UpdateRawData(samples);
  pvi.AnalyzeFeature();
  EXPECT_FALSE(pvi.GetIsSuccessful());
  EXPECT_NE(pvi.GetError(), "");
}

TEST(PviRequest, TellsTheDistanceThresholdOfARequestAndNothingOfAnyOtherText) {
  testing::internal::CaptureStdout();
  PVI nothing("{");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  testing::internal::CaptureStdout();
  PVI refused(R"({"DistanceThreshold":0.5,"Feature":{}})");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "DistanceThreshold: 0.5\n");
}

}  // namespace
}  // namespace libmfx::features
