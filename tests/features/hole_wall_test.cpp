#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "features/hole/bore.h"
#include "features/hole/grazed_rim.h"
#include "features/shared/beam.h"
#include "ideal_hole.h"
#include "protected.h"

namespace libmfx::features {
namespace {

using namespace test;

constexpr double kPi = std::numbers::pi;
constexpr double kRadius = 0.006;
constexpr double kSpacing = 0.0001;

/// The surface z = 0, seen from `distance` metres at `incidence` radians: the instrument stands on
/// the side of -x, above (z is positive).
struct View {
  explicit View(double incidence, double chamfer_depth = 0.0, double chamfer_offset = 0.0)
      : surface(PointXYZW(0, 0, 0), VectorXYZW(0, 0, 1)),
        origin(-2.0 * std::sin(incidence), 0, 2.0 * std::cos(incidence)),
        bore{surface,
             PointXYZW(0, 0, 0),
             VectorXYZW(kRadius, 0, 0),
             origin,
             kRadius,
             chamfer_depth,
             chamfer_offset,
             kSpacing} {}

  /// Where the beam that crosses the surface at (x, y) is `depth` below it.
  PointXYZW Below(double x, double y, double depth) const {
    const VectorXYZW beam = PointXYZW(x, y, 0) - origin;
    return PointXYZW(x, y, 0) + beam * (depth / -beam.z());
  }
  /// Where it meets the bore's far wall.
  PointXYZW OnWall(double x, double y) const {
    const VectorXYZW beam = PointXYZW(x, y, 0) - origin;
    const double a = beam.x() * beam.x() + beam.y() * beam.y();
    const double b = x * beam.x() + y * beam.y();
    const double c = x * x + y * y - kRadius * kRadius;
    return PointXYZW(x, y, 0) + beam * ((-b + std::sqrt(b * b - a * c)) / a);
  }

  geometry::Plane surface;
  PointXYZW origin;
  Bore bore;
};

PointCloud LineOf(const std::vector<PointXYZW>& points, int segment = 3) {
  Eigen::MatrixXd data(5, static_cast<Eigen::Index>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i) {
    data.col(static_cast<Eigen::Index>(i)) << points[i].xyz(), 70.0, segment;
  }
  return PointCloud(std::move(data), {{EMBEDDING_XYZ, {0}}});
}

/// The samples of a half line that runs inwards from the rim in direction `turn`, as `hit` sees
/// the beam through each place of the surface.
template <typename Hit>
PointCloud Inwards(double turn, int samples, Hit hit, int segment = 3) {
  std::vector<PointXYZW> points;
  for (int i = 0; i < samples; ++i) {
    const double r = kRadius - kSpacing * (i + 0.3);
    points.push_back(hit(r * std::cos(turn), r * std::sin(turn)));
  }
  return LineOf(points, segment);
}

TEST(HoleWall, FeetOfTheWallLieOnTheBore) {
  for (const double incidence : {0.4, 0.8, 1.04}) {
    for (const double turn : {0.0, 0.5, -1.0}) {
      const View view(incidence);
      const PointCloud line =
          Inwards(turn, 40, [&](double x, double y) { return view.OnWall(x, y); });
      const auto wall = FindWall(line, view.bore);
      ASSERT_TRUE(wall) << incidence << " " << turn;
      EXPECT_EQ(wall->feet.rows(), 5);
      EXPECT_LE(wall->feet.cols(), kFeetPerLine);
      EXPECT_GT(wall->feet.cols(), 0);
      for (Eigen::Index j = 0; j < wall->feet.cols(); ++j) {
        const PointXYZW foot = wall->feet.point(j);
        EXPECT_NEAR(foot.z(), 0.0, 1e-12) << "on the surface";
        // A mean of feet along an arc lies inside it by the arc's sagitta.
        EXPECT_NEAR((foot - PointXYZW(0, 0, 0)).norm(), kRadius, 6e-5);
        EXPECT_EQ(wall->feet.data()(3, j), 70.0);
        EXPECT_EQ(wall->feet.data()(4, j), 3.0);
      }
      EXPECT_GT(wall->shallowest, 0.0);
      EXPECT_LE(wall->deepest, kRadius);
      EXPECT_LT(wall->shallowest, wall->deepest);
    }
  }
}

TEST(HoleWall, TheNearSideHasNoWallOfItsOwn) {
  const View view(1.0);
  const PointCloud line = Inwards(kPi, 59, [&](double x, double y) { return view.OnWall(x, y); });
  EXPECT_FALSE(FindWall(line, view.bore)) << "its samples lie on the wall under the far side";
}

TEST(HoleWall, AThinSheetWithAPlateBehindHasNone) {
  const View view(0.7);
  for (const double depth : {0.0005, 0.002, 0.006}) {
    const PointCloud line =
        Inwards(0.0, 59, [&](double x, double y) { return view.Below(x, y, depth); });
    EXPECT_FALSE(FindWall(line, view.bore)) << depth;
  }
}

TEST(HoleWall, TheFloorOfABlindHoleIsLeftOut) {
  const View view(0.7);
  constexpr double kFloor = 0.002;
  const PointCloud line = Inwards(0.0, 59, [&](double x, double y) {
    const PointXYZW wall = view.OnWall(x, y);
    return -wall.z() < kFloor ? wall : view.Below(x, y, kFloor);
  });
  const auto wall = FindWall(line, view.bore);
  ASSERT_TRUE(wall);
  EXPECT_LE(wall->deepest, kFloor + 1e-12);
  for (Eigen::Index j = 0; j < wall->feet.cols(); ++j) {
    EXPECT_NEAR(wall->feet.point(j).x(), kRadius, 2e-5);
  }
}

TEST(HoleWall, TwoSamplesAreNoWall) {
  const View view(0.7);
  const auto on_wall = [&](double x, double y) { return view.OnWall(x, y); };
  EXPECT_FALSE(FindWall(Inwards(0.0, 2, on_wall), view.bore));
  EXPECT_TRUE(FindWall(Inwards(0.0, 3, on_wall), view.bore));
  EXPECT_FALSE(FindWall(LineOf({}), view.bore));
}

TEST(HoleWall, AChamferIsNoWall) {
  // Half a millimetre deep, 45 degrees: down to there feet come closer to the centre.
  const View view(0.7, 0.0005, 0.0005);
  std::vector<PointXYZW> points;
  for (int i = 0; i < 20; ++i) {
    const double depth = 0.000025 * i;
    points.emplace_back(kRadius + 0.0005 - depth, 0, -depth);
  }
  EXPECT_FALSE(FindWall(LineOf(points), view.bore));
  for (int i = 0; i < 20; ++i) points.emplace_back(kRadius, 0, -0.0005 - 0.0001 * i);
  const auto wall = FindWall(LineOf(points), view.bore);
  ASSERT_TRUE(wall);
  EXPECT_GT(wall->shallowest, 0.0005 + 0.9 * kSpacing) << "a spacing clear of the chamfer";
  for (Eigen::Index j = 0; j < wall->feet.cols(); ++j) {
    EXPECT_NEAR(wall->feet.point(j).x(), kRadius, 1e-12);
  }
}

TEST(HoleWall, TheMouthIsTheLowestSampleOfTheChamfer) {
  const View view(0.1, 0.0005, 0.0005);
  std::vector<PointXYZW> points;
  for (int i = 0; i < 5; ++i) {
    const double depth = 0.0001 * i + 0.00005;
    points.emplace_back(kRadius + 0.0005 - depth, 0, -depth);
  }
  points.emplace_back(kRadius - 0.00005, 0, -0.004);  // down the bore
  points.emplace_back(kRadius - 0.0004, 0, -0.0003);  // a mixed echo inside the mouth
  const auto mouth = FindMouth(LineOf(points), view.bore);
  ASSERT_TRUE(mouth);
  ASSERT_EQ(mouth->cols(), 1);
  EXPECT_NEAR(mouth->point(0).x(), kRadius + 0.00005, 1e-12);
  EXPECT_NEAR(mouth->point(0).z(), 0.0, 1e-12);
  EXPECT_FALSE(FindMouth(LineOf({{kRadius + 0.01, 0, 0}, {0, 0, -0.01}}), view.bore));
}

TEST(HoleWall, TheSpanOfFeetIsMeasuredAcrossTheFarSide) {
  const View view(0.7);
  const auto at = [](double turn) {
    return PointXYZW(kRadius * std::cos(turn), kRadius * std::sin(turn), 0);
  };
  EXPECT_EQ(SpanOf({}, view.bore), 0.0);
  EXPECT_EQ(SpanOf({LineOf({at(0.3)})}, view.bore), 0.0);
  EXPECT_NEAR(SpanOf({LineOf({at(0.3), at(-0.1)}), LineOf({}), LineOf({at(0.7)})}, view.bore), 0.8,
              1e-12);
}

const auto kHalfLines = shared::ScanLayout::HalfLines();

TEST(HoleGraze, TheBeamLeavesTheSurfaceHalfwayToTheNextSample) {
  const View view(0.7);
  // The near side: the last surface sample, then one from deep below.
  const PointCloud edges((Eigen::MatrixXd(4, 2) << -0.00604, 0.00604, 0, 0, 0, 0, 1, 3).finished());
  const PointXYZW deep = view.Below(-0.00594, 0, 0.02);
  const auto scan = [&](const PointXYZW& next) {
    return LineOf({{-0.00614, 0, 0}, {-0.00604, 0, 0}, next}, 1);
  };
  PointCloud rim = GrazedRim(edges, scan(deep), kHalfLines, view.bore);
  EXPECT_NEAR(rim.data()(0, 0), -0.00599, 1e-12);
  EXPECT_EQ(rim.data()(0, 1), 0.00604) << "the far side stays";
  // What lies hardly below the surface has not left it.
  rim = GrazedRim(edges, scan(view.Below(-0.00594, 0, 0.00029)), kHalfLines, view.bore);
  EXPECT_EQ(rim.data()(0, 0), -0.00604);
  // Across a wide gap the place is not known.
  rim = GrazedRim(edges, scan(view.Below(-0.00578, 0, 0.02)), kHalfLines, view.bore);
  EXPECT_EQ(rim.data()(0, 0), -0.00604);
  // Nor where nothing follows.
  rim = GrazedRim(edges, LineOf({{-0.00614, 0, 0}, {-0.00604, 0, 0}}, 1), kHalfLines, view.bore);
  EXPECT_EQ(rim.data()(0, 0), -0.00604);
  rim = GrazedRim(edges, LineOf({}), kHalfLines, view.bore);
  EXPECT_EQ(rim.data()(0, 0), -0.00604);
}

TEST(HoleGraze, OnALineThatRunsOutwardsTheSampleBeforeCounts) {
  const View view(0.7);
  const PointCloud edges((Eigen::MatrixXd(4, 1) << -0.00604, 0, 0, 3).finished());
  const PointCloud scan =
      LineOf({view.Below(-0.00594, 0, 0.02), {-0.00604, 0, 0}, {-0.00614, 0, 0}}, 3);
  EXPECT_EQ(kHalfLines.At(3).sense, -1);
  EXPECT_NEAR(GrazedRim(edges, scan, kHalfLines, view.bore).data()(0, 0), -0.00599, 1e-12);
}

TEST(HoleScanLine, ABeamAlongTheSurfaceHasNoPlaceWhereItCrosses) {
  const geometry::Plane surface(PointXYZW(0, 0, 0), VectorXYZW(0, 0, 1));
  EXPECT_EQ(shared::PierceOf(PointXYZW(1, 0, 1), PointXYZW(0, 0, 1), surface), PointXYZW(1, 0, 1));
}

/// A hole whose rim has been found, seen at `incidence` radians.
Hole RimFound(double incidence, IdealHole ideal) {
  nlohmann::json request = HoleRequest(ideal.radius);
  const Eigen::Vector3d normal(-std::sin(incidence), 0, -std::cos(incidence));
  ideal.normal = normal;
  request["Feature"]["Normal"] = {normal.x(), normal.y(), normal.z()};
  return Measure(request, ideal);
}

TEST(HoleWall, SeenByASlantedBeamInADeepBore) {
  const Hole deep = RimFound(0.7, {.wall = 0.02});
  EXPECT_TRUE(PROTECTED(deep, _has_wall));
  const Hole sheet = RimFound(0.7, {});
  EXPECT_FALSE(PROTECTED(sheet, _has_wall));
  const Hole bright = RimFound(0.7, {.behind = 0.002});
  EXPECT_FALSE(PROTECTED(bright, _has_wall));
  const Hole straight = RimFound(0.1, {.wall = 0.02});
  EXPECT_FALSE(PROTECTED(straight, _has_wall));
}

TEST(HoleCentroid, ThePlanarPointsAroundTheCircleMoveIt) {
  Hole hole(HoleRequest().dump());
  PROTECTED(hole, _plane) = geometry::Plane(PointXYZW(0, 0, 2), VectorXYZW(0, 0, -1));
  geometry::Circle circle;
  circle.Center(PointXYZW(1e-4, -5e-5, 2));
  circle.Radius(0.008);
  // Lines around (0, 0, 2) that end on the rim; one ends short of it, on something else.
  const auto line = [](int k, double ends) {
    const double turn = 0.5 * k;
    Eigen::MatrixXd data(5, 30);
    for (int i = 0; i < 30; ++i) {
      const double r = ends + 1e-4 * i;
      data.col(i) << r * std::cos(turn), r * std::sin(turn), 2.0, 80.0, 2 * k + 1;
    }
    return PointCloud(data, {{data_structures::EMBEDDING_XYZ, {0}}});
  };
  std::vector<PointCloud> lines;
  for (int k = 0; k < 12; ++k) lines.push_back(line(k, k == 3 ? 0.0092 : 0.008));
  EXPECT_TRUE(PROTECTED(hole, PlaneCentroidBiasShift)(lines, circle));
  EXPECT_LT((circle.Center() - PointXYZW(0, 0, 2)).norm(), 1e-9);
  EXPECT_EQ(circle.Radius(), 0.008);
}

TEST(HoleCentroid, WithoutPlanarPointsTheCircleStays) {
  Hole hole(HoleRequest().dump());
  PROTECTED(hole, _plane) = geometry::Plane(PointXYZW(0, 0, 2), VectorXYZW(0, 0, -1));
  geometry::Circle circle;
  circle.Center(PointXYZW(1e-4, -5e-5, 2));
  const std::vector<std::vector<PointCloud>> nothing{{}, {PointCloud(), PointCloud()}};
  for (const auto& lines : nothing) {
    EXPECT_FALSE(PROTECTED(hole, PlaneCentroidBiasShift)(lines, circle));
    EXPECT_EQ(circle.Center(), PointXYZW(1e-4, -5e-5, 2));
  }
}

TEST(HoleWall, ItsDepthsAreTold) {
  Hole hole = RimFound(0.7, {.wall = 0.003});
  std::vector<PointCloud> inliers, outliers, wall;
  ASSERT_TRUE(PROTECTED(hole, FitRobustPlane)(hole.GetSetting<PointXYZW>(L"NominalPoint"), 0.0,
                                              0.013, 1.0, 1.0, 3e-4, inliers, outliers));
  double a = -1.0;
  double b = -1.0;
  EXPECT_TRUE(PROTECTED(hole, CircleHasWall)(outliers, wall, PROTECTED(hole, _circle), a, b));
  EXPECT_EQ(wall.size(), PROTECTED(hole, _segments).size()) << "one cloud a line";
  EXPECT_GT(a, 0.0);
  EXPECT_LT(a, 5e-4);
  EXPECT_GT(b, 0.0025);
  EXPECT_LE(b, 0.003 + 1e-9);
  Hole sheet = RimFound(0.7, {});
  ASSERT_TRUE(PROTECTED(sheet, FitRobustPlane)(sheet.GetSetting<PointXYZW>(L"NominalPoint"), 0.0,
                                               0.013, 1.0, 1.0, 3e-4, inliers, outliers));
  EXPECT_FALSE(PROTECTED(sheet, CircleHasWall)(outliers, wall, PROTECTED(sheet, _circle), a, b));
  EXPECT_EQ(a, 0.0);
  EXPECT_EQ(b, 0.0);
}

}  // namespace
}  // namespace libmfx::features
