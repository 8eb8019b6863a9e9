// A part made of others is seen as they are seen alone, each in its place.

#include "sim/parts/assembly.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "random_cases.h"
#include "sim/scenario.h"
#include "thrown.h"

namespace libmfx::sim {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;

// Coordinates of up to 3 m are rounded a dozen times on the way into a member's frame, by 4e-16 m
// each; over the cosine of the incidence that much stays along the ray.
constexpr double kRounded = 5e-15;
constexpr double kSteepEnough = 0.02;  // cosine of the incidence of what is compared

json Mesh() {
  return {{"type", "mesh"},
          {"file", LIBMFX_SOURCE_DIR "/examples/scenes/plate_with_hole.stl"},
          {"unit", "mm"}};
}

/// Each built-in part and a file, none much larger than 0.1 m.
std::vector<json> AllParts() {
  const json size = {{"length", 0.08}, {"width", 0.06}};
  std::vector<json> all = {
      {{"type", "plane"}},
      {{"type", "plate"}, {"opening", {{"shape", "round"}, {"radius", 0.01}}}},
      {{"type", "plate"},
       {"opening",
        {{"shape", "rectangle"}, {"length", 0.03}, {"width", 0.02}, {"chamfer_depth", 0.002}}}},
      {{"type", "edge"}, {"fillet", 0.003}, {"wall_angle_deg", 10}},
      {{"type", "stud"}, {"radius", 0.006}, {"form", {{"taper", 1e-4}}}},
      {{"type", "stud"}, {"thread", "M12"}},
      {{"type", "bore"}, {"radius", 0.01}, {"burr", {{"height", 1e-3}}}},
      {{"type", "bore"}, {"thread", {{"name", "M16"}, {"left_handed", true}}}}};
  for (json& part : all) part.update(size);
  all.push_back({{"type", "ball"}, {"radius", 0.02}});
  all.push_back(Mesh());
  return all;
}

json Rows(const Mat3& m) {
  json rows = json::array();
  for (int i = 0; i < 3; ++i) rows.push_back({m(i, 0), m(i, 1), m(i, 2)});
  return rows;
}

Mat3 RandomTurn(Rng& rng) {
  const Vec3 normal(rng.Normal(), rng.Normal(), rng.Normal());
  const Vec3 tangent(rng.Normal(), rng.Normal(), rng.Normal());
  return Pose::Facing(Vec3::Zero(), normal, tangent).rotation;
}

/// A part on its own.
std::shared_ptr<const Part> Alone(const json& part) {
  return Scene::FromJson({{"part", part}, {"pose", {{"position", {0, 0, 2}}}}}).part;
}

json SceneOf(const json& parts, const json& pose = {{"position", {0, 0, 2}}}) {
  return {{"part", {{"type", "assembly"}, {"parts", parts}}}, {"pose", pose}, {"noise", false}};
}

json Member(const std::string& name, const json& part, const json& position = {0, 0, 0}) {
  return {{"name", name}, {"part", part}, {"position", position}};
}

/// A member with all that is told of its pose.
struct Placed {
  Scene alone;  ///< as it would be measured on its own, in the same place
  json member;
};

/// All parts, strewn about a ball of 0.12 m, of an assembly that stands in `pose`.
std::vector<Placed> Strewn(const Pose& pose, Rng& rng) {
  std::vector<Placed> all;
  for (const json& part : AllParts()) {
    const Mat3 turn = RandomTurn(rng);
    const Vec3 at(rng.Uniform(-0.07, 0.07), rng.Uniform(-0.07, 0.07), rng.Uniform(-0.07, 0.07));
    Pose whole;
    whole.rotation = pose.rotation * turn;
    whole.position = pose.Point(at);
    Placed placed{MakeScene(Alone(part), whole, {}, Noise::Off()), {}};
    placed.member = {{"name", "P" + std::to_string(all.size())},
                     {"part", part},
                     {"position", {at.x(), at.y(), at.z()}},
                     {"rotation", Rows(turn)}};
    all.push_back(std::move(placed));
  }
  return all;
}

TEST(Assembly, IsMetWhereItsMembersAreMetOnTheirOwn) {
  Rng rng(41);
  constexpr int kPlaces = 8;
  int met = 0;
  int from_behind = 0;
  std::vector<int> first(AllParts().size(), 0);
  for (int place = 0; place < kPlaces; ++place) {
    const Pose pose{RandomTurn(rng), {rng.Uniform(-1, 1), rng.Uniform(-1, 1), 2.0}};
    const std::vector<Placed> placed = Strewn(pose, rng);
    json parts = json::array();
    for (const Placed& one : placed) parts.push_back(one.member);
    const json stands = {{"position", {pose.position.x(), pose.position.y(), 2.0}},
                         {"rotation", Rows(pose.rotation)}};
    const Instrument instrument(Scene::FromJson(SceneOf(parts, stands)));
    for (int i = 0; i < test::Draws(5000, 300); ++i) {
      const Vec3 aim(rng.Uniform(-0.1, 0.1), rng.Uniform(-0.1, 0.1), rng.Uniform(-0.1, 0.1));
      const Vec3 direction = pose.Point(aim).normalized();
      Hit expected;
      std::size_t nearest = placed.size();
      for (std::size_t k = 0; k < placed.size(); ++k) {
        Hit hit;
        const Instrument alone(placed[k].alone);
        if (!alone.Cast(direction, hit) || hit.t >= expected.t) continue;
        expected = hit;
        nearest = k;
      }
      Hit hit;
      ASSERT_EQ(instrument.Cast(direction, hit), nearest < placed.size());
      if (nearest == placed.size()) continue;
      const double cosine = expected.CosIncidence(direction);
      if (cosine < kSteepEnough) continue;
      ASSERT_NEAR(hit.t, expected.t, kRounded / cosine) << nearest;
      // None of these surfaces is bent more than to a radius of 1e-4 m.
      ASSERT_LT((hit.normal - expected.normal).norm(), kRounded / cosine / 1e-4) << nearest;
      ++met;
      ++first[nearest];
      from_behind += placed[nearest].alone.pose.Inverse(Vec3::Zero()).z() < 0.0;
    }
  }
  EXPECT_GT(met, test::Draws(20000, 1200));
  EXPECT_GT(from_behind, met / 4);
  for (std::size_t k = 0; k < first.size(); ++k) EXPECT_GT(first[k], met / 200) << k;
}

constexpr int kAimed = test::Draws(20000, 2000);

/// Height at which a ray along +z from below ends; infinity for none.
double SeenFromBelow(const Part& part, double x, double y) {
  Hit hit;
  return part.Intersect({{x, y, -1.0}, Vec3::UnitZ()}, hit) ? hit.t - 1.0 : INFINITY;
}

TEST(Assembly, AMemberThatTurnsItsBackIsSeenFromBehind) {
  const auto whole = [](const json& part) {
    return Scene::FromJson(SceneOf(json::array({Member("M", part)}),
                                   {{"position", {0, 0, 2}}, {"normal", {0, 0, 1}}}))
        .part;
  };
  const auto plane = whole({{"type", "plane"}});
  const auto stud = whole({{"type", "stud"}, {"thread", "M8"}});
  json opening = {{"shape", "round"}, {"radius", 0.005}};
  const auto plate = whole({{"type", "plate"}, {"opening", opening}});
  opening["depth"] = 0.004;
  const auto blind = whole({{"type", "plate"}, {"opening", opening}});
  const json bore = {{"type", "bore"}, {"radius", 0.005}, {"depth", 0.02}, {"lead", 0}};
  const auto closed = whole(bore);
  json open = bore;
  open["through"] = true;
  const auto through = whole(open);
  const auto thread = whole({{"type", "bore"}, {"thread", "M8"}, {"depth", 0.02}});
  Rng rng(42);
  for (int i = 0; i < 2000; ++i) {
    const double x = rng.Uniform(-0.0125, 0.0125);
    const double y = rng.Uniform(-0.0125, 0.0125);
    const bool within = std::hypot(x, y) < 0.005;
    // Heights of up to a metre are rounded to 1e-16 m a few times.
    ASSERT_NEAR(SeenFromBelow(*plane, x, y), 0.0, 1e-15);
    ASSERT_NEAR(SeenFromBelow(*stud, x, y), 0.0, 1e-15);
    const double back = SeenFromBelow(*plate, x, y);
    ASSERT_TRUE(within ? back == INFINITY : std::fabs(back + 0.01) < 1e-15) << x << " " << y;
    ASSERT_NEAR(SeenFromBelow(*blind, x, y), -0.01, 1e-15);
    ASSERT_NEAR(SeenFromBelow(*closed, x, y), within ? -0.02 : 0.0, 1e-15);
    ASSERT_EQ(SeenFromBelow(*through, x, y) == INFINITY, within);
    ASSERT_LE(SeenFromBelow(*thread, x, y), 1e-15);
  }
}

TEST(Assembly, TheTruthOfItsMembersIsTurnedAndMoved) {
  json scene = SceneOf(
      json::array(
          {Member("H1",
                  {{"type", "plate"},
                   {"opening", {{"shape", "rectangle"}, {"length", 0.03}, {"width", 0.02}}}},
                  {0.1, 0.2, 0.3}),
           Member("S 1", {{"type", "stud"}, {"thread", {{"name", "M8"}, {"left_handed", true}}}}),
           Member("M", Mesh())}),
      {{"position", {1, 2, 3}}, {"rotation", {{0, 0, 1}, {1, 0, 0}, {0, 1, 0}}}});
  scene["part"]["parts"][0]["normal"] = {2, 0, 0};
  scene["part"]["parts"][0]["tangent"] = {5, 3, 0};
  const json truth = Scene::FromJson(scene).TruthJson();
  // The member's x, y, z are the assembly's y, z, x; those are the instrument's z, x, y.
  EXPECT_EQ(truth.at("H1.center"), json({1.3, 2.1, 3.2}));
  EXPECT_EQ(truth.at("H1.normal"), json({0.0, 1.0, 0.0}));
  EXPECT_EQ(truth.at("H1.tangent"), json({0.0, 0.0, 1.0}));
  EXPECT_EQ(truth.at("H1.length"), 0.03);
  EXPECT_EQ(truth.at("H1.depth"), 0.01);
  EXPECT_EQ(truth.at("S 1.center"), json({1.0, 2.0, 3.0}));
  EXPECT_EQ(truth.at("S 1.axis"), json({1.0, 0.0, 0.0}));
  EXPECT_EQ(truth.at("S 1.left_handed"), true);
  EXPECT_EQ(truth.at("M.triangles"), Alone(Mesh())->truth().values.at("triangles"));
  EXPECT_EQ(truth.size(), 6U + 8U + 1U);
}

TEST(Assembly, AMemberStandsByDefaultAsTheAssembly) {
  const auto axis = [](const json& pose) {
    json member = Member(
        "P",
        {{"type", "plate"}, {"opening", {{"shape", "polygon"}, {"sides", 6}, {"radius", 0.01}}}});
    member.update(pose);
    return Scene::FromJson(SceneOf(json::array({member}))).part->truth().directions;
  };
  EXPECT_EQ(axis(json::object()).at("P.axis"), Vec3::UnitX());
  EXPECT_EQ(axis(json::object()).at("P.normal"), Vec3::UnitZ());
  EXPECT_EQ(axis({{"normal", {0, 3, 0}}}).at("P.axis"), Vec3::UnitX());
  // Nothing is left of the default along x.
  EXPECT_EQ(axis({{"normal", {1, 0, 0}}}).at("P.axis"), -Vec3::UnitZ());
  EXPECT_EQ(axis({{"normal", {-1, 0, 0}}}).at("P.axis"), Vec3::UnitZ());
  const auto nearly = axis({{"normal", {1, 1e-8, 0}}});
  EXPECT_NEAR(nearly.at("P.axis").dot(nearly.at("P.normal")), 0.0, 1e-15);
}

TEST(Assembly, TheNearestOfItsMembersIsMetInWhateverOrderTheyAreTold) {
  const json ball = Member("ball", {{"type", "ball"}, {"radius", 0.01}}, {0, 0, 0.05});
  const json plane = Member("plane", {{"type", "plane"}});
  for (const json& parts : {json{ball, plane}, json{plane, ball}}) {
    const auto part = Scene::FromJson(SceneOf(parts)).part;
    const Ray down{{0, 0, 1}, -Vec3::UnitZ()};
    Hit hit;
    ASSERT_TRUE(part->Intersect(down, hit));
    EXPECT_NEAR(hit.t, 0.94, 1e-15);
    // What is nearer already stays, and is left as it is.
    Hit nearer{0.93, Vec3::UnitX()};
    EXPECT_FALSE(part->Intersect(down, nearer));
    EXPECT_EQ(nearer.t, 0.93);
    EXPECT_EQ(nearer.normal, Vec3::UnitX());
    Hit between{0.95, Vec3::UnitX()};
    EXPECT_TRUE(part->Intersect(down, between));
    EXPECT_NEAR(between.t, 0.94, 1e-15);
    // A ray that begins beyond the ball meets the plane, one that ends before meets nothing.
    Hit beyond;
    ASSERT_TRUE(part->Intersect({down.origin, down.direction, 0.999}, beyond));
    EXPECT_NEAR(beyond.t, 1.0, 1e-15);
    Hit before;
    EXPECT_FALSE(part->Intersect({down.origin, down.direction, 0.0, 0.93}, before));
    EXPECT_EQ(before.t, Hit().t);
    Hit beside;
    EXPECT_FALSE(part->Intersect({{0.3, 0, 1}, -Vec3::UnitZ()}, beside));
  }
}

/// How many rays do not end at the point that they are aimed at. They come from 0.3 to 300 m, up to
/// 80 degrees off the normal z.
template <typename Aim>
int RaysThatPass(const Part& part, Rng& rng, const Aim& aim) {
  int passed = 0;
  for (int i = 0; i < kAimed; ++i) {
    const double tilt = rng.Uniform(0.0, 80.0 * kPi / 180.0);
    const double turn = rng.Uniform(0.0, 2.0 * kPi);
    const Vec3 out(std::sin(tilt) * std::cos(turn), std::sin(tilt) * std::sin(turn),
                   std::cos(tilt));
    const Vec3 target = aim();
    const double range = std::pow(10.0, rng.Uniform(-0.5, 2.5));
    Hit hit;
    part.Intersect({target + range * out, -out}, hit);
    // Ranges of 300 m are rounded to 6e-14 m; a seam of 1e-12 m is seen at 80 degrees.
    passed += !(hit.t < range + 1e-11);
  }
  return passed;
}

TEST(Assembly, NoRayPassesBetweenPlatesThatTouch) {
  const auto tiles = [](double pitch) {
    json parts = json::array();
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) {
        json tile = Member("T" + std::to_string(3 * i + j),
                           {{"type", "plate"},
                            {"opening", {{"shape", "round"}, {"radius", 0.003}}},
                            {"length", 0.1},
                            {"width", 0.1}},
                           {0.7 + pitch * i, -0.3 + pitch * j, 0.01});
        // Of some, other sides make the seam.
        if ((i + j) % 2 == 1) tile["tangent"] = {0, 1, 0};
        parts.push_back(tile);
      }
    }
    return Scene::FromJson(SceneOf(parts)).part;
  };
  Rng rng(43);
  const auto on_seam = [&rng] {
    return Vec3(rng.Uniform() < 0.5 ? 0.75 : 0.85, rng.Uniform(-0.34, -0.06), 0.01);
  };
  const auto on_cross = [&rng] {
    return Vec3(rng.Uniform() < 0.5 ? 0.75 : 0.85, rng.Uniform() < 0.5 ? -0.25 : -0.15, 0.01);
  };
  const auto touching = tiles(0.1);
  EXPECT_EQ(RaysThatPass(*touching, rng, on_seam), 0);
  EXPECT_EQ(RaysThatPass(*touching, rng, on_cross), 0);
  EXPECT_EQ(RaysThatPass(*tiles(0.1 - 3e-6), rng, on_seam), 0);
  // A gap lets them pass.
  const auto in_gap = [&rng] { return Vec3(0.75 + 5e-7, rng.Uniform(-0.34, -0.06), 0.01); };
  EXPECT_GT(RaysThatPass(*tiles(0.1 + 1e-6), rng, in_gap), kAimed * 99 / 100);
}

TEST(Assembly, NoRayPassesBetweenSheetsThatTouchAtAnAngle) {
  const auto corner = [](double gap) {
    json front = Member("front", {{"type", "plane"}, {"length", 0.1}, {"width", 0.1}}, {0.2, 0, 0});
    json side = Member("side", {{"type", "plane"}, {"length", 0.1}, {"width", 0.1}},
                       {0.25 + gap, 0, -0.05});
    side["normal"] = {1, 0, 0};
    return Scene::FromJson(SceneOf(json::array({front, side}))).part;
  };
  Rng rng(44);
  const auto on_edge = [&rng] { return Vec3(0.25, rng.Uniform(-0.049, 0.049), 0.0); };
  const auto in_gap = [&rng] { return Vec3(0.25 + 5e-7, rng.Uniform(-0.049, 0.049), 0.0); };
  // From the right the sheet at the side is met, from the left the front.
  EXPECT_EQ(RaysThatPass(*corner(0.0), rng, on_edge), 0);
  // Half of them come from the left, and slip through a gap behind the sheet at the side.
  EXPECT_GT(RaysThatPass(*corner(1e-6), rng, in_gap), kAimed * 2 / 5);
}

/// What the instrument makes of lines over the middle 0.2 m of a part.
std::vector<data_structures::RawDataPoint> Lines(const json& scene) {
  Instrument instrument(Scene::FromJson(scene));
  const Pose& pose = instrument.scene().pose;
  std::vector<data_structures::Position> path;
  for (int line = -5; line <= 5; ++line) {
    const double y = 0.0197 * line;
    path.emplace_back(ToPoint(pose.Point({-0.1, y, 0})), 0.0);
    path.emplace_back(ToPoint(pose.Point({0.1, y, 0})), 0.00113);
  }
  return instrument.Drive(path);
}

// A mosaic of tiles is measured as the whole plate is, with all that can spoil it: everything is
// told in the assembly's frame.
TEST(Assembly, TilesOfAPlaneAreThePlane) {
  json plane = {
      {"part", {{"type", "plane"}, {"length", 0.6}, {"width", 0.6}}},
      {"pose", {{"position", {0.2, -0.1, 2}}, {"normal", {0.5, 0.3, -1}}, {"tangent", {1, 0, 0}}}},
      {"behind", 0.05},
      {"instrument", {{"drift", {{"range_um_per_s", 0.5}}}}},
      {"relief",
       {{"waves", {{{"amplitude", 2e-5}, {"wavelength", 0.02}, {"direction", {3, 4, 0}}}}},
        {"flatness", {{"dish", 4e-5}}},
        {"marks", {{"depth", 1e-5}, {"width", 5e-4}, {"across", {0, 1, 0}}}}}},
      {"surface",
       {{"roughness", {{"range", 5e-6}}},
        {"patches", {{{"share", 0.3}, {"factor", 0.2}, {"nearer", 1e-4}}}},
        {"lay", {{"direction", {1, 0, 0}}}},
        {"gloss", {{"factor", 5}}},
        {"mirror", 0.5}}},
      {"obstacles",
       {{{"type", "box"},
         {"center", {0.02, 0, 0.02}},
         {"length", 0.02},
         {"width", 0.1},
         {"height", 0.01}},
        {{"type", "dust"}, {"center", {-0.05, 0, 0.01}}, {"count", 200}, {"grain", 0.0004}}}}};
  json tiles = plane;
  const std::vector<json> tangents = {{1, 0, 0}, {0, 1, 0}, {-1, 0, 0}, {0, -1, 0}};
  json parts = json::array();
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      json tile =
          Member(std::to_string(3 * i + j), {{"type", "plane"}, {"length", 0.2}, {"width", 0.2}},
                 {0.2 * (i - 1), 0.2 * (j - 1), 0});
      tile["tangent"] = tangents[static_cast<std::size_t>(i + 2 * j) % tangents.size()];
      parts.push_back(tile);
    }
  }
  tiles["part"] = {{"type", "assembly"}, {"parts", parts}};
  const auto expected = Lines(plane);
  const auto seen = Lines(tiles);
  EXPECT_GT(expected.size(), 1500U);
  ASSERT_EQ(seen.size(), expected.size());
  for (std::size_t i = 0; i < seen.size(); ++i) {
    ASSERT_EQ(seen[i].azimuth, expected[i].azimuth) << i;
    // What a hit is rounded by, times what a place in a field of speckle or a wave weighs more.
    ASSERT_NEAR(seen[i].range, expected[i].range, 1e-12) << i;
    ASSERT_NEAR(seen[i].quality, expected[i].quality, 1e-8) << i;
  }
}

TEST(Assembly, ReliefOfATurnedMemberIsToldInTheAssemblysFrame) {
  json side =
      Member("side", {{"type", "plane"}, {"length", 0.2}, {"width", 0.2}}, {0.3, 0.1, -0.1});
  side["normal"] = {1, 0, 0};
  json scene = SceneOf(json::array({side}));
  scene["relief"] = {
      {"waves", {{{"amplitude", 2e-5}, {"wavelength", 0.01}, {"direction", {0, 3, 4}}}}},
      {"flatness", {{"dish", 4e-5}}}};
  const auto part = Scene::FromJson(scene).part;
  Rng rng(45);
  double highest = 0.0;
  for (int i = 0; i < 1000; ++i) {
    const Ray in{{2.0, rng.Uniform(0.01, 0.19), rng.Uniform(-0.19, -0.01)}, -Vec3::UnitX()};
    Hit hit;
    ASSERT_TRUE(part->Intersect(in, hit));
    const double phase = (0.6 * in.origin.y() + 0.8 * in.origin.z()) / 0.01;
    const double height = 2e-5 * std::sin(2.0 * kPi * phase);
    // Of the wall the dish is along itself; a hit is looked for to 2e-10 m.
    ASSERT_NEAR(2.0 - hit.t - 0.3, height, 2e-10);
    highest = std::max(highest, height);
  }
  EXPECT_GT(highest, 1.9e-5);
}

TEST(Assembly, TwoHundredMembersAreEachWhereTheyAreTold) {
  json parts = json::array();
  for (int i = 0; i < 200; ++i) {
    parts.push_back(Member(std::to_string(i),
                           {{"type", "plane"}, {"length", 0.02}, {"width", 0.02}},
                           {0.02 * (i % 20), 0.02 * (i / 20), 1e-4 * i}));
  }
  const auto part = Scene::FromJson(SceneOf(parts)).part;
  for (int i = 0; i < 200; ++i) {
    Hit hit;
    ASSERT_TRUE(
        part->Intersect({{0.02 * (i % 20) + 0.004, 0.02 * (i / 20), 1.0}, -Vec3::UnitZ()}, hit));
    EXPECT_NEAR(hit.t, 1.0 - 1e-4 * i, 1e-15);
  }
  EXPECT_EQ(part->truth().points.size(), 200U);
  EXPECT_LT((part->Center() - Vec3(0.19, 0.09, 0.00995)).norm(), 1e-15);
  // The farthest corner lies within what is told, and that is not much more.
  EXPECT_GT(part->Reach(), Vec3(0.39, 0.19, 0.0199).norm());
  EXPECT_LT(part->Reach(), Vec3(0.38, 0.18, 0.0199).norm() + 0.0142);
}

TEST(Assembly, PartFilesOfMembersAreThoseOfTheScene) {
  const Scene scene = Scene::FromJson(SceneOf(
      json::array({Member("A", Mesh()), Member("B", {{"type", "ball"}}), Member("C", Mesh())})));
  ASSERT_EQ(scene.files.size(), 2U);
  EXPECT_EQ(scene.files[0].string(), Mesh()["file"]);
  // A relative path begins at the scene's folder.
  json mesh = Mesh();
  mesh["file"] = "plate_with_hole.stl";
  const std::filesystem::path folder = LIBMFX_SOURCE_DIR "/examples/scenes";
  EXPECT_EQ(Scene::FromJson(SceneOf(json::array({Member("A", mesh)})), folder).files.at(0),
            scene.files[0]);
}

std::string RefusalOf(const json& scene) {
  return test::TextThrown<SceneError>([&] { Scene::FromJson(scene); });
}

/// How an assembly of two is refused whose second member has this value there.
std::string RefusalWith(const char* pointer, const json& value) {
  json scene =
      SceneOf(json::array({Member("H1", {{"type", "plane"}}), Member("H2", {{"type", "ball"}})}));
  scene["part"]["parts"][1][json::json_pointer(pointer)] = value;
  return RefusalOf(scene);
}

TEST(Assembly, WhatIsWrongWithAMemberIsRefused) {
  EXPECT_EQ(RefusalWith("/name", 5), "part.parts[1].name: 5 is not a text");
  EXPECT_EQ(RefusalWith("/name", ""), "part.parts[1].name: \"\" is empty");
  EXPECT_EQ(RefusalWith("/name", "H1"), "part.parts[1].name: \"H1\" is the name of another member");
  EXPECT_EQ(RefusalWith("/part", "ball"), "part.parts[1].part: \"ball\" is not an object");
  EXPECT_EQ(RefusalWith("/part/radius", -1),
            "part.parts[1].part.radius: -1 is not between 1e-06 and 1000");
  EXPECT_THAT(RefusalWith("/part/radiu", 1), HasSubstr("part.parts[1].part.radiu: unknown key"));
  EXPECT_EQ(RefusalWith("/part/type", "gear"),
            "part.parts[1].part.type: \"gear\" is not a known part (known: mesh, ball, bore, edge, "
            "plane, plate, stud)");
  EXPECT_EQ(RefusalWith("/part", SceneOf(json::array({Member("A", {{"type", "ball"}})}))["part"]),
            "part.parts[1].part.type: \"assembly\" is no part for a member of an assembly");
  json mesh = Mesh();
  mesh["file"] = "/nonexistent/part.stl";
  EXPECT_THAT(RefusalWith("/part", mesh),
              HasSubstr("part.parts[1].part.file: \"/nonexistent/part.stl\" "));
  EXPECT_EQ(RefusalWith("/colour", "red"),
            "part.parts[1].colour: unknown key with the value \"red\" (known here: name, part, "
            "position)");
}

TEST(Assembly, WhatIsWrongWithAMembersPlaceIsRefused) {
  EXPECT_EQ(RefusalWith("/position", {0, 1}),
            "part.parts[1].position: [0, 1] is not an array of three numbers");
  EXPECT_EQ(RefusalWith("/position", {0, 0, NAN}),
            "part.parts[1].position: [0, 0, null] has a component that is not between -1000 and "
            "1000");
  EXPECT_EQ(RefusalWith("/normal", {0, 0, 0}), "part.parts[1].normal: [0, 0, 0] has no direction");
  EXPECT_EQ(RefusalWith("/tangent", {0, 0, 2}),
            "part.parts[1].tangent: [0, 0, 2] is parallel to the normal");
  EXPECT_EQ(RefusalWith("/rotation", {1, 2, 3}),
            "part.parts[1].rotation: [1, 2, 3] is not three rows of three numbers");
  EXPECT_THAT(RefusalWith("/rotation", {{1, 0, 0}, {0, 1, 0}, {0, 0, -1}}),
              HasSubstr("part.parts[1].rotation: [..., ..., ...] is not a rotation"));
  json both = SceneOf(json::array({Member("H1", {{"type", "plane"}})}));
  both["part"]["parts"][0]["rotation"] = Rows(Mat3::Identity());
  both["part"]["parts"][0]["normal"] = {0, 0, 1};
  EXPECT_EQ(RefusalOf(both),
            "part.parts[0].normal: unknown key with the value [0, 0, 1] (known here: name, part, "
            "position, rotation)");
  for (const char* key : {"name", "part", "position"}) {
    json scene = SceneOf(json::array({Member("H1", {{"type", "plane"}})}));
    scene["part"]["parts"][0].erase(key);
    EXPECT_EQ(RefusalOf(scene), "part.parts[0]." + std::string(key) + ": missing");
  }
}

TEST(Assembly, WhatIsWrongWithTheWholeIsRefused) {
  const json plane = Member("H1", {{"type", "plane"}});
  EXPECT_EQ(RefusalOf(SceneOf(json::array())), "part.parts: [] has no members");
  EXPECT_EQ(RefusalOf(SceneOf(5)), "part.parts: 5 is not an array");
  EXPECT_EQ(RefusalOf(SceneOf(json::array({plane, 5}))), "part.parts[1]: 5 is not an object");
  json scene = SceneOf(json::array({plane}));
  scene["part"].erase("parts");
  EXPECT_EQ(RefusalOf(scene), "part.parts: missing");
  scene = SceneOf(json::array({plane}));
  scene["part"]["position"] = {0, 0, 0};
  EXPECT_EQ(RefusalOf(scene),
            "part.position: unknown key with the value [0, 0, 0] (known here: parts, type)");
  json many = json::array();
  for (int i = 0; i < 201; ++i) many.push_back(Member(std::to_string(i), {{"type", "plane"}}));
  EXPECT_EQ(RefusalOf(SceneOf(many)), "part.parts: an array of 201 has more than 200 entries");
  many.erase(200);
  EXPECT_EQ(RefusalOf(SceneOf(many)), "");
}

// It has no front: only where its middle is counts, and the background has to be behind it.
TEST(Assembly, MayTurnAnySideToTheInstrument) {
  const auto scene = [](const json& place, const json& pose) {
    return SceneOf(json::array({Member("H1", {{"type", "plane"}}, place)}), pose);
  };
  const json away = {{"position", {0, 0, 2}}, {"normal", {0, 0, 1}}};
  EXPECT_EQ(RefusalOf(scene({0, 0, 0}, away)), "");
  const json near = {{"position", {0, 0, 2}}, {"normal", {0, 0, -1}}};
  EXPECT_THAT(RefusalOf(scene({0, 0, 3}, near)), HasSubstr("puts the part behind the instrument"));
  EXPECT_THAT(RefusalOf(scene({0, 0, 2}, near)), HasSubstr("where the instrument stands"));
  json hidden = scene({0, 0, 0}, away);
  hidden["behind"] = 0.5;
  EXPECT_THAT(RefusalOf(hidden), HasSubstr("the background between the instrument and the part"));
  json steep = scene({100, 0, 0}, away);
  steep["relief"] = {{"flatness", {{"dish", 1e-3}}}};
  // 2 * 1e-3 / 0.1^2 * (100 + 0.25 * sqrt 2), from the assembly's origin.
  EXPECT_THAT(RefusalOf(steep), HasSubstr("relief: an object has slopes that add up to 20.07"));
}

}  // namespace
}  // namespace libmfx::sim
