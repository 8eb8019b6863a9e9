// The neighbours that the filters of a cylinder's points go by: the same as a look at all distances
// finds, and in bounded time however the points lie.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <span>
#include <string>
#include <utility>

#include "geometry/cylinder/distinct_neighbourhood.h"
#include "geometry/cylinder/end_faces.h"
#include "geometry/cylinder/isolated.h"
#include "geometry/cylinder/neighbour_cells.h"
#include "libmfx/geometry/cylinder_fitter.h"
#include "plain_filters.h"
#include "random_cases.h"

namespace libmfx::geometry {
namespace {

using Eigen::Index;
using Eigen::Vector3d;
using test::PlainFilters;
using PointList = std::vector<Vector3d>;

/// Numbers that are the same everywhere.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : _engine(seed) {}
  double Even() { return static_cast<double>(_engine() >> 11) * 0x1p-53; }
  double Even(double low, double high) { return low + (high - low) * Even(); }
  double Bell() { return Even(-1.0, 1.0) + Even(-1.0, 1.0) + Even(-1.0, 1.0); }
  Vector3d InCube(double half) { return {Even(-half, half), Even(-half, half), Even(-half, half)}; }
  void Shuffle(PointList& points) {
    for (std::size_t i = points.size(); i > 1; --i)
      std::swap(points[i - 1], points[static_cast<std::size_t>(Even() * static_cast<double>(i))]);
  }

 private:
  std::mt19937_64 _engine;
};

/// Half of a wall of radius 1 in lines along it, denser along the lines than across them, and a
/// flat top where one is wanted.
PointList Scan(std::size_t n, Dice& dice, bool top) {
  PointList points;
  const std::size_t wall = top ? n * 2 / 3 : n;
  const auto along = static_cast<std::size_t>(std::sqrt(3.0 * static_cast<double>(wall))) + 1;
  const double lines = std::ceil(static_cast<double>(wall) / static_cast<double>(along));
  for (std::size_t i = 0; i < wall; ++i) {
    const double turn = std::numbers::pi * std::floor(static_cast<double>(i / along)) / lines;
    const double height = 2.0 * static_cast<double>(i % along) / static_cast<double>(along);
    const double radius = 1.0 + 0.003 * dice.Bell();
    points.emplace_back(radius * std::cos(turn), radius * std::sin(turn),
                        height + 1e-3 * dice.Even());
  }
  while (points.size() < n) {
    const Vector3d p(dice.Even(-1.0, 1.0), dice.Even(-1.0, 1.0), 2.0 + 0.002 * dice.Bell());
    if (p.head<2>().norm() <= 1.0) points.push_back(p);
  }
  return points;
}

/// Points of one kind, `n` of them.
struct Family {
  const char* name;
  PointList (*make)(std::size_t n, Dice& dice);
  bool ties;  ///< whether distances are equal to each other
};

PointList Filled(std::size_t n, const auto& make) {
  PointList points;
  for (std::size_t i = 0; i < n; ++i) points.push_back(make(i));
  return points;
}

const Family kFamilies[] = {
    {"scan", [](std::size_t n, Dice& dice) { return Scan(n, dice, false); }, false},
    {"scan of a stud with its top", [](std::size_t n, Dice& dice) { return Scan(n, dice, true); },
     false},
    {"stud, shuffled",
     [](std::size_t n, Dice& dice) {
       PointList points = Scan(n, dice, true);
       dice.Shuffle(points);
       return points;
     },
     false},
    {"stud with strays",
     [](std::size_t n, Dice& dice) {
       PointList points = Scan(n - n / 20, dice, true);
       while (points.size() < n) points.push_back(dice.InCube(4.0));
       return points;
     },
     false},
    {"in a cube",
     [](std::size_t n, Dice& dice) {
       return Filled(n, [&](std::size_t) { return dice.InCube(1.0); });
     },
     false},
    {"on a line, unevenly",
     [](std::size_t n, Dice& dice) {
       return Filled(n,
                     [&](std::size_t) { return Vector3d(Vector3d(0.3, -0.2, 0.7) * dice.Even()); });
     },
     false},
    {"a cluster of a millionth beside far strays",
     [](std::size_t n, Dice& dice) {
       return Filled(n, [&](std::size_t i) { return dice.InCube(i % 10 == 0 ? 1e3 : 1e-6); });
     },
     false},
    {"clusters of many sizes",
     [](std::size_t n, Dice& dice) {
       return Filled(n, [&](std::size_t i) {
         const auto size = static_cast<double>(i % 12);
         return Vector3d(Vector3d(size, 0.0, 0.0) + dice.InCube(std::pow(10.0, -size)));
       });
     },
     false},
    {"ever nearer to one point",
     [](std::size_t n, Dice& dice) {
       return Filled(n, [&](std::size_t i) {
         return Vector3d(dice.InCube(1.0) * std::pow(0.98, static_cast<double>(i)));
       });
     },
     false},
    {"some so far that the others are one spot to them",
     [](std::size_t n, Dice& dice) {
       return Filled(n, [&](std::size_t i) { return dice.InCube(i % 7 == 0 ? 1e150 : 1.0); });
     },
     true},
    {"in one spot",
     [](std::size_t n, Dice&) {
       return Filled(n, [&](std::size_t) { return Vector3d(0.1, 0.2, 0.3); });
     },
     true},
    {"each four times",
     [](std::size_t n, Dice& dice) {
       PointList points = Scan(n / 4 + 1, dice, true);
       for (std::size_t i = 0; points.size() < n; ++i) points.push_back(points[i]);
       points.resize(n);
       return points;
     },
     true},
    {"spots in a cloud",
     [](std::size_t n, Dice& dice) {
       return Filled(n, [&](std::size_t i) {
         return i % 3 == 0 ? dice.InCube(1.0) : Vector3d(static_cast<double>(i % 5), 0.0, 0.0);
       });
     },
     true},
    {"on a line, evenly",
     [](std::size_t n, Dice&) {
       return Filled(n, [](std::size_t i) { return Vector3d(0, 0, static_cast<double>(i)); });
     },
     true},
    {"on a lattice",
     [](std::size_t n, Dice& dice) {
       PointList points = Filled(n, [](std::size_t i) {
         return Vector3d(static_cast<double>(i % 20), static_cast<double>(i / 20 % 20),
                         static_cast<double>(i / 400));
       });
       dice.Shuffle(points);
       return points;
     },
     true},
    {"so near that squares underflow",
     [](std::size_t n, Dice& dice) {
       return Filled(n, [&](std::size_t i) { return dice.InCube(i % 2 == 0 ? 1e-160 : 1.0); });
     },
     true},
};

cylinder::Points ToPoints(const PointList& list) {
  cylinder::Points points(static_cast<Index>(list.size()));
  for (std::size_t i = 0; i < list.size(); ++i) points.set(static_cast<Index>(i), list[i]);
  return points;
}

std::vector<std::size_t> Sizes() {
  return test::Draws(2, 1) == 2 ? std::vector<std::size_t>{10, 60, 500, 5000}
                                : std::vector<std::size_t>{10, 60, 500};
}

/// Calls `check` with each family in each size.
template <typename Check>
void ForFamilies(const Check& check) {
  for (const Family& family : kFamilies) {
    for (const std::size_t n : Sizes()) {
      SCOPED_TRACE(std::string(family.name) + ", " + std::to_string(n));
      Dice dice(n);
      const PointList points = family.make(n, dice);
      ASSERT_EQ(points.size(), n);
      check(points, family.ties, dice);
      if (::testing::Test::HasFailure()) return;
    }
  }
}

std::vector<Index> Places(std::span<cylinder::Neighbour> found) {
  std::sort(found.begin(), found.end());
  std::vector<Index> places;
  for (const cylinder::Neighbour& near : found) places.push_back(near.place);
  return places;
}

TEST(CylinderNeighbours, AreThoseOfALookAtAllDistances) {
  ForFamilies([](const PointList& list, bool, Dice&) {
    const cylinder::Points points = ToPoints(list);
    const PlainFilters plain = PlainFilters::ByAllDistances(points);
    const double anywhere = std::numeric_limits<double>::infinity();
    for (const auto& [count, radius] :
         {std::pair(std::size_t{9}, anywhere), {17, anywhere}, {48, 0.5}}) {
      cylinder::NeighbourCells cells(points, count, radius);
      std::vector<std::uint32_t> order = cells.order();
      // The order holds all of them once.
      std::sort(order.begin(), order.end());
      for (std::size_t i = 0; i < order.size(); ++i) ASSERT_EQ(order[i], i);
      const std::size_t step = list.size() > 1000 ? 3 : 1;
      for (std::size_t i = 0; i < order.size(); i += step) {
        const auto place = static_cast<Index>(i);
        ASSERT_EQ(Places(cells.Of(place)), plain.Nearest(place, count, radius))
            << count << " of " << i;
      }
    }
  });
}

TEST(CylinderNeighbours, ATreeOfDistinctPointsFindsThemAll) {
  ForFamilies([](const PointList& list, bool, Dice&) {
    const cylinder::Points points = ToPoints(list);
    const PlainFilters plain = PlainFilters::ByAllDistances(points);
    cylinder::DistinctNeighbourhood tree(points);
    std::vector<cylinder::Neighbour> found;
    for (std::size_t i = 0; i < list.size(); i += 1 + list.size() / 500) {
      const auto place = static_cast<Index>(i);
      tree.First(points.at(place), 17, found);
      ASSERT_EQ(Places(found), plain.Nearest(place, 17, std::numeric_limits<double>::infinity()));
    }
  });
}

TEST(CylinderNeighbours, ShowAllAroundAPoint) {
  Dice dice(1);
  const cylinder::Points points = ToPoints(Scan(3000, dice, true));
  cylinder::NeighbourCells cells(points, 9);
  ASSERT_GT(cells.squared_view(), 0.0);
  for (std::size_t number = 0; number < cells.order().size(); ++number) {
    const auto i = static_cast<Index>(cells.order()[number]);
    int seen = 0, there = 0;
    const bool shown = cells.SeeAround(number, [&](double squared, Index place) {
      ASSERT_NEAR(squared, (points.at(place) - points.at(i)).squaredNorm(), 1e-12);
      seen += squared <= cells.squared_view() ? 1 : 0;
    });
    ASSERT_TRUE(shown);
    for (Index j = 0; j < points.size(); ++j)
      there += (points.at(j) - points.at(i)).squaredNorm() <= cells.squared_view() ? 1 : 0;
    ASSERT_EQ(seen, there) << i;
  }
}

TEST(CylinderNeighbours, IsolatedPointsAreThoseOfEverySpacing) {
  ForFamilies([](const PointList& list, bool, Dice&) {
    const cylinder::Points points = ToPoints(list);
    const std::vector<bool> marked = cylinder::MarkIsolated(points);
    EXPECT_EQ(marked, PlainFilters::ByAllDistances(points).MarkIsolated());
  });
}

TEST(CylinderNeighbours, PointsTooFarApartForASquareCountWhatIsFound) {
  Dice dice(1);
  PointList list = Scan(100, dice, false);
  for (int i = 1; i < 60; ++i) list.emplace_back(0.0, 1e200 * i, 0.0);
  const cylinder::Points points = ToPoints(list);
  EXPECT_EQ(cylinder::MarkIsolated(points), PlainFilters::ByAllDistances(points).MarkIsolated());
}

TEST(CylinderNeighbours, EndFacesAreThoseOfEveryPatch) {
  int faces = 0;
  ForFamilies([&faces](const PointList& list, bool ties, Dice&) {
    const cylinder::Points points = ToPoints(list);
    for (const Vector3d& axis :
         {Vector3d(Vector3d::UnitZ()), Vector3d(Vector3d(0.1, 0.2, 1.0).normalized())}) {
      const std::vector<bool> marked = cylinder::MarkEndFaces(points, axis);
      EXPECT_EQ(marked, PlainFilters::ByAllDistances(points).MarkEndFaces(axis));
      if (!ties) {
        EXPECT_EQ(marked, PlainFilters::ByTree(points).MarkEndFaces(axis));
      }
      faces += std::count(marked.begin(), marked.end(), true) > 0 ? 1 : 0;
    }
  });
  EXPECT_GE(faces, 8);
}

TEST(CylinderNeighbours, PoorSamplesAreThoseOfAllNeighbours) {
  std::size_t removed = 0;
  ForFamilies([&removed](const PointList& list, bool ties, Dice& dice) {
    const cylinder::Points points = ToPoints(list);
    // A wall that shimmers, or one with hardly a poor sample.
    const double least = dice.Even() < 0.5 ? 10.0 : 75.0;
    std::vector<double> qualities;
    std::vector<std::size_t> numbers;
    for (std::size_t i = 0; i < list.size(); ++i) {
      qualities.push_back(dice.Even(least, 100.0));
      numbers.push_back(i);
    }
    const std::vector<bool> poor = PlainFilters::ByAllDistances(points).MarkPoor(qualities);
    if (!ties) {
      EXPECT_EQ(poor, PlainFilters::ByTree(points).MarkPoor(qualities));
    }
    PointList kept = list;
    removed += ThreadedCylinderFitter::RemoveLowQuality(kept, qualities, &numbers);
    std::vector<bool> gone(list.size(), true);
    for (const std::size_t i : numbers) gone[i] = false;
    EXPECT_EQ(gone, poor) << least;
  });
  // Enough of them to tell; the sanitized families are smaller.
  EXPECT_GT(removed, static_cast<std::size_t>(test::Draws(500, 100)));
}

TEST(CylinderNeighbours, SamplesTooFarApartForASquareAreNoCompany) {
  PointList points;
  for (int i = 0; i < 8; ++i) points.emplace_back(1e200 * i, 0.0, 0.0);
  std::vector<double> qualities = {10.0, 90.0, 90.0, 90.0, 90.0, 90.0, 90.0, 90.0};
  EXPECT_EQ(ThreadedCylinderFitter::RemoveLowQuality(points, qualities), 0u);
  EXPECT_EQ(points.size(), 8u);
}

// Queries that look at all points, one each, would go on for minutes.
TEST(CylinderNeighbours, NoLayoutOfManyPointsTakesLong) {
  const std::size_t n = test::Draws(50000, 10000);
  for (const Family& family : kFamilies) {
    SCOPED_TRACE(family.name);
    Dice dice(1);
    PointList list = family.make(n, dice);
    const cylinder::Points points = ToPoints(list);
    EXPECT_EQ(cylinder::MarkIsolated(points).size(), n);
    EXPECT_EQ(cylinder::MarkEndFaces(points, Vector3d::UnitZ()).size(), n);
    std::vector<double> qualities(n, 80.0);
    EXPECT_EQ(ThreadedCylinderFitter::RemoveLowQuality(list, qualities), 0u);
  }
}

}  // namespace
}  // namespace libmfx::geometry
