// What a stud's analysis tells of the form of its wall, and of a radius that the form leaves open.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <numbers>
#include <random>
#include <string>

#include "cylinder_points.h"
#include "libmfx/features/stud.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using test::CylinderPoints;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr char kOpen[] = "The radius may be off by ";

/// Half of a wall of 5 mm with three lobes, sampled with 5 um of noise.
struct LobedWall {
  double amplitude = 0.0;  ///< metres
  double arc = std::numbers::pi;
  double bend = 0.0;   ///< of the axis half way between 2 and 18 mm, metres
  double low = 0.002;  ///< what is seen of the wall begins here, and ends at 18 mm

  std::vector<RawDataPoint> Samples() const {
    CylinderPoints round;
    round.arc = arc;
    round.low = low;
    round.noise = 5e-6;
    const Eigen::Vector3d e1 = round.axis.unitOrthogonal();
    const Eigen::Vector3d e2 = round.axis.cross(e1);
    std::vector<RawDataPoint> samples;
    for (const Eigen::Vector3d& p : round.Make()) {
      const Eigen::Vector3d q = p - round.point;
      const Eigen::Vector3d out = (q - q.dot(round.axis) * round.axis).normalized();
      const double turn = std::atan2(q.dot(e2), q.dot(e1));
      const double from_middle = (q.dot(round.axis) - 0.01) / 0.008;
      const Eigen::Vector3d bent = p + bend * (1.0 - from_middle * from_middle) * e1;
      const Eigen::Vector3d lobed = bent + amplitude * std::sin(3.0 * turn) * out;
      const AzElRange at{PointXYZW(lobed)};
      samples.push_back({at.azimuth, at.elevation, at.range, 80.0, 1});
    }
    return samples;
  }
};

Stud Analysed(const std::vector<RawDataPoint>& samples, const json& more = json::object()) {
  const CylinderPoints wall;
  const auto triple = [](const Eigen::Vector3d& v) { return json{v.x(), v.y(), v.z()}; };
  json request = {{"$id", "T7"},
                  {"Feature",
                   {{"$type", "StudFeature"},
                    {"Location", triple(wall.point)},
                    {"Axis", triple(wall.axis)},
                    {"Radius", wall.radius},
                    {"Offset", 0.001},
                    {"Height", 0.019},
                    {"RadiusTolerance", 0.001}}}};
  request.update(more);
  Stud stud(request.dump());
  stud.UpdateRawData(samples);
  stud.AnalyzeFeature();
  return stud;
}

TEST(StudDoubts, ARadiusThatLobesLeaveOpenIsDoubted) {
  const Stud stud = Analysed(LobedWall{.amplitude = 80e-6}.Samples());
  ASSERT_TRUE(stud.GetIsSuccessful()) << stud.GetError();
  EXPECT_THAT(stud.GetWarnings(), ElementsAre(StartsWith(kOpen)));
  const std::string text = stud.GetWarnings().front();
  const double open = std::stod(text.substr(sizeof kOpen - 1));  // mm
  const double error = 1e3 * std::abs(stud.GetSetting<double>(L"FittedCylinderRadius") - 0.005);
  EXPECT_GT(error, 0.05);
  EXPECT_LT(error, open);
  EXPECT_LT(open, 1.0);
}

TEST(StudDoubts, ARadiusThatIsKnownIsNot) {
  EXPECT_THAT(Analysed(LobedWall{}.Samples()).GetWarnings(), IsEmpty());
  // All around, lobes leave the mean radius as it is.
  const LobedWall whole{.amplitude = 30e-6, .arc = 2.0 * std::numbers::pi};
  EXPECT_THAT(Analysed(whole.Samples()).GetWarnings(), IsEmpty());
  const Stud held = Analysed(LobedWall{.amplitude = 80e-6}.Samples(), {{"FixRadius", true}});
  ASSERT_TRUE(held.GetIsSuccessful()) << held.GetError();
  EXPECT_THAT(held.GetWarnings(), IsEmpty());
}

TEST(StudDoubts, AnAxisThatTheUnseenPartOfABentWallLeavesOpenIsDoubted) {
  constexpr char kOpenAxis[] = "The axis may be off by ";
  LobedWall wall{.arc = 2.0 * std::numbers::pi, .bend = 150e-6, .low = 0.01};
  const Stud stud = Analysed(wall.Samples());
  ASSERT_TRUE(stud.GetIsSuccessful()) << stud.GetError();
  const auto& warnings = stud.GetWarnings();
  const auto found = std::find_if(warnings.begin(), warnings.end(), [&](const std::string& text) {
    return text.starts_with(kOpenAxis);
  });
  ASSERT_NE(found, warnings.end());
  const double open = std::stod(found->substr(sizeof kOpenAxis - 1));  // mm over 18 mm
  const Eigen::Vector3d axis = stud.GetSetting<PointXYZW>(L"FittedCylinderAxis").xyz();
  const double error = 18.0 * axis.cross(CylinderPoints().axis).norm();
  EXPECT_GT(error, 0.15);
  EXPECT_LT(error, open);
  // Seen whole, the bend leaves the mean axis as it is; and one that is held is known.
  wall.low = 0.002;
  EXPECT_THAT(Analysed(wall.Samples()).GetWarnings(), IsEmpty());
  wall = {.arc = 2.0 * std::numbers::pi, .low = 0.01};
  EXPECT_THAT(Analysed(wall.Samples()).GetWarnings(), IsEmpty());
}

TEST(StudDoubts, TheRecordTellsTheForm) {
  const LobedWall whole{.amplitude = 30e-6, .arc = 2.0 * std::numbers::pi};
  const Stud stud = Analysed(whole.Samples());
  const auto& form = stud.GetStages().form;
  ASSERT_TRUE(form);
  EXPECT_EQ(form->lobes, 3);
  EXPECT_NEAR(form->roundness, 60e-6, 4e-6);
  EXPECT_LT(form->roundness_uncertainty, 2e-6);
  EXPECT_LT(std::abs(form->taper), 5e-6);
  // A failed analysis has no wall.
  EXPECT_FALSE(Analysed({}).GetStages().form);
}

}  // namespace
}  // namespace libmfx::features
