// Requests of planned features in an instrument's frame.

#include "inspection/requests.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <nlohmann/json.hpp>
#include <string>

namespace libmfx::inspection {
namespace {

using Eigen::Isometry3d;

/// What rounding leaves of places within 10 m: some units in the last place of a double.
constexpr double kRounding = 1e-14;

PlannedFeature Planned(const std::string& text) {
  PlannedFeature feature;
  feature.request = json::parse(text);
  feature.type = feature.request["Feature"]["$type"];
  return feature;
}

/// A quarter turn about z, and a shift: (x, y, z) goes to (1 - y, 2 + x, 3 + z).
Isometry3d QuarterTurn() {
  Isometry3d pose = Isometry3d::Identity();
  pose.linear() << 0.0, -1.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0, 1.0;
  pose.translation() = Vector3d(1.0, 2.0, 3.0);
  return pose;
}

void ExpectTriple(const json& value, const Vector3d& expected) {
  ASSERT_EQ(value.size(), 3u) << value;
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(value[static_cast<std::size_t>(i)].get<double>(), expected[i], kRounding) << value;
  }
}

TEST(RequestAtTest, MovesAHoleAndGrowsIt) {
  const PlannedFeature hole = Planned(R"({
    "$id": "H1", "PointSpacing": 0.0001, "RescanThreshold": 0.001,
    "Feature": {"$type": "HoleFeature", "Name": "H1", "Location": [0.1, 0.2, 0.3], "Normal": [0, 2, 0],
                "Radius": 0.006}})");
  const json moved = RequestAt(hole, QuarterTurn(), 1.5);
  ExpectTriple(moved["Feature"]["Location"], {1.0 - 0.3, 2.0 + 0.15, 3.0 + 0.45});
  ExpectTriple(moved["Feature"]["Normal"], {-2.0, 0.0, 0.0});
  EXPECT_NEAR(moved["Feature"]["Radius"].get<double>(), 0.009, kRounding);
  // How it is measured does not grow with the part.
  EXPECT_EQ(moved["PointSpacing"], 0.0001);
  EXPECT_EQ(moved["RescanThreshold"], 0.001);
  EXPECT_EQ(moved["$id"], "H1");
  EXPECT_EQ(moved["Feature"]["Name"], "H1");
  EXPECT_EQ(moved.size(), hole.request.size());
}

TEST(RequestAtTest, MovesBothPointsOfAnEdge) {
  const PlannedFeature edge = Planned(R"({
    "Feature": {"$type": "EdgeFeature", "SurfacePoint": [0.1, 0, 0], "SurfaceNormal": [0, 0, 1],
                "EdgePoint": [0.108, 0, -0.001]}})");
  const json moved = RequestAt(edge, QuarterTurn(), 1.0)["Feature"];
  ExpectTriple(moved["SurfacePoint"], {1.0, 2.1, 3.0});
  ExpectTriple(moved["EdgePoint"], {1.0, 2.108, 2.999});
  ExpectTriple(moved["SurfaceNormal"], {0.0, 0.0, 1.0});
}

TEST(RequestAtTest, MovesEveryPointOfAPath) {
  const PlannedFeature path = Planned(R"({
    "PointSpacing": [0.01, 0.02],
    "Feature": {"$type": "ScanPathFeature",
                "Path": {"Segments": [[[0, 0, 0], [1, 0, 0]], [[0, 1, 0], [0, 0, 1]]]}}})");
  const json moved = RequestAt(path, QuarterTurn(), 2.0);
  const json& segments = moved["Feature"]["Path"]["Segments"];
  ASSERT_EQ(segments.size(), 2u);
  ExpectTriple(segments[0][0], {1.0, 2.0, 3.0});
  ExpectTriple(segments[0][1], {1.0, 4.0, 3.0});
  ExpectTriple(segments[1][0], {-1.0, 2.0, 3.0});
  ExpectTriple(segments[1][1], {1.0, 2.0, 5.0});
  EXPECT_EQ(moved["PointSpacing"], path.request["PointSpacing"]);
}

TEST(RequestAtTest, MovesTheScanOriginAlthoughItStandsAtTheRoot) {
  const PlannedFeature hole = Planned(R"({
    "ScanOrigin": [0, 0, 1],
    "Feature": {"$type": "HoleFeature", "Location": [0, 0, 0], "Normal": [0, 0, 1], "Radius": 0.006}})");
  ExpectTriple(RequestAt(hole, QuarterTurn(), 1.0)["ScanOrigin"], {1.0, 2.0, 4.0});
}

TEST(RequestAtTest, GrowsTheSizesOfACylinderAndNotItsTolerances) {
  const PlannedFeature stud = Planned(R"({
    "LineSpacing": 0.0004,
    "Feature": {"$type": "StudFeature", "Location": [0, 0, 0], "Axis": [0, 0, 1], "Radius": 0.005,
                "Offset": 0.002, "Height": 0.02, "RadiusTolerance": 0.001, "PlaneTolerance": 0.003}})");
  const json grown = RequestAt(stud, Isometry3d::Identity(), 2.0);
  EXPECT_EQ(grown["Feature"]["Radius"], 0.01);
  EXPECT_EQ(grown["Feature"]["Offset"], 0.004);
  EXPECT_EQ(grown["Feature"]["Height"], 0.04);
  EXPECT_EQ(grown["Feature"]["RadiusTolerance"], 0.001);
  EXPECT_EQ(grown["Feature"]["PlaneTolerance"], 0.003);
  EXPECT_EQ(grown["LineSpacing"], 0.0004);
}

TEST(RequestAtTest, LeavesWhatItCannotReadAsItIs) {
  const PlannedFeature hole = Planned(R"({
    "Feature": {"$type": "HoleFeature", "Location": [0, "x"], "Radius": "big", "Other": [1, 2, 3]}})");
  EXPECT_EQ(RequestAt(hole, QuarterTurn(), 2.0), hole.request);
  const PlannedFeature gear =
      Planned(R"({"Feature": {"$type": "GearFeature", "Location": [0, 0, 0]}})");
  EXPECT_EQ(RequestAt(gear, QuarterTurn(), 2.0), gear.request);
  PlannedFeature none;
  none.type = "HoleFeature";
  EXPECT_EQ(RequestAt(none, QuarterTurn(), 2.0), json());
  const PlannedFeature path = Planned(
      R"({"Feature": {"$type": "ScanPathFeature", "Path": {"Segments": [5, [[1, 2]], "x"]}}})");
  EXPECT_EQ(RequestAt(path, QuarterTurn(), 2.0), path.request);
}

TEST(TypeNamedTest, KnowsTheTypesOfRequestsAlone) {
  ASSERT_NE(TypeNamed("StudFeature"), nullptr);
  EXPECT_EQ(TypeNamed("StudFeature")->_request_type, "StudFeature");
  EXPECT_EQ(TypeNamed("studfeature"), nullptr);
  EXPECT_EQ(TypeNamed(""), nullptr);
}

}  // namespace
}  // namespace libmfx::inspection
