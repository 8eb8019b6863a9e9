#include <algorithm>
#include <cmath>
#include <limits>
#include <ostream>
#include <vector>

#include "features/sphere_fit/spurs.h"
#include "libmfx/features/sphere_fit.h"

namespace libmfx::features {
namespace {

/// Quadrants around the nominal, then the centre patch.
constexpr int kQuadrants = 4;
constexpr int kPatch = 4;
/// Fewer points determine no sphere.
constexpr Eigen::Index kFewestPoints = 4;
/// Radius of the centre patch as a share of the ball's.
constexpr double kPatchShare = 0.35;

using Eigen::MatrixXd;

/// One column of a cloud of raw samples. Reading it needs three rows; a cloud without the row of
/// qualities has no sample that passes a threshold.
struct Sample {
  AzElRange place;
  double quality;
  bool finite;

  Sample(const MatrixXd& data, Eigen::Index i)
      : place(data.col(i).head(std::min<Eigen::Index>(data.rows(), 3))),
        quality(data.rows() > 3 ? data(3, i) : std::numeric_limits<double>::quiet_NaN()),
        finite(std::isfinite(place.azimuth) && std::isfinite(place.elevation) &&
               std::isfinite(place.range) && std::isfinite(quality)) {}
};

/// Spans of azimuth and elevation over all samples whose numbers are finite, radians.
Eigen::Array2d Extents(const PointCloud& cloud) {
  Eigen::Array2d low = Eigen::Array2d::Constant(std::numeric_limits<double>::max());
  Eigen::Array2d high = -low;
  for (Eigen::Index i = 0; i < cloud.cols(); ++i) {
    const Sample sample(cloud.data(), i);
    if (!sample.finite) continue;
    const Eigen::Array2d direction(sample.place.azimuth, sample.place.elevation);
    low = low.min(direction);
    high = high.max(direction);
  }
  return low[0] <= high[0] ? Eigen::Array2d((high - low).abs()) : Eigen::Array2d::Zero();
}

/// The quadrant of each sample, or -1 for one that has none.
using QuadrantOf = std::vector<signed char>;

/// The quadrants around `center` of the samples that `passes` does not refuse.
template <typename Passes>
QuadrantOf Quadrants(const PointCloud& cloud, const AzElRange& center, Passes passes) {
  QuadrantOf quadrants(static_cast<std::size_t>(cloud.cols()), -1);
  for (std::size_t i = 0; i < quadrants.size(); ++i) {
    const Sample sample(cloud.data(), static_cast<Eigen::Index>(i));
    if (!passes(sample)) continue;
    const bool ahead = sample.place.azimuth >= center.azimuth;
    const bool above = sample.place.elevation >= center.elevation;
    quadrants[i] = static_cast<signed char>(above ? (ahead ? 0 : 1) : (ahead ? 3 : 2));
  }
  return quadrants;
}

/// Hands the points of all quadrants to `visit`, in the order of their samples.
template <typename Visit>
void WalkQuadrants(const QuadrantOf& quadrants, const MatrixXd* filled, Visit visit) {
  Eigen::Index next[kQuadrants] = {};
  for (const signed char q : quadrants) {
    if (q >= 0) visit(filled[q].col(next[q]++));
  }
}

/// The samples of the first quadrant in order, then those of the next ones.
std::vector<std::size_t> ByQuadrant(const QuadrantOf& quadrants) {
  std::vector<std::size_t> samples;
  for (signed char q = 0; q < kQuadrants; ++q) {
    for (std::size_t i = 0; i < quadrants.size(); ++i) {
      if (quadrants[i] == q) samples.push_back(i);
    }
  }
  return samples;
}

/// The quadrant of each sample; the patch for those of its centre.
/// \param patch samples of the quadrants that lie in the patch, in order
std::vector<int> PartsOf(const QuadrantOf& quadrants, const std::vector<bool>& patch) {
  std::vector<int> parts(quadrants.begin(), quadrants.end());
  std::size_t next = 0;
  for (int& part : parts) {
    if (part >= 0 && patch[next++]) part = kPatch;
  }
  return parts;
}

/// Fills the spurs with x, y, z of their samples, in order. Points are counted before they are
/// dealt out, so that no column is copied twice. A spur that receives nothing is left alone.
/// \return of the samples of all quadrants, in order, which lie in the patch
std::vector<bool> FillSpurs(const PointCloud& cloud, const QuadrantOf& quadrants,
                            const PointXYZW& nominal, double patch_radius, PointCloud* spurs) {
  MatrixXd filled[kSpurs];
  Eigen::Index counts[kSpurs] = {};
  for (signed char q = 0; q < kQuadrants; ++q) {
    filled[q].resize(3, std::count(quadrants.begin(), quadrants.end(), q));
  }
  for (std::size_t i = 0; i < quadrants.size(); ++i) {
    const signed char q = quadrants[i];
    if (q < 0) continue;
    const auto column = static_cast<Eigen::Index>(i);
    filled[q].col(counts[q]++) = AzElRange(cloud.data().col(column).head<3>()).ToPoint().xyz();
  }
  const auto in_patch = [&](const Eigen::Vector3d& p) {
    return Distance(PointXYZW(p), nominal) < patch_radius;
  };
  std::vector<bool> patch;
  WalkQuadrants(quadrants, filled, [&](const auto& p) {
    patch.push_back(in_patch(p));
    counts[kPatch] += patch.back() ? 1 : 0;
  });
  filled[kPatch].resize(3, counts[kPatch]);
  counts[kPatch] = 0;
  std::size_t next = 0;
  WalkQuadrants(quadrants, filled, [&](const auto& p) {
    if (patch[next++]) filled[kPatch].col(counts[kPatch]++) = p;
  });
  for (int s = 0; s < kSpurs; ++s) {
    if (filled[s].cols() == 0) continue;
    spurs[s] = PointCloud(std::move(filled[s]), {{EMBEDDING_XYZ, {0}}});
  }
  return patch;
}

/// The fate of a sample that no fit gets.
SampleFate RefusedFate(const Sample& sample, double quality) {
  return sample.finite && sample.quality > quality ? SampleFate::kFar : SampleFate::kUnusable;
}

}  // namespace

bool SphereFit::FilterByDistance(const PointCloud& cloud, const AzElRange& center, PointCloud& out,
                                 double distance, double quality) {
  std::vector<SampleFate>& fates = Record().fates;
  fates.clear();
  _passed.clear();
  const auto passes = [&](const Sample& s) {
    return s.finite && std::abs(s.place.azimuth - center.azimuth) <= distance &&
           s.quality > quality;
  };
  MatrixXd kept(3, cloud.cols());
  Eigen::Index count = 0;
  for (Eigen::Index i = 0; i < cloud.cols(); ++i) {
    const Sample sample(cloud.data(), i);
    const bool passed = passes(sample);
    fates.push_back(passed ? SampleFate::kBetween : RefusedFate(sample, quality));
    if (!passed) continue;
    _passed.push_back(static_cast<std::size_t>(i));
    kept.col(count++) = cloud.data().col(i).head<3>();
  }
  kept.conservativeResize(3, count);
  out = PointCloud(std::move(kept), {{EMBEDDING_AER, {0}}});
  if (count < kFewestPoints) {
    return Fail(
        "FilterByDistance(): FilterByDistance failed (ERROR_SF_FILTER = -10). Bad filtered "
        "data!");
  }
  out.Convert(EMBEDDING_XYZ);
  return true;
}

bool SphereFit::FilterByDistanceFromAzElMedianSpur(const PointCloud& cloud, const AzElRange& center,
                                                   PointCloud* const spurs, double distance,
                                                   double quality) {
  _logger[log::LOG_LEVEL_1] << "FilterByDistanceFromAzElMedianSpur called" << std::endl;
  const double extent_threshold =
      2.0 * std::atan2(BoxDimensionRatio * distance * 0.8, center.range);
  const Eigen::Array2d extents = Extents(cloud);
  const auto wide = [&](const char* what, double extent) {
    return Passed(what, extent, extent_threshold, !(extent < extent_threshold));
  };
  const bool wide_enough = wide("extent of the scan in azimuth", extents[0]);
  if (!wide("extent of the scan in elevation", extents[1]) || !wide_enough) {
    _logger[log::LOG_LEVEL_1] << "Error: Range extents threshold not met!" << std::endl;
    _logger[log::LOG_LEVEL_1] << "distDiff = " << extents[0] << " " << extents[1] << std::endl;
    _logger[log::LOG_LEVEL_1] << "extentThreshold: " << extent_threshold << std::endl;
    return Fail(
        "SphereFit::FilterByDistanceFromAzElMedianSpur(): Range extents threshold not met! "
        "(ERROR_SF_HARDWARE = -16)");
  }
  std::vector<SampleFate>& fates = Record().fates;
  fates.clear();
  fates.reserve(static_cast<std::size_t>(cloud.cols()));
  const auto passes = [&](const Sample& s) {
    const bool passed =
        s.finite && std::abs(s.place.range - center.range) <= distance && s.quality > quality;
    fates.push_back(passed ? SampleFate::kBetween : RefusedFate(s, quality));
    return passed;
  };
  std::fill(spurs, spurs + kSpurs, PointCloud(MatrixXd::Zero(5, 1), {{EMBEDDING_AER, {0}}}));
  _quadrants = Quadrants(cloud, center, passes);
  _in_patch = FillSpurs(cloud, _quadrants, NominalPoint, distance * kPatchShare, spurs);

  int bad_count = 0;
  for (int s = 0; s < kSpurs; ++s) {
    _logger[log::LOG_LEVEL_1] << "Filtered points quad returned: " << spurs[s].rows() << " x "
                              << spurs[s].cols() << std::endl;
    if (spurs[s].cols() < kFewestPoints) ++bad_count;
  }
  if (bad_count == kSpurs) {
    SetError(
        "SphereFit::FilterByDistanceFromAzElMedianSpur(): Too many bad points. (ERROR_SF_FILTER = "
        "-10)");
    _logger[log::LOG_LEVEL_1] << "Error: badCtr = " << bad_count << std::endl;
    return false;
  }
  _logger[log::LOG_LEVEL_1] << "FilterByDistanceFromAzElMedianSpur ended" << std::endl;
  return true;
}

void SphereFit::RecordParts() {
  Record().parts = PartsOf(_quadrants, _in_patch);
  _passed = ByQuadrant(_quadrants);
}

bool SphereFit::CombineDataSets3(const PointCloud* clouds, int count, PointCloud& out) {
  _logger[log::LOG_LEVEL_1] << "CombineDataSets3() entered" << std::endl;
  Eigen::Index total = 0;
  for (int i = 0; i < count; ++i) total += clouds[i].rows() == 3 ? clouds[i].cols() : 0;
  bool combined_any = false;
  Eigen::Index filled = out.rows() == 3 ? out.cols() : 0;
  for (int i = 0; i < count; ++i) {
    const PointCloud& cloud = clouds[i];
    if (cloud.rows() != 3) continue;
    if (out.rows() != 3) {
      out = PointCloud(MatrixXd(3, 0), cloud.embeddings());
      combined_any = true;
    }
    if (out.cols() < filled + cloud.cols()) out.data().conservativeResize(3, filled + total);
    out.data().middleCols(filled, cloud.cols()) = cloud.data();
    filled += cloud.cols();
  }
  if (out.rows() > 2) out.embeddings()[EMBEDDING_XYZ].insert(0);
  if (!combined_any) {
    return Fail("SphereFit::CombineDataSets3(): Failed to combine the datasets. (ERROR_SF_FILTER)");
  }
  _logger[log::LOG_LEVEL_1] << "CombineDataSets3() ended" << std::endl;
  return true;
}

bool SphereFit::FilterByError(const PointCloud& cloud, PointCloud& good, PointCloud& bad,
                              const PointXYZW& center, double radius, double tolerance) {
  // Counted before they are dealt out, so that together they take the room of one cloud.
  std::vector<bool> is_near(static_cast<std::size_t>(cloud.cols()));
  for (std::size_t i = 0; i < is_near.size(); ++i) {
    const PointXYZW p = cloud.point(static_cast<Eigen::Index>(i));
    is_near[i] = tolerance >= std::abs(Distance(p, center) - radius);
  }
  const Eigen::Index near_count = std::count(is_near.begin(), is_near.end(), true);
  MatrixXd near(3, near_count);
  MatrixXd far(3, cloud.cols() - near_count);
  Eigen::Index filled[2] = {};
  for (std::size_t i = 0; i < is_near.size(); ++i) {
    MatrixXd& half = is_near[i] ? near : far;
    half.col(filled[is_near[i] ? 1 : 0]++) =
        cloud.data().col(static_cast<Eigen::Index>(i)).head<3>();
  }
  good = PointCloud(std::move(near), {{EMBEDDING_XYZ, {0}}});
  bad = PointCloud(std::move(far), {{EMBEDDING_XYZ, {0}}});
  if (near_count < kFewestPoints) {
    return Fail(
        "FilterByError(): FilterByError failed (ERROR_SF_FILTER = -10). Too few good points!");
  }
  return true;
}

}  // namespace libmfx::features
