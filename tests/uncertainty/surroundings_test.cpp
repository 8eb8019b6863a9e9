// What a scan shows beside the feature is found again in the twin: parts of known truth are
// measured by the virtual instrument, and the twin is told of what was seen of them.

#include "uncertainty/surroundings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "host/conversation.h"
#include "host/scene_driver.h"

namespace libmfx::uncertainty {
namespace {

using nlohmann::json;

constexpr double kDegree = std::numbers::pi / 180.0;

json Triple(const Vector3d& v) { return {v.x(), v.y(), v.z()}; }

/// Where a part stands, and how it is turned.
struct Stand {
  Vector3d place;
  Vector3d normal;
  Vector3d tangent;
};

/// Ahead, a bit aside, seen at an angle from the side of the tangent.
Stand StandAt(double range, double degrees) {
  const Vector3d place = range * Vector3d(0.05, -0.03, 1.0).normalized();
  const Vector3d view = -place.normalized();
  const Vector3d aside = (Vector3d::UnitX() - view.x() * view).normalized();
  const double angle = degrees * kDegree;
  return {place, std::cos(angle) * view - std::sin(angle) * aside,
          std::cos(angle) * aside + std::sin(angle) * view};
}

json SceneOfPart(json part, const Stand& stand, std::optional<double> behind = std::nullopt) {
  json scene = {{"part", std::move(part)},
                {"pose",
                 {{"position", Triple(stand.place)},
                  {"normal", Triple(stand.normal)},
                  {"tangent", Triple(stand.tangent)}}},
                {"seed", 7}};
  if (behind) scene["behind"] = *behind;
  return scene;
}

/// A measurement with the twin that its result tells.
struct Measured {
  bool successful = false;
  std::string error;
  Twin twin;
  host::Exchange scan;
  features::Stages stages;

  Twin Surrounded() const { return uncertainty::Surrounded(twin, scan, stages); }
};

Values ValuesOf(const json& result, const std::string& type) {
  Values values;
  for (const char* key : {"Location", "Normal", "Axis", "Tangent"}) {
    if (!result.contains(key)) continue;
    const json& v = result[key];
    const Kind kind = std::string(key) == "Location" ? Kind::kPlace : Kind::kDirection;
    values.push_back({key, kind, Vector3d(v[0], v[1], v[2])});
  }
  if (type == "RobustHole" || type == "MatteSphere") return values;  // they repeat their size
  for (const char* key : {"Radius", "Length", "Width"}) {
    if (!result.contains(key)) continue;
    values.push_back({key, Kind::kSize, Eigen::VectorXd::Constant(1, result[key].get<double>())});
  }
  return values;
}

Measured Measure(const json& request, const json& scene) {
  Measured measured;
  host::SceneDriver instrument(sim::Scene::FromJson(scene), std::nullopt);
  host::ObservedDriver observed(instrument,
                                [&](const host::Exchange& exchange) { measured.scan = exchange; });
  const host::Conversation outcome =
      host::Measure(request.dump(), observed, {.scan_data = host::ScanData::kNone});
  measured.successful = outcome.successful;
  measured.error = outcome.error;
  measured.stages = outcome.stages;
  const Twin nominal = NominalTwin(request.dump()).value();
  measured.twin =
      MeasuredTwin(nominal, ValuesOf(json::parse(outcome.result), nominal.type), measured.stages);
  return measured;
}

// Openings

json HoleRequest(const Stand& stand, double radius) {
  return {{"ClearanceZone", 0.009},
          {"PointSpacing", 0.0001},
          {"Feature",
           {{"$type", "HoleFeature"},
            {"Location", Triple(stand.place)},
            {"Normal", Triple(stand.normal)},
            {"Radius", radius}}}};
}

json PlateWithHole(double radius, double thickness) {
  return {{"type", "plate"},
          {"thickness", thickness},
          {"opening", {{"shape", "round"}, {"radius", radius}}}};
}

/// Stands `off` metres along the tangent.
Stand Moved(Stand stand, double off) {
  stand.place += off * stand.tangent;
  return stand;
}

struct PlateCase {
  double range;
  double degrees;
  double thickness;
  double behind;  ///< 0: nothing
};

class Plates : public testing::TestWithParam<PlateCase> {};

TEST_P(Plates, TellWhatLiesBehindHowThickTheyAreAndHowWideTheHoleIs) {
  const PlateCase& c = GetParam();
  constexpr double kRadius = 0.00605;  // 50 um wider than its nominal
  const Stand stand = StandAt(c.range, c.degrees);
  const auto behind = c.behind > 0.0 ? std::optional(c.behind) : std::nullopt;
  const Measured hole =
      Measure(HoleRequest(stand, 0.006),
              SceneOfPart(PlateWithHole(kRadius, c.thickness), Moved(stand, 0.0002), behind));
  ASSERT_TRUE(hole.successful) << hole.error;
  const Twin twin = hole.Surrounded();
  ASSERT_EQ(twin.behind.has_value(), behind.has_value());
  if (behind) {
    EXPECT_NEAR(*twin.behind, *behind, 2e-5 + 2e-4 * *behind);
  }
  // Looked at straight on, no wall shows.
  EXPECT_NEAR(twin.thickness, c.degrees > 0.0 ? c.thickness : 0.01, 0.00015);
  EXPECT_EQ(twin.chamfer_depth, 0.0);
  EXPECT_NEAR(twin.radius, kRadius, c.range < 4.0 ? 4e-5 : 6e-5);
  EXPECT_EQ(twin.place, hole.twin.place);
}

INSTANTIATE_TEST_SUITE_P(AtSomeDistances, Plates,
                         testing::Values(PlateCase{1, 0, 0.002, 0.015},
                                         PlateCase{1, 40, 0.002, 0.015},
                                         PlateCase{2, 0, 0.002, 0.05}, PlateCase{2, 40, 0.002, 0.3},
                                         PlateCase{5, 40, 0.002, 0.05}, PlateCase{1, 0, 0.01, 0.3},
                                         PlateCase{2, 40, 0.01, 0.015}, PlateCase{2, 0, 0.01, 0},
                                         PlateCase{2, 40, 0.01, 0}, PlateCase{5, 0, 0.01, 0.015},
                                         PlateCase{5, 0, 0.002, 0}, PlateCase{5, 40, 0.01, 0.3}));

struct ChamferCase {
  double range;
  double degrees;
  bool asked;
};

class Chamfers : public testing::TestWithParam<ChamferCase> {};

TEST_P(Chamfers, AreFoundWhetherTheyWereAskedForOrNot) {
  const ChamferCase& c = GetParam();
  const Stand stand = StandAt(c.range, c.degrees);
  json part = PlateWithHole(0.006, 0.01);
  part["opening"].update({{"chamfer_depth", 0.0005}, {"chamfer_angle_deg", 45}});
  json request = HoleRequest(stand, 0.006);
  if (c.asked) request.update({{"ChamferDepth", 0.0005}, {"ChamferAngle", 45 * kDegree}});
  const Measured hole = Measure(request, SceneOfPart(part, Moved(stand, 0.0002), 0.05));
  ASSERT_TRUE(hole.successful) << hole.error;
  const Twin twin = hole.Surrounded();
  EXPECT_NEAR(twin.chamfer_depth, 0.0005, 5e-5);
  EXPECT_NEAR(twin.chamfer_angle, 45 * kDegree, 4 * kDegree);
  EXPECT_NEAR(twin.radius, 0.006, 6e-5);
}

INSTANTIATE_TEST_SUITE_P(AtSomeDistances, Chamfers,
                         testing::Values(ChamferCase{1, 0, false}, ChamferCase{1, 0, true},
                                         ChamferCase{2, 0, true}, ChamferCase{2, 40, false},
                                         ChamferCase{2, 40, true}, ChamferCase{5, 40, true}));

TEST(Surrounded, TakesAChamferAwayThatIsNotThere) {
  for (const double degrees : {0.0, 40.0}) {
    const Stand stand = StandAt(2.0, degrees);
    json request = HoleRequest(stand, 0.006);
    request.update({{"ChamferDepth", 0.0005}, {"ChamferAngle", 45 * kDegree}});
    const Measured hole =
        Measure(request, SceneOfPart(PlateWithHole(0.006, 0.01), Moved(stand, 0.0002), 0.05));
    ASSERT_TRUE(hole.successful) << hole.error;
    ASSERT_GT(hole.twin.chamfer_depth, 0.0);
    EXPECT_EQ(hole.Surrounded().chamfer_depth, 0.0) << degrees;
  }
}

TEST(Surrounded, TellsARectanglesChamferAndItsWallBelow) {
  const Stand stand = StandAt(2.0, 40.0);
  const json part = {
      {"type", "plate"},
      {"thickness", 0.004},
      {"opening",
       {{"shape", "rectangle"}, {"length", 0.03}, {"width", 0.02}, {"chamfer_depth", 0.0005}}}};
  const json request = {{"ScansPerSide", 6},
                        {"Feature",
                         {{"$type", "RectangleFeature"},
                          {"Location", Triple(stand.place)},
                          {"Normal", Triple(stand.normal)},
                          {"Tangent", Triple(stand.tangent)},
                          {"Length", 0.031},
                          {"Width", 0.021}}}};
  const Measured opening = Measure(request, SceneOfPart(part, stand, 0.05));
  ASSERT_TRUE(opening.successful) << opening.error;
  const Twin twin = opening.Surrounded();
  EXPECT_NEAR(twin.chamfer_depth, 0.0005, 1e-4);
  EXPECT_NEAR(twin.thickness, 0.004, 0.0002);
  ASSERT_TRUE(twin.behind);
  EXPECT_NEAR(*twin.behind, 0.05, 1e-4);
  // What was measured is the rim; the twin's sizes are those below the chamfer.
  EXPECT_NEAR(opening.twin.length, 0.031, 0.0004);
  EXPECT_NEAR(twin.length, 0.03, 0.0004);
  EXPECT_NEAR(twin.width, 0.02, 0.0004);
}

TEST(Surrounded, TakesTheFloorOfABlindOpeningForWhatLiesBehind) {
  const Stand stand = StandAt(2.0, 20.0);
  json part = PlateWithHole(0.006, 0.02);
  part["opening"]["depth"] = 0.005;
  const Measured hole = Measure(HoleRequest(stand, 0.006), SceneOfPart(part, stand, 0.1));
  ASSERT_TRUE(hole.successful) << hole.error;
  const Twin twin = hole.Surrounded();
  ASSERT_TRUE(twin.behind);
  EXPECT_NEAR(*twin.behind, 0.005, 2e-5);
}

TEST(Surrounded, TellsWhatLiesBehindABall) {
  const Vector3d place(0.1, -0.06, 2.0);
  const Stand stand{place, -place.normalized(), place.unitOrthogonal()};
  json request = {{"BoxDimensionRatio", 1.6},
                  {"Feature",
                   {{"$type", "MatteSphereFeature"},
                    {"Location", Triple(place - 0.0127 * place.normalized())},
                    {"Radius", 0.0127}}}};
  const json ball = {{"type", "ball"}, {"radius", 0.0127}};
  const Measured in_front = Measure(request, SceneOfPart(ball, stand, 0.15));
  ASSERT_TRUE(in_front.successful) << in_front.error;
  const Twin twin = in_front.Surrounded();
  ASSERT_TRUE(twin.behind);
  EXPECT_NEAR(*twin.behind, 0.15, 1e-4);
  EXPECT_EQ(twin.radius, 0.0127);
  request.erase("BoxDimensionRatio");  // a ball alone is measured within its outline
  const Measured alone = Measure(request, SceneOfPart(ball, stand));
  ASSERT_TRUE(alone.successful) << alone.error;
  EXPECT_FALSE(alone.Surrounded().behind);
}

// Borders

struct BorderCase {
  double range;
  double view;  ///< degrees, from over the outside
  double wall;  ///< degrees
  double fillet;
  double chamfer;
};

class Borders : public testing::TestWithParam<BorderCase> {};

TEST_P(Borders, TellTheirShapeTheirWallAndWhatLiesBehind) {
  const BorderCase& c = GetParam();
  const Stand stand = StandAt(c.range, c.view);
  json part = {{"type", "edge"}, {"thickness", 0.004}, {"wall_angle_deg", c.wall}};
  if (c.fillet > 0.0) part["fillet"] = c.fillet;
  if (c.chamfer > 0.0) part["chamfer"] = c.chamfer;
  constexpr double kDepth = 0.001;
  // Near enough for the analysis: where a sharp border would have the point, or half of a cut
  // inside.
  const double out = kDepth * std::tan(c.wall * kDegree) - 0.2 * c.chamfer;
  const json request = {
      {"QualityThreshold", 30},
      {"Feature",
       {{"$type", "EdgeFeature"},
        {"SurfacePoint", Triple(stand.place - 0.006 * stand.tangent)},
        {"SurfaceNormal", Triple(stand.normal)},
        {"EdgePoint", Triple(stand.place + out * stand.tangent - kDepth * stand.normal)}}}};
  const Measured edge = Measure(request, SceneOfPart(part, stand, 0.05));
  ASSERT_TRUE(edge.successful) << edge.error;
  const Twin twin = edge.Surrounded();
  EXPECT_NEAR(twin.wall_angle, c.wall * kDegree, 0.5 * kDegree);
  EXPECT_NEAR(twin.fillet, c.fillet, 5e-5 + 0.05 * c.fillet);
  EXPECT_NEAR(twin.chamfer, c.chamfer, 5e-5);
  EXPECT_NEAR(twin.thickness, 0.004, 0.00025);
  ASSERT_TRUE(twin.behind);
  EXPECT_NEAR(*twin.behind, 0.05, 5e-5);
  EXPECT_EQ(twin.place, edge.twin.place);
}

INSTANTIATE_TEST_SUITE_P(
    OfManyShapes, Borders,
    testing::Values(BorderCase{1, 30, 0, 0, 0}, BorderCase{1, 30, 0, 0.0005, 0},
                    BorderCase{2, 30, 0, 0.0005, 0}, BorderCase{2, 30, 0, 0.001, 0},
                    BorderCase{5, 30, 0, 0.001, 0}, BorderCase{5, 30, 0, 0.002, 0},
                    BorderCase{2, 30, 0, 0, 0.0005}, BorderCase{5, 30, 0, 0, 0.0015},
                    BorderCase{2, 0, 45, 0, 0}, BorderCase{2, 0, 45, 0, 0.0005},
                    BorderCase{2, 0, 45, 0.002, 0}, BorderCase{5, 0, 45, 0, 0.0015}));

// Walls

struct WallCase {
  const char* type;  ///< of the part
  double range;
  const char* thread;
  double diameter;
  double pitch;
  double depth;
  bool left_handed;
};

/// A request for a stud or a bore that stands as told.
json WallRequest(const std::string& type, const Stand& stand, double radius, double height) {
  const bool is_bore = type == "bore";
  json request = {{"LineSpacing", 0.0004},
                  {"Feature",
                   {{"$type", is_bore ? "ThreadedHoleFeature" : "StudFeature"},
                    {"Location", Triple(stand.place)},
                    {"Axis", Triple(is_bore ? Vector3d(-stand.normal) : stand.normal)},
                    {"Radius", radius},
                    {"Offset", 0.001},
                    {"Height", height},
                    {"RadiusTolerance", 0.0015},
                    {"PlaneTolerance", 0.001}}}};
  if (is_bore) request["ScanQualityThreshold"] = 30;
  return request;
}

class Threads : public testing::TestWithParam<WallCase> {};

TEST_P(Threads, AreFoundWithTheirPitchTheirHandAndTheirDepth) {
  const WallCase& c = GetParam();
  const bool is_bore = std::string(c.type) == "bore";
  const Stand stand = StandAt(c.range, is_bore ? 25.0 : 55.0);
  const double major = 0.5 * c.diameter;
  const double crests = is_bore ? major - c.depth * 5.0 / 16.0 * std::sqrt(3.0) * c.pitch : major;
  json part = {{"type", c.type},
               {"thread", {{"name", c.thread}, {"depth", c.depth}, {"left_handed", c.left_handed}}},
               {is_bore ? "depth" : "height", 6.0 * major}};
  const Measured wall =
      Measure(WallRequest(c.type, stand, crests, 4.0 * major), SceneOfPart(part, stand));
  ASSERT_TRUE(wall.successful) << wall.error;
  const Twin twin = wall.Surrounded();
  ASSERT_TRUE(twin.thread.is_object());
  EXPECT_NEAR(twin.thread["pitch"].get<double>(), c.pitch, 1e-3 * c.pitch);
  EXPECT_NEAR(twin.thread["depth"].get<double>(), c.depth, 0.08);
  EXPECT_NEAR(twin.thread["flank_angle_deg"].get<double>(), 60.0, 1e-9);
  EXPECT_NEAR(twin.thread["major_diameter"].get<double>(), c.diameter, 0.15e-3);
  EXPECT_EQ(twin.thread.contains("left_handed"), c.left_handed);
  EXPECT_NO_THROW(SceneOf(twin));
}

INSTANTIATE_TEST_SUITE_P(OfManySizes, Threads,
                         testing::Values(WallCase{"stud", 1, "M6", 0.006, 0.001, 1.0, false},
                                         WallCase{"stud", 2, "M6", 0.006, 0.001, 0.7, true},
                                         WallCase{"stud", 2, "M10", 0.01, 0.0015, 1.0, false},
                                         WallCase{"stud", 5, "M16", 0.016, 0.002, 0.7, false},
                                         WallCase{"bore", 1, "M6", 0.006, 0.001, 0.7, false},
                                         WallCase{"bore", 2, "M10", 0.01, 0.0015, 1.0, true},
                                         WallCase{"bore", 2, "M10", 0.01, 0.0015, 0.7, false},
                                         WallCase{"bore", 2, "M16", 0.016, 0.002, 1.0, false}));

TEST(Surrounded, TellsTheLobesOfASmoothStudAndTheirDirection) {
  const Stand stand = StandAt(1.0, 55.0);
  const json part = {
      {"type", "stud"},
      {"radius", 0.008},
      {"height", 0.048},
      {"form", {{"lobes", {{{"count", 3}, {"amplitude", 4e-5}, {"crest_deg", 20}}}}}}};
  const Measured wall = Measure(WallRequest("stud", stand, 0.008, 0.032), SceneOfPart(part, stand));
  ASSERT_TRUE(wall.successful) << wall.error;
  const Twin twin = wall.Surrounded();
  EXPECT_TRUE(twin.thread.is_null());
  ASSERT_TRUE(twin.form.is_object() && twin.form.contains("lobes")) << twin.form;
  const json& lobes = twin.form["lobes"][0];
  EXPECT_EQ(lobes["count"].get<int>(), 3);
  EXPECT_NEAR(lobes["amplitude"].get<double>(), 4e-5, 1.5e-5);
  // The twin's tangent need not be the part's.
  const double turned = std::atan2(twin.tangent.dot(stand.normal.cross(stand.tangent)),
                                   twin.tangent.dot(stand.tangent)) /
                        kDegree;
  const double off = std::remainder(lobes["crest_deg"].get<double>() + turned - 20.0, 120.0);
  EXPECT_NEAR(off, 0.0, 8.0);
}

TEST(Surrounded, TellsNoFormAndNoThreadOfAnIdealWall) {
  for (const char* type : {"stud", "bore"}) {
    const Stand stand = StandAt(2.0, std::string(type) == "bore" ? 25.0 : 55.0);
    const json part = {{"type", type}, {"radius", 0.005}};
    const Measured wall = Measure(WallRequest(type, stand, 0.005, 0.02), SceneOfPart(part, stand));
    ASSERT_TRUE(wall.successful) << wall.error;
    const Twin twin = wall.Surrounded();
    EXPECT_TRUE(twin.thread.is_null()) << type;
    EXPECT_TRUE(twin.form.is_null()) << type << twin.form;
  }
}

TEST(Surrounded, EndsAStudAndABoreWhereTheyWereSeenToEnd) {
  for (const char* type : {"stud", "bore"}) {
    const bool is_bore = std::string(type) == "bore";
    const Stand stand = StandAt(2.0, is_bore ? 25.0 : 55.0);
    const json part = {{"type", type}, {"radius", 0.005}, {is_bore ? "depth" : "height", 0.0125}};
    const Measured wall = Measure(WallRequest(type, stand, 0.005, 0.02), SceneOfPart(part, stand));
    ASSERT_TRUE(wall.successful) << wall.error;
    EXPECT_EQ(wall.twin.window, 0.02);
    EXPECT_NEAR(wall.Surrounded().window, 0.0125 - 0.0015, 5e-5) << type;
  }
}

// What tells nothing

/// Whether all that `Surrounded` may set is the same.
void ExpectSame(const Twin& a, const Twin& b) {
  EXPECT_EQ(a.radius, b.radius);
  EXPECT_EQ(a.length, b.length);
  EXPECT_EQ(a.width, b.width);
  EXPECT_EQ(a.window, b.window);
  EXPECT_EQ(a.thickness, b.thickness);
  EXPECT_EQ(a.behind, b.behind);
  EXPECT_EQ(a.chamfer_depth, b.chamfer_depth);
  EXPECT_EQ(a.chamfer_angle, b.chamfer_angle);
  EXPECT_EQ(a.wall_angle, b.wall_angle);
  EXPECT_EQ(a.fillet, b.fillet);
  EXPECT_EQ(a.chamfer, b.chamfer);
  EXPECT_EQ(a.thread, b.thread);
  EXPECT_EQ(a.form, b.form);
}

Twin TwinOfType(const std::string& type) {
  Twin twin;
  twin.type = type;
  twin.place = Vector3d(0.0, 0.0, 2.0);
  twin.radius = 0.005;
  twin.length = 0.02;
  twin.width = 0.01;
  twin.sides = 6;
  twin.window = 0.02;
  twin.height = 0.001;
  twin.chamfer_depth = 0.0005;
  twin.behind = 0.1;
  return twin;
}

class AbsurdScans : public testing::TestWithParam<const char*> {};

TEST_P(AbsurdScans, GiveTheTwinBack) {
  const Twin twin = TwinOfType(GetParam());
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  const host::RawDataPoint ahead(0.0, 0.0, 2.02, 80.0, 1);
  host::RawDataPoint lost = ahead, endless = ahead, nowhere = ahead, behind = ahead;
  lost.range = 0.0;
  endless.range = std::numeric_limits<double>::infinity();
  nowhere.azimuth = kNaN;
  behind.range = -2.0;
  features::Stages stages;
  for (const auto& sample : {ahead, lost, endless, nowhere, behind}) {
    const host::Exchange scan{{}, "INITIAL", std::vector<host::RawDataPoint>(500, sample)};
    ExpectSame(Surrounded(twin, scan, stages), twin);
    stages.fates.assign(500, features::SampleFate::kWall);
    ExpectSame(Surrounded(twin, scan, stages), twin);
    stages.fates.assign(3, features::SampleFate::kSurface);  // fewer than samples
    ExpectSame(Surrounded(twin, scan, stages), twin);
  }
  ExpectSame(Surrounded(twin, {}, {}), twin);
}

TEST_P(AbsurdScans, OfATwinWithoutSoundSizesChangeNothingThatIsNotFinite) {
  Twin twin = TwinOfType(GetParam());
  host::Exchange scan;
  for (int i = 0; i < 2000; ++i) {
    scan.samples.emplace_back(1e-5 * (i % 100), 1e-5 * (i / 100), 2.0 + 1e-4 * (i % 37), 60.0,
                              i / 100);
  }
  features::Stages stages;
  stages.fates.assign(2000, features::SampleFate::kWall);
  for (const double size : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(), 1e300}) {
    twin.radius = twin.length = twin.width = size;
    const Twin told = Surrounded(twin, scan, stages);
    for (const double number : {told.thickness, told.chamfer_depth, told.chamfer_angle,
                                told.wall_angle, told.fillet, told.chamfer, told.window}) {
      EXPECT_TRUE(std::isfinite(number));
    }
    EXPECT_TRUE(!told.behind || std::isfinite(*told.behind));
  }
}

INSTANTIATE_TEST_SUITE_P(OfEachType, AbsurdScans,
                         testing::Values("PVI", "MatteSphere", "RobustHole", "Stud", "ThreadedHole",
                                         "Slot", "Rectangle", "Polygon", "Edge", "CustomScan"));

}  // namespace
}  // namespace libmfx::uncertainty
