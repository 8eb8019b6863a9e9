// What speaks against a plane of few samples: strays that turn it, steps, and samples that are too
// few.

#include "features/pvi/doubts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <utility>
#include <vector>

namespace libmfx::features::pvi {
namespace {

using data_structures::PointXYZW;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr double kBox = 0.004;   // side, metres
constexpr double kNoise = 1e-5;  // metres
constexpr double kRange = 2.0;   // of the surface, which is square to the beam

/// The height of a surface above its nominal plane, towards the instrument, metres.
using Height = std::function<double(double x, double y)>;

/// A box of `side` by `side` samples with noise.
Eigen::Matrix3Xd Samples(int side, const Height& height, unsigned int seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> noise(0.0, kNoise);
  Eigen::Matrix3Xd samples(3, side * side);
  for (int i = 0; i < side; ++i) {
    for (int j = 0; j < side; ++j) {
      const double x = kBox * (i / (side - 1.0) - 0.5), y = kBox * (j / (side - 1.0) - 0.5);
      samples.col(i * side + j) << x, y, kRange - height(x, y) - noise(random);
    }
  }
  return samples;
}

/// The box with a plane that was fitted to all of its samples.
SeenBox Fitted(const Eigen::Matrix3Xd& samples) {
  SeenBox box{samples, samples, {}, PointXYZW(0, 0, kRange)};
  EXPECT_TRUE(box.plane.LeastSquares(data_structures::PointCloud(Eigen::MatrixXd(samples))));
  return box;
}

double Flat(double /*x*/, double /*y*/) { return 0.0; }

TEST(PviDoubts, FlatSurfacesLeaveNone) {
  int doubted = 0;
  for (unsigned int seed = 0; seed < 500; ++seed) {
    for (const int side : {5, 6, 10}) {
      const SeenBox box = Fitted(Samples(side, Flat, seed));
      if (!DoubtsOfPlane(box).empty() || !DoubtsOfFlatness(box).empty()) ++doubted;
    }
  }
  EXPECT_LE(doubted, 1);
}

TEST(PviDoubts, AStrayInACornerThatTurnsThePlaneIsTold) {
  for (const double off : {-0.005, -0.001, 0.0006, 0.005}) {
    Eigen::Matrix3Xd samples = Samples(6, Flat, 7);
    samples(2, 35) += off;
    const SeenBox box = Fitted(samples);
    EXPECT_THAT(DoubtsOfPlane(box),
                ElementsAre(testing::AllOf(HasSubstr("The plane that most of the samples lie in"),
                                           HasSubstr("3 % of the samples are astray"))))
        << off;
  }
}

TEST(PviDoubts, AStrayThatWasPeeledOffIsNone) {
  Eigen::Matrix3Xd samples = Samples(6, Flat, 7);
  samples(2, 20) += 0.005;
  SeenBox box{samples, {}, {}, PointXYZW(0, 0, kRange)};
  box.kept.resize(3, 35);
  box.kept << samples.leftCols(20), samples.rightCols(15);
  ASSERT_TRUE(box.plane.LeastSquares(data_structures::PointCloud(Eigen::MatrixXd(box.kept))));
  EXPECT_THAT(DoubtsOfPlane(box), IsEmpty());
  EXPECT_THAT(DoubtsOfFlatness(box), IsEmpty());
}

TEST(PviDoubts, AThirdOfTheSamplesOnSomethingElseIsTold) {
  const SeenBox box = Fitted(Samples(
      6, [](double x, double /*y*/) { return x > 0.0008 ? 0.003 : 0.0; }, 3));
  EXPECT_THAT(DoubtsOfPlane(box), ElementsAre(HasSubstr("33 % of the samples are astray")));
}

TEST(PviDoubts, StepsAndCurvesAreTold) {
  const Height step = [](double x, double /*y*/) { return x > 0.0 ? 0.0001 : 0.0; };
  const Height curve = [](double x, double y) { return -(x * x + y * y) / (2.0 * 0.03); };
  for (const Height& height : {step, curve}) {
    const SeenBox box = Fitted(Samples(6, height, 5));
    EXPECT_FALSE(DoubtsOfPlane(box).empty() && DoubtsOfFlatness(box).empty());
  }
  const SeenBox curved = Fitted(Samples(6, curve, 5));
  EXPECT_THAT(DoubtsOfFlatness(curved),
              ElementsAre(HasSubstr("The samples do not lie in one plane: the surface turns by")));
  // A panel that curves as a car body does turns by next to nothing over a box of 4 mm.
  const Height panel = [](double x, double /*y*/) { return -x * x / (2.0 * 0.5); };
  EXPECT_THAT(DoubtsOfFlatness(Fitted(Samples(6, panel, 5))), IsEmpty());
}

TEST(PviDoubts, FewSamplesThatScatterLeaveTheNormalOpen) {
  Eigen::Matrix3Xd samples = Samples(5, Flat, 2);
  // Along a line across the box: nothing tells how the surface leans about it.
  samples.row(1) *= 0.05;
  EXPECT_THAT(DoubtsOfPlane(Fitted(samples)), ElementsAre(HasSubstr("The normal may be off by")));
}

TEST(PviDoubts, ThePlaneOfAFewOfManyIsTold) {
  EXPECT_THAT(DoubtsOfCount(8, 25),
              ElementsAre(HasSubstr("rests on 8 samples of the 25 asked for")));
  EXPECT_THAT(DoubtsOfCount(9, 25), IsEmpty());
  EXPECT_THAT(DoubtsOfCount(5, 9), IsEmpty());
  EXPECT_THAT(DoubtsOfCount(4, 4), IsEmpty());
}

TEST(PviDoubts, ANormalFarFromItsNominalIsTold) {
  EXPECT_THAT(DoubtsOfDirection(0.2), IsEmpty());
  EXPECT_THAT(DoubtsOfDirection(0.21), ElementsAre(HasSubstr("leans 12 degrees from")));
}

TEST(PviDoubts, SamplesThatCannotBeJudgedLeaveNone) {
  const Eigen::Matrix3Xd same = Eigen::Matrix3Xd::Constant(3, 20, 1.0);
  const SeenBox box{same, same, geometry::Plane(PointXYZW(1, 1, 1), {0, 0, -1}),
                    PointXYZW(1, 1, 1)};
  EXPECT_THAT(DoubtsOfPlane(box), IsEmpty());
  EXPECT_THAT(DoubtsOfFlatness(box), IsEmpty());
}

TEST(PviDoubts, NumbersThatAreNoneOrAbsurdLeaveNone) {
  for (const double absurd : {std::nan(""), HUGE_VAL, 1e308, -1e200}) {
    SeenBox box = Fitted(Samples(6, Flat, 9));
    box.samples(1, 17) = box.kept(1, 17) = absurd;
    EXPECT_LE(DoubtsOfPlane(box).size(), 1U) << absurd;
    EXPECT_THAT(DoubtsOfFlatness(box), IsEmpty()) << absurd;
  }
}

TEST(PviDoubts, ManySamplesAreJudgedByAFew) {
  Eigen::Matrix3Xd samples = Samples(100, Flat, 4);
  EXPECT_THAT(DoubtsOfPlane(Fitted(samples)), IsEmpty());
  for (Eigen::Index i = 0; i < 2000; ++i) samples(2, i) += 0.002;
  EXPECT_THAT(DoubtsOfPlane(Fitted(samples)), ElementsAre(HasSubstr("20 % of the samples")));
}

}  // namespace
}  // namespace libmfx::features::pvi
