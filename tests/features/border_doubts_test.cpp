#include "features/shared/border_doubts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>

#include "messages/text.h"

namespace libmfx::features::shared {
namespace {

using data_structures::AzElRange;
using data_structures::EMBEDDING_XYZ;
using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::RawDataPoint;
using data_structures::VectorXYZW;
using messages::MillimetreText;
using messages::PercentText;
using messages::RoundedText;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr double kSpacing = 1e-4;
constexpr int kSamples = 50;
const geometry::Plane kSurface(PointXYZW(0, 0, 2), VectorXYZW(0, 0, -1));

/// A sample of a line: how deep it lies below the surface, and its quality.
struct Sample {
  double depth = 0.0;
  double quality = 80.0;
  bool lost = false;
};

/// Lines along x towards a border at x = 0, a millimetre apart; sample i of a line lies i spacings
/// before the border.
struct Scan {
  std::vector<RawDataPoint> samples;
  std::vector<PointCloud> lines;  ///< what passes the threshold and lies on the surface
  double threshold = 50.0;

  std::vector<std::string> Doubts() const {
    std::vector<BorderLine> group;
    for (const PointCloud& line : lines) {
      if (line.cols() == 0) continue;
      group.push_back({static_cast<int>(line.data()(4, 0)), line.point(line.cols() - 1), &line});
    }
    return DoubtsOfBorder({group}, {kSurface, samples, threshold, kSpacing, PointXYZW()});
  }
};

Scan Made(int lines, const std::function<Sample(int)>& sample_at, double spacing = kSpacing,
          double threshold = 50.0, const std::function<double()>& noise = nullptr) {
  Scan scan;
  scan.threshold = threshold;
  for (int k = 0; k < lines; ++k) {
    Eigen::MatrixXd kept(5, kSamples);
    Eigen::Index count = 0;
    for (int i = kSamples - 1; i >= 0; --i) {
      const Sample sample = sample_at(i);
      if (sample.lost) continue;
      // The beam crosses the surface at the place of the sample, and goes on to its depth.
      const PointXYZW on_surface(-spacing * i + (noise ? noise() : 0.0), 1e-3 * k, 2.0);
      const double stretch = (2.0 + sample.depth) / 2.0;
      const PointXYZW p(on_surface.x() * stretch, on_surface.y() * stretch, 2.0 * stretch);
      const AzElRange beam(p);
      scan.samples.emplace_back(beam.azimuth, beam.elevation, beam.range, sample.quality, k);
      if (sample.quality < threshold || std::abs(sample.depth) > 3.0 * kSpacing) continue;
      kept.col(count++) << p.xyz(), sample.quality, k;
    }
    scan.lines.emplace_back(Eigen::MatrixXd(kept.leftCols(count)),
                            PointCloud::Embeddings{{EMBEDDING_XYZ, {0}}});
  }
  return scan;
}

/// Whether one of every `n` samples, the last but one on each line's end excepted.
bool OneOf(int n, int i) { return i % n == n - 2; }

TEST(BorderDoubts, EvenLinesLeaveNone) {
  EXPECT_THAT(Made(8, [](int) { return Sample{}; }).Doubts(), IsEmpty());
  EXPECT_THAT(Made(
                  8, [](int) { return Sample{}; }, 0.3 * kSpacing)
                  .Doubts(),
              IsEmpty());
}

TEST(BorderDoubts, NoiseOfHalfASpacingLeavesNone) {
  std::mt19937 rng(12);
  std::normal_distribution<double> normal(0.0, 0.5 * kSpacing);
  const auto noise = [&] { return normal(rng); };
  EXPECT_THAT(Made(
                  8, [](int) { return Sample{}; }, kSpacing, 50.0, noise)
                  .Doubts(),
              IsEmpty());
}

TEST(BorderDoubts, ASixthMayBeMissing) {
  const auto lost = [](int n) { return [n](int i) { return Sample{.lost = OneOf(n, i)}; }; };
  EXPECT_THAT(Made(8, lost(7)).Doubts(), IsEmpty());
  EXPECT_THAT(Made(8, lost(5)).Doubts(), ElementsAre(HasSubstr("did not come back")));
}

TEST(BorderDoubts, SamplesBelowTheThresholdAreNamedWithTheirQuality) {
  const auto weak = [](int i) { return Sample{.quality = i % 3 == 1 ? 71.5 : 80.0}; };
  EXPECT_THAT(Made(8, weak, kSpacing, 75.0).Doubts(),
              ElementsAre("35 % of the surface's samples within 2 mm of the border lie below the "
                          "quality threshold of 75 (half of these at 71.5 or below): the border is "
                          "read too far out. Lower the threshold, or look from a smaller angle."));
  EXPECT_THAT(Made(8, weak, kSpacing, 70.0).Doubts(), IsEmpty());
}

TEST(BorderDoubts, AGrooveBeforeTheBorderIsNamedWithItsDepth) {
  const auto groove = [](int from) {
    return [from](int i) { return Sample{.depth = i >= from && i < from + 6 ? 0.0012 : 0.0}; };
  };
  EXPECT_THAT(Made(8, groove(4)).Doubts(),
              ElementsAre(testing::AllOf(HasSubstr("30 % of"), HasSubstr("lie off the surface"),
                                         HasSubstr("by 1.2 mm or more"))));
}

TEST(BorderDoubts, WhatIsMissingFarFromTheBorderMattersToNobody) {
  EXPECT_THAT(
      Made(8, [](int i) { return Sample{.depth = i >= 25 && i < 45 ? 0.0012 : 0.0}; }).Doubts(),
      IsEmpty());
  EXPECT_THAT(Made(8, [](int i) { return Sample{.lost = i > 20}; }).Doubts(), IsEmpty());
  EXPECT_THAT(Made(8, [](int i) { return Sample{.quality = i > 21 ? 20.0 : 80.0}; }).Doubts(),
              IsEmpty());
}

TEST(BorderDoubts, ACoarserSpacingIsTold) {
  const auto even = [](int) { return Sample{}; };
  EXPECT_THAT(Made(8, even, 1.4 * kSpacing).Doubts(), IsEmpty());
  EXPECT_THAT(Made(8, even, 3.0 * kSpacing).Doubts(),
              ElementsAre(HasSubstr("lie 0.3 mm apart, where 0.1 mm was asked for")));
}

TEST(BorderDoubts, SamplesLostAtRandomAreDoubtedAtAnyShare) {
  for (const double share : {0.25, 0.5}) {
    std::mt19937 rng(11);
    std::bernoulli_distribution is_lost(share);
    const Scan scan = Made(8, [&](int) { return Sample{.lost = is_lost(rng)}; });
    EXPECT_THAT(scan.Doubts(), ElementsAre(HasSubstr("did not come back"))) << share;
  }
}

TEST(BorderDoubts, GroupsAreJudgedOnTheirOwn) {
  const Scan good = Made(7, [](int) { return Sample{}; });
  Scan bad = Made(1, [](int i) { return Sample{.lost = OneOf(3, i)}; });
  for (RawDataPoint& sample : bad.samples) sample.status = 40;
  bad.lines.front().data().row(4).setConstant(40);
  std::vector<RawDataPoint> samples = good.samples;
  samples.insert(samples.end(), bad.samples.begin(), bad.samples.end());
  std::vector<BorderLine> one, other;
  for (const PointCloud& line : good.lines) {
    one.push_back({static_cast<int>(line.data()(4, 0)), line.point(line.cols() - 1), &line});
  }
  const PointCloud& line = bad.lines.front();
  other.push_back({40, line.point(line.cols() - 1), &line});
  const SurfaceScan scan{kSurface, samples, 50.0, kSpacing, PointXYZW()};
  EXPECT_THAT(DoubtsOfBorder({one, other}, scan), ElementsAre(HasSubstr("did not come back")));
  EXPECT_THAT(DoubtsOfBorder({one}, scan), IsEmpty());
  one.insert(one.end(), other.begin(), other.end());
  EXPECT_THAT(DoubtsOfBorder({one}, scan), IsEmpty());
}

TEST(BorderDoubts, LinesThatTellNothingLeaveNone) {
  const SurfaceScan scan{kSurface, {}, 50.0, kSpacing, PointXYZW()};
  EXPECT_THAT(DoubtsOfBorder({}, scan), IsEmpty());
  const PointCloud empty;
  const PointCloud single(Eigen::MatrixXd(Eigen::MatrixXd::Ones(5, 1)));
  EXPECT_THAT(DoubtsOfBorder({{{1, PointXYZW(), &empty}, {1, PointXYZW(), &single}}}, scan),
              IsEmpty());
  const Scan even = Made(1, [](int) { return Sample{}; });
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const double spacing : {0.0, -kSpacing, nan}) {
    const SurfaceScan no_spacing{kSurface, even.samples, 50.0, spacing, PointXYZW()};
    EXPECT_THAT(DoubtsOfBorder({{{0, PointXYZW(0, 0, 2), &even.lines.front()}}}, no_spacing),
                IsEmpty())
        << spacing;
  }
}

TEST(BorderDoubts, AQualityThatIsNoNumberCountsAsNoEcho) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  Scan scan = Made(8, [](int i) { return Sample{.quality = i % 3 == 1 ? 20.0 : 80.0}; });
  for (RawDataPoint& sample : scan.samples) {
    if (sample.quality == 20.0) sample.quality = nan;
  }
  EXPECT_THAT(scan.Doubts(), ElementsAre(HasSubstr("did not come back")));
  // Among samples of a poor quality it does not upset their order.
  int n = 0;
  for (RawDataPoint& sample : scan.samples) {
    if (std::isnan(sample.quality) && n++ % 4 != 0) sample.quality = 40.0;
  }
  EXPECT_THAT(scan.Doubts(), ElementsAre(HasSubstr("half of these at 40 or below")));
}

TEST(BorderDoubts, LinesAreFoundByTheirNumbers) {
  const Scan scan = Made(3, [](int) { return Sample{}; });
  Eigen::MatrixXd edges(4, 3);
  edges << Eigen::MatrixXd::Zero(3, 3), Eigen::RowVector3d(2.0, 7.0, 0.0);
  const auto lines = BorderLines(PointCloud(edges), 3, scan.lines);
  ASSERT_EQ(lines.size(), 2U) << "number 7 is no line";
  EXPECT_EQ(lines[0].surface, &scan.lines[2]);
  EXPECT_EQ(lines[1].surface, &scan.lines[0]);
}

TEST(Text, ForPeople) {
  EXPECT_EQ(RoundedText(71.5), "71.5");
  EXPECT_EQ(RoundedText(1234.56), "1235");
  EXPECT_EQ(RoundedText(-0.012345), "-0.0123");
  EXPECT_EQ(MillimetreText(0.0111), "11.1 mm");
  EXPECT_EQ(MillimetreText(2.0), "2000 mm");
  EXPECT_EQ(PercentText(0.1284), "13 %");
}

}  // namespace
}  // namespace libmfx::features::shared
