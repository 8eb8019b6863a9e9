// The iterative cuts against a plain transcription of their steps, the rule of the half, and how
// much of an outlier they bear.

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "binary_cuts.h"
#include "libmfx/math/gaussian_window.h"
#include "outlier_scene.h"
#include "random_cases.h"

namespace libmfx::geometry {
namespace {

using data_structures::EMBEDDING_AER;
using data_structures::EMBEDDING_XYZ;
using data_structures::PointCloud;
using data_structures::PointXYZW;
using Eigen::Index;
using Eigen::Vector3d;
using tests::Draws;
using tests::OutlierScene;
using Arguments = CutArguments;

constexpr double kEpsilon = 2.220446049250313e-16;

/// The same operation, step after step, with no thought of speed or memory.
class PlainCuts {
 public:
  PlainCuts(Bins bins, const Arguments& a) : _a(a) {
    for (auto& bin : bins) {
      for (PointCloud& line : bin) {
        line.Convert(EMBEDDING_XYZ);
        _lines.push_back(line);
      }
    }
    Index total = 0;
    for (const PointCloud& line : _lines) total += line.cols();
    Eigen::MatrixXd work(5, total);
    Index at = 0;
    for (const PointCloud& line : _lines) {
      for (Index i = 0; i < line.cols(); ++i) work.col(at++) = line.data().col(i);
    }
    _work = PointCloud(work);
    _weights = Eigen::VectorXd::Zero(total);
  }

  bool Run() {
    Select();
    if (!plane.LeastSquares(_work, _weights)) return false;
    for (int round = 0; round < 10; ++round) {
      double worst = 0.0;
      for (Index i = 0; i < _work.cols(); ++i) {
        if (_weights[i] > 0.0) worst = std::max(worst, plane.Distance(_work.point(i)));
      }
      if (worst < _a.tolerance) break;
      // All points left lie in the plane but for the rounding of their coordinates, metres: which
      // of them is farther than half of the worst no two ways of computing agree on.
      hangs_on_rounding = hangs_on_rounding || worst < 1e-13;
      for (Index i = 0; i < _work.cols(); ++i) {
        _weights[i] = plane.Distance(_work.point(i)) <= worst * 0.5 ? 1.0 : 0.0;
      }
      Reweigh();
      if (!plane.LeastSquares(_work, _weights)) return false;
    }
    return plane.IsValid();
  }

  /// Of one line: the columns kept, and their weights.
  std::vector<std::pair<Index, double>> Kept(std::size_t line) const {
    Index base = 0;
    for (std::size_t l = 0; l < line; ++l) base += _lines[l].cols();
    const Index last = _lines[line].cols() - 1;
    std::vector<std::pair<Index, double>> kept;
    for (Index i = 0; i <= last; ++i) {
      const double own = _weights[base + i];
      const double next = _weights[base + std::min(i + 1, last)];
      const double previous = _weights[base + std::max<Index>(i - 1, 0)];
      if (own > kEpsilon || (_a.keep_neighbours && (next > kEpsilon || previous > kEpsilon))) {
        kept.emplace_back(i, own);
      }
    }
    return kept;
  }

  const PointCloud& Line(std::size_t line) const { return _lines[line]; }

  Plane plane;
  bool hangs_on_rounding = false;

 private:
  void Select() {
    Index base = 0;
    for (const PointCloud& line : _lines) {
      for (Index i = 0; i < line.cols(); ++i) {
        const double distance = Distance(_a.center, _work.point(base + i));
        if (_a.min_distance <= distance && distance <= _a.max_distance &&
            _a.min_quality < line.data()(3, i)) {
          _weights[base + i] = 1.0;
        }
      }
      const int k = static_cast<int>(_weights.segment(base, line.cols()).sum());
      if (k != 0) {
        Multiply(base, line.cols(), math::GaussianWindow(static_cast<unsigned>(k), _a.first_sigma));
        base += line.cols();
      }
    }
  }

  void Reweigh() {
    Index base = 0;
    for (const PointCloud& line : _lines) {
      Index k = line.cols();
      for (Index i = 0; i < line.cols(); ++i) {
        if (_weights[base + i] < kEpsilon) {
          _weights[base + i] = 0.0;
          --k;
        }
      }
      if (k > 0) {
        Multiply(base, line.cols(), math::GaussianWindow(static_cast<unsigned>(k), _a.cut_sigma));
        base += line.cols();
      }
    }
  }

  void Multiply(Index base, Index columns, const std::vector<double>& window) {
    std::size_t next = 0;
    for (Index i = base; i < base + columns; ++i) {
      if (_weights[i] > 0.0) _weights[i] *= window.at(next++);
    }
  }

  Arguments _a;
  std::vector<PointCloud> _lines;
  PointCloud _work;
  Eigen::VectorXd _weights;
};

/// Up to 3 bins of up to 5 lines of up to 14 samples near a plane, with outliers, gaps in the
/// quality, lines that lie out of reach, and lines in spherical coordinates.
Bins RandomBins(Draws& draws) {
  const Eigen::Matrix3d frame = draws.Rotation();
  Bins bins(1 + static_cast<std::size_t>(draws.Uniform() * 3));
  for (auto& bin : bins) {
    const int lines = static_cast<int>(draws.Uniform() * 6);
    for (int l = 0; l < lines; ++l) {
      Eigen::MatrixXd data(5, static_cast<Index>(draws.Uniform() * 15));
      const bool poor = draws.Uniform() < 0.2;
      const double far = draws.Uniform() < 0.15 ? 2.0 : 0.0;
      for (Index i = 0; i < data.cols(); ++i) {
        const double z = draws.Uniform() < 0.2 ? draws.Within(0, 0.3) : 1e-3 * draws.Normal();
        data.col(i).head<3>() =
            Vector3d(0, 0, 3) + frame * Vector3d(draws.Within(-1, 1) + far, draws.Within(-1, 1), z);
        data.col(i).tail<2>() << (poor || draws.Uniform() < 0.1 ? 20.0 : 90.0), 3.0;
      }
      bin.emplace_back(data, PointCloud::Embeddings{{EMBEDDING_XYZ, {0}}});
      if (draws.Uniform() < 0.3) bin.back().Convert(EMBEDDING_AER);
    }
  }
  return bins;
}

TEST(BinaryCutsProperty, TheStepsAreThoseOfThePlainForm) {
  int runs_with_result = 0;
  int runs_without = 0;
  rc::check([&](std::uint64_t seed) {
    Draws draws(seed);
    const Bins bins = RandomBins(draws);
    Arguments a;
    a.center = PointXYZW(0, 0, 3);
    a.min_distance = draws.Within(0, 0.3);
    a.max_distance = draws.Within(0.8, 2.5);
    a.first_sigma = draws.Within(0.1, 2.0);
    a.cut_sigma = draws.Within(0.1, 2.0);
    a.tolerance = draws.Uniform() < 0.2 ? 0.0 : draws.Within(1e-3, 0.1);
    a.keep_neighbours = draws.Uniform() < 0.5;
    PlainCuts plain(bins, a);
    Plane plane;
    Bins selected;
    const bool expected = plain.Run();
    const bool cut = Cut(plane, bins, selected, a);
    if (plain.hangs_on_rounding) return;
    RC_ASSERT(cut == expected);
    ++(expected ? runs_with_result : runs_without);
    if (!expected) return;
    RC_ASSERT((plane.TBN() - plain.plane.TBN()).norm() < 1e-9);
    RC_ASSERT((plane.Point() - plain.plane.Point()).norm() < 1e-12);
    RC_ASSERT(selected.size() == bins.size());
    std::size_t line = 0;
    for (std::size_t b = 0; b < bins.size(); ++b) {
      RC_ASSERT(selected[b].size() == bins[b].size());
      for (const PointCloud& cloud : selected[b]) {
        const auto kept = plain.Kept(line);
        RC_ASSERT(cloud.rows() == 6);
        RC_ASSERT(cloud.cols() == static_cast<Index>(kept.size()));
        for (Index k = 0; k < cloud.cols(); ++k) {
          const auto& [column, weight] = kept[static_cast<std::size_t>(k)];
          RC_ASSERT(cloud.data().col(k).head(5) == plain.Line(line).data().col(column));
          RC_ASSERT(cloud.data()(5, k) == weight);
        }
        ++line;
      }
    }
  });
  EXPECT_GT(runs_with_result, 30);
  EXPECT_GT(runs_without, 3);
}

/// Weights of one scan line of `columns` samples, of which those marked are in use.
Eigen::VectorXd WindowOver(const std::vector<bool>& in_use, double sigma) {
  const auto used = static_cast<unsigned>(std::count(in_use.begin(), in_use.end(), true));
  const std::vector<double> window = math::GaussianWindow(used, sigma);
  Eigen::VectorXd weights = Eigen::VectorXd::Zero(static_cast<Index>(in_use.size()));
  std::size_t next = 0;
  for (std::size_t i = 0; i < in_use.size(); ++i) {
    if (in_use[i]) weights[static_cast<Index>(i)] = window[next++];
  }
  return weights;
}

double Worst(const Plane& plane, const PointCloud& line, const std::vector<bool>& in_use) {
  double worst = 0.0;
  for (std::size_t i = 0; i < in_use.size(); ++i) {
    if (in_use[i]) worst = std::max(worst, plane.Distance(line.point(static_cast<Index>(i))));
  }
  return worst;
}

TEST(BinaryCutsProperty, ACutNeverKeepsASampleBeyondHalfOfTheWorst) {
  rc::check([](std::uint64_t seed) {
    Draws draws(seed);
    Eigen::MatrixXd data(5, 60);
    for (Index i = 0; i < 60; ++i) {
      data.col(i) << draws.InCube(), 90.0, 1.0;
      data(2, i) *= draws.Uniform() < 0.3 ? 0.4 : 0.02;
    }
    const PointCloud line(data, {{EMBEDDING_XYZ, {0}}});
    std::vector<bool> in_use(60, true);
    Plane first;
    RC_ASSERT(first.LeastSquares(line, WindowOver(in_use, 1.0)));
    const double half = 0.5 * Worst(first, line, in_use);
    for (std::size_t i = 0; i < 60; ++i) {
      in_use[i] = first.Distance(line.point(static_cast<Index>(i))) <= half;
    }
    Plane second;
    RC_ASSERT(second.LeastSquares(line, WindowOver(in_use, 1.0)));
    const double worst_after = Worst(second, line, in_use);
    RC_PRE(worst_after < 2.0 * half);
    // A tolerance between the two worst residuals: the operation stops after its first cut.
    Arguments a;
    a.max_distance = 3.0;
    a.tolerance = 0.5 * (worst_after + 2.0 * half);
    Plane plane;
    Bins selected;
    RC_ASSERT(Cut(plane, {{line}}, selected, a));
    const PointCloud& kept = selected[0][0];
    RC_ASSERT(kept.cols() == std::count(in_use.begin(), in_use.end(), true));
    for (Index k = 0; k < kept.cols(); ++k) RC_ASSERT(first.Distance(kept.point(k)) <= half);
  });
}

TEST(BinaryCutsProperty, RigidMotionCommutes) {
  rc::check([](std::uint64_t seed) {
    OutlierScene scene;
    scene.samples = 40;
    const Bins bins = scene.Make(seed);
    Draws draws(seed + 1);
    const Eigen::Matrix3d rotation = draws.Rotation();
    const Vector3d shift = draws.InCube();
    Bins moved = bins;
    for (PointCloud& line : moved[0]) {
      line.data().topRows(3) = ((rotation * line.data().topRows(3)).colwise() + shift).eval();
    }
    Arguments a;
    a.tolerance = 50e-6;
    a.center = PointXYZW(scene.center);
    Plane before, after;
    Bins selected;
    RC_ASSERT(Cut(before, bins, selected, a));
    a.center = PointXYZW(Vector3d(rotation * scene.center + shift));
    RC_ASSERT(Cut(after, moved, selected, a));
    RC_ASSERT((rotation * before.Point().xyz() + shift - after.Point().xyz()).norm() < 1e-13);
    RC_ASSERT((rotation * before.Normal().xyz()).cross(after.Normal().xyz()).norm() < 1e-11);
  });
}

/// Worst height and tilt errors over seeds for one kind of outliers.
struct WorstErrors {
  double height = 0.0;
  double tilt = 0.0;
  int failures = 0;

  WorstErrors(OutlierScene scene, double tolerance) {
    for (std::uint64_t seed = 1; seed <= test::Draws(30, 4); ++seed) {
      const Bins bins = scene.Make(seed);
      Arguments a;
      a.center = PointXYZW(scene.center);
      a.tolerance = tolerance;
      Plane plane;
      Bins selected;
      if (!Cut(plane, bins, selected, a)) {
        ++failures;
        continue;
      }
      height = std::max(height, scene.HeightError(plane));
      tilt = std::max(tilt, scene.TiltError(plane));
    }
  }
};

TEST(BinaryCutsRobustness, UpToThirtyPercentOnOneSideLeaveThePlaneWithinItsBound) {
  // The bounds stated in docs/robust-surface.md, for noise of 10 µm: with a tolerance of five times
  // the noise, and with one of half a millimetre, below the shallowest outlier.
  for (const auto& [tolerance, height_bound, tilt_bound] :
       {std::tuple{50e-6, 15e-6, 0.4e-3}, std::tuple{0.5e-3, 25e-6, 0.7e-3}}) {
    for (const auto lines : {tests::Lines::kStar, tests::Lines::kParallel}) {
      for (const auto kind :
           {tests::Outliers::kScattered, tests::Outliers::kWall, tests::Outliers::kStep}) {
        for (const double fraction : {0.1, 0.2, 0.3}) {
          OutlierScene scene;
          scene.lines = lines;
          scene.outliers = kind;
          scene.fraction = fraction;
          const WorstErrors errors(scene, tolerance);
          SCOPED_TRACE(testing::Message() << "lines " << int(lines) << " outliers " << int(kind)
                                          << " fraction " << fraction);
          EXPECT_EQ(errors.failures, 0);
          EXPECT_LT(errors.height, height_bound);
          EXPECT_LT(errors.tilt, tilt_bound);
        }
      }
    }
  }
}

TEST(BinaryCutsRobustness, AStepUnderFortyPercentOfParallelLinesIsBeyondTheCuts) {
  // Documented, so that nobody takes the cuts for a robust estimator of any share: the first fit
  // leans over the step, and no cut leads back. A check of the normal against the nominal catches
  // it, as the tilt is 0.2 rad.
  OutlierScene scene;
  scene.lines = tests::Lines::kParallel;
  scene.outliers = tests::Outliers::kStep;
  scene.fraction = 0.4;
  const Bins bins = scene.Make(1);
  Arguments a;
  a.center = PointXYZW(scene.center);
  a.tolerance = 0.5e-3;
  Plane plane;
  Bins selected;
  ASSERT_TRUE(Cut(plane, bins, selected, a));
  EXPECT_GT(scene.TiltError(plane), 0.1);
}

}  // namespace
}  // namespace libmfx::geometry
