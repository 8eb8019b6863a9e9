#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "feature_probe.h"
#include "hole_request.h"
#include "libmfx/features/hole.h"
#include "paths.h"
#include "protected.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using namespace test;

constexpr double kPi = std::numbers::pi;

/// A hole 2 m ahead whose surface is tilted, so that +x along the surface leads away from the
/// instrument.
json TiltedRequest(double radius) {
  json request = HoleRequest(radius);
  request["Feature"]["Normal"] = {-0.6, 0.0, -0.8};
  return request;
}
const Eigen::Vector3d kCenter(0.0, 0.0, 2.0);
const Eigen::Vector3d kNormal(-0.6, 0.0, -0.8);
const Eigen::Vector3d kAway(-0.8, 0.0, 0.6);

std::vector<Eigen::Vector3d> Offsets(const std::vector<Position>& points) {
  std::vector<Eigen::Vector3d> offsets;
  for (const Position& p : points) {
    offsets.push_back(PlaceOf(p).xyz() - kCenter);
  }
  return offsets;
}

/// The place at `radius` in the direction that lies `turn` from away, about the normal.
Eigen::Vector3d At(double radius, double turn) {
  return radius * (std::cos(turn) * kAway + std::sin(turn) * kNormal.cross(kAway));
}

void ExpectNear(const Eigen::Vector3d& a, const Eigen::Vector3d& b, std::size_t i) {
  EXPECT_LT((a - b).norm(), 1e-12)
      << "point " << i << " is " << a.transpose() << ", not " << b.transpose();
}

/// A drive point on a line through the centre.
struct OnLine {
  double radius;
  double spacing;
};

/// Holds the plan of a hole to lines that turn evenly, every second one from the opposite end.
void ExpectLines(json request, int lines, const std::vector<OnLine>& line) {
  request["ScanLines"] = lines;
  Hole hole(request.dump());
  const std::vector<Position> points = PointsOf(hole.GetDrivePoints(false));
  ASSERT_EQ(points.size(), static_cast<std::size_t>(lines) * line.size());
  const auto offsets = Offsets(points);
  for (std::size_t i = 0; i < points.size(); ++i) {
    const std::size_t number = i / line.size();
    const double turn = static_cast<double>(number) * kPi / lines + (number % 2 == 0 ? 0.0 : kPi);
    ExpectNear(offsets[i], At(line[i % line.size()].radius, turn), i);
    EXPECT_EQ(points[i].point_spacing, line[i % line.size()].spacing) << i;
  }
}

TEST(HolePlan, TheStarHasThreePointsALine) {
  // Inside a line meets the centre, as the clearance is wider than the radius.
  ExpectLines(TiltedRequest(0.004), 4, {{0.009, 0.0007}, {0.0, 0.0001}, {-0.009, 0.0001}});
}

TEST(HolePlan, TheInnerPointOfAStarLiesTheClearanceInside) {
  json request = TiltedRequest(0.008);
  Hole hole(request.dump());
  const auto offsets = Offsets(PointsOf(PROTECTED(hole, GenerateStarPattern)()));
  ASSERT_EQ(offsets.size(), 27u);
  EXPECT_NEAR(offsets[0].norm(), 0.013, 1e-12);
  EXPECT_NEAR(offsets[1].norm(), 0.003, 1e-12);
}

TEST(HolePlan, TheFastStarHasFourPointsAnAngle) {
  ExpectLines(TiltedRequest(0.008), 3,
              {{0.013, 0.0007}, {0.003, 0.0001}, {-0.003, 0.0007}, {-0.013, 0.0001}});
}

TEST(HolePlan, ScanLinesOf0Or1MakeTwo) {
  for (const int lines : {1, 0, -5}) {
    json request = TiltedRequest(0.004);
    request["ScanLines"] = lines;
    Hole star(request.dump());
    EXPECT_EQ(star.GetDrivePoints(false).size(), 6u);
    EXPECT_EQ(star.GetSetting<int>(L"NumScanLines"), 2);
    request["Feature"]["Radius"] = 0.008;
    Hole fast(request.dump());
    EXPECT_EQ(fast.GetDrivePoints(false).size(), 8u);
    EXPECT_EQ(fast.GetSetting<int>(L"NumScanLines"), 2);
  }
}

TEST(HolePlan, ALineOfSightAlongTheNormalStillYieldsAStar) {
  Hole hole(HoleRequest(0.008).dump());
  const auto offsets = Offsets(PointsOf(hole.GetDrivePoints(false)));
  ASSERT_EQ(offsets.size(), 36u);
  // Seen from a millimetre beside the centre, away is +x.
  ExpectNear(offsets[0], {0.013, 0.0, 0.0}, 0);
  for (const auto& offset : offsets) EXPECT_NEAR(offset.z(), 0.0, 1e-12);
}

TEST(HolePlan, AlongXTooTheStarHasItsSize) {
  json request = HoleRequest(0.008);
  request["Feature"]["Location"] = {2.0, 0.0, 0.0};
  request["Feature"]["Normal"] = {-1.0, 0.0, 0.0};
  Hole hole(request.dump());
  const std::vector<Position> points = PointsOf(hole.GetDrivePoints(false));
  ASSERT_EQ(points.size(), 36u);
  for (std::size_t j = 0; j < points.size(); j += 4) {
    const PointXYZW p = PlaceOf(points[j]);
    EXPECT_NEAR((p - PointXYZW(2, 0, 0)).norm(), 0.013, 1e-12);
    EXPECT_NEAR(p.x(), 2.0, 1e-12);
  }
}

TEST(HolePlan, ARadiusEqualToTheClearanceChoosesThePlainStar) {
  json request = TiltedRequest(0.005);
  Hole hole(request.dump());
  EXPECT_EQ(hole.GetDrivePoints(false).size(), 27u);
  request["Feature"]["Radius"] = 0.0050001;
  EXPECT_EQ(Hole(request.dump()).GetDrivePoints(false).size(), 36u);
}

TEST(HolePlan, TheLogTellsThePattern) {
  Hole hole(HoleRequest(0.008).dump());
  const LogCollector log;
  PROTECTED(hole, GenerateStarPattern)();
  PROTECTED(hole, GenerateFastStarPattern)();
  const std::vector<std::wstring> expected{
      L"GenerateStarPattern called.", L"GenerateStarPattern ended.",
      L"GenerateFastStarPattern called.", L"GenerateFastStarPattern ended."};
  EXPECT_EQ(LogCollector::Texts(), expected);
}

TEST(HolePlan, AnErrorReturnsThePointsInHand) {
  Hole hole(HoleRequest(0.008).dump());
  EXPECT_TRUE(PROTECTED(hole, _drive_points).empty());
  hole.GetDrivePoints(false);
  PROTECTED(hole, SetError)("stop");
  EXPECT_EQ(hole.GetDrivePoints(true).size(), 36u);
}

TEST(HolePlan, AcrossTheSeamAzimuthsStayTogether) {
  json request = HoleRequest(0.008);
  request["Feature"]["Location"] = {-0.001, 0.0, -2.0};
  request["Feature"]["Normal"] = {0.0, 0.0, 1.0};
  Hole hole(request.dump());
  const std::vector<Position> points = PointsOf(hole.GetDrivePoints(false));
  for (const Position& p : points) EXPECT_NEAR(p.azimuth, kPi, 0.01);
  EXPECT_EQ(points, PointsOf(hole.GetLastDrivePoints()));
}

TEST(HolePlan, ASearchDrivesTheSpiral) {
  json request = TiltedRequest(0.004);
  request["SearchPointSpacing"] = 0.002;
  request["SearchRadiusMultiplier"] = 3.0;
  Hole hole(request.dump());
  PROTECTED(hole, _search) = true;
  const std::vector<Position> points = PointsOf(hole.GetDrivePoints(true));
  geometry::Plane plane(hole.GetSetting<PointXYZW>(L"NominalPoint"),
                        hole.GetSetting<VectorXYZW>(L"NominalNormal"));
  EXPECT_EQ(points, PointsOf(GenerateSearchSpiral(plane, 0.024, 20, 0.002, 0.002)));
  EXPECT_EQ(hole.GetDriveStep(), SEARCH);
  EXPECT_FALSE(PROTECTED(hole, _search));
  EXPECT_TRUE(hole.GetLastDrivePoints().empty());
}

TEST(HolePlan, TheSpiralFollowsTheNominalRadiusOfTheRequest) {
  Hole hole(TiltedRequest(0.004).dump());
  hole.SetSetting<double>(L"NominalRadius", 0.1);
  PROTECTED(hole, _search) = true;
  EXPECT_LT(hole.GetDrivePoints(true).size(), 400u);
}

struct Absurd {
  std::string key;
  json value;
  std::string error;
};

TEST(HolePlan, WhatNoInstrumentDrivesIsRefusedInWords) {
  const std::vector<Absurd> cases{
      {"ScanLines", 2147483647, "ScanLines asks for a plan of 6442450941 drive points"},
      {"ScanLines", 333334, "ScanLines asks for a plan of 1000002 drive points"},
      {"ClearanceZone", 1e300, "Drive point 0 is not finite"},
  };
  for (const Absurd& c : cases) {
    json request = TiltedRequest(0.004);
    request[c.key] = c.value;
    Hole hole(request.dump());
    EXPECT_TRUE(hole.GetDrivePoints(false).empty()) << c.key;
    EXPECT_EQ(hole.GetError().find(c.error), 0u) << hole.GetError();
    EXPECT_TRUE(hole.GetDrivePoints(true).empty()) << c.key;
  }
  json request = TiltedRequest(1e300);
  Hole large(request.dump());
  EXPECT_TRUE(large.GetDrivePoints(false).empty());
  EXPECT_EQ(large.GetError().find("Drive point 0 is not finite"), 0u) << large.GetError();
}

TEST(HolePlan, ValuesThatAreNotFiniteAreRefused) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const auto error = [](auto change) {
    Hole hole(TiltedRequest(0.004).dump());
    change(hole);
    EXPECT_TRUE(hole.GetDrivePoints(true).empty());
    return hole.GetError();
  };
  EXPECT_EQ(error([&](Hole& h) { h.SetSetting(L"NominalPoint", PointXYZW(nan, 0, 2)); }),
            "Location is not finite: (nan, 0, 2)");
  EXPECT_EQ(error([&](Hole& h) { h.SetSetting(L"NominalNormal", VectorXYZW(-0.6, nan, -0.8)); }),
            "Normal is not finite: (-0.6, nan, -0.8)");
  EXPECT_EQ(error([&](Hole& h) { PROTECTED(h, _scan_origin).z() = nan; }),
            "ScanOrigin is not finite: (0, 0, nan)");
  EXPECT_EQ(error([&](Hole& h) { h.SetSetting<double>(L"NominalRadius", nan); }),
            "Radius is not finite: nan");
  EXPECT_EQ(error([&](Hole& h) { h.SetSetting<double>(L"ClearanceZone", -1 / 0.0); }),
            "ClearanceZone is not finite: -inf");
  EXPECT_EQ(error([&](Hole& h) { h.SetSetting<double>(L"PointSpacing", nan); }),
            "PointSpacing is not finite: nan");
}

TEST(HolePlan, ASpiralThatNoInstrumentDrivesIsRefusedInWords) {
  const auto error = [](const char* key, double value) {
    json request = TiltedRequest(0.004);
    request[key] = value;
    Hole hole(request.dump());
    PROTECTED(hole, _search) = true;
    EXPECT_TRUE(hole.GetDrivePoints(true).empty());
    return hole.GetError();
  };
  EXPECT_EQ(error("SearchPointSpacing", 0.0),
            "SearchPointSpacing has to be positive and finite: 0");
  EXPECT_EQ(error("SearchPointSpacing", -0.001),
            "SearchPointSpacing has to be positive and finite: -0.001");
  EXPECT_EQ(error("SearchPointSpacing", 1e-9).find("SearchPointSpacing asks for a plan of"), 0u);
  EXPECT_EQ(error("SearchRadiusMultiplier", 1e9).find("SearchPointSpacing asks for a plan of"), 0u);
}

/// Turning the nominal about the vertical turns the plan with it.
TEST(HolePlan, ThePlanTurnsWithTheNominal) {
  for (const double turn : {0.3, -1.1, 1.4}) {
    const Eigen::AngleAxisd about_y(-turn, Eigen::Vector3d::UnitY());
    const Eigen::Vector3d center = about_y * kCenter;
    const Eigen::Vector3d normal = about_y * kNormal;
    json request = TiltedRequest(0.008);
    const auto plain = PointsOf(Hole(request.dump()).GetDrivePoints(false));
    request["Feature"]["Location"] = {center.x(), center.y(), center.z()};
    request["Feature"]["Normal"] = {normal.x(), normal.y(), normal.z()};
    const auto turned = PointsOf(Hole(request.dump()).GetDrivePoints(false));
    ASSERT_EQ(plain.size(), turned.size());
    for (std::size_t i = 0; i < plain.size(); ++i) {
      EXPECT_NEAR(turned[i].azimuth, plain[i].azimuth + turn, 1e-12);
      EXPECT_NEAR(turned[i].elevation, plain[i].elevation, 1e-12);
      EXPECT_NEAR(turned[i].range, plain[i].range, 1e-12);
    }
  }
}

}  // namespace
}  // namespace libmfx::features
