#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <new>
#include <ostream>
#include <vector>

#include "features/shared/trace.h"
#include "features/sphere_fit/spurs.h"
#include "geometry/sphere_solver.h"
#include "libmfx/features/sphere_fit.h"

namespace libmfx::features {
namespace {

constexpr int kRounds = 1000;
/// Columns drawn in one round, as a share of the cloud; in single precision.
constexpr float kSampleShare = 0.025f;
/// Columns that make a consensus, as a share of the cloud.
constexpr double kConsensusShare = 0.13361;
/// A sample of more columns than any scan has is refused like memory that is not there.
constexpr int kLargestSample = 1'000'000;
/// A sample whose radius is within this share of the tolerance is adopted.
constexpr double kAdoptShare = 0.1;

using Eigen::MatrixXd;
using Eigen::VectorXd;

/// Whether a cloud determines a sphere; if not, a line on standard output says so.
bool CanFit(const MatrixXd& points) {
  if (points.rows() == 3 && points.cols() >= 4) return true;
  shared::Trace() << "Insufficient point data to do a fit!" << std::endl;
  return false;
}

/// Signed distances of points from a sphere, positive outside.
VectorXd Residuals(const MatrixXd& points, const Eigen::Vector3d& center, double radius) {
  return (points.colwise() - center).colwise().norm().transpose().array() - radius;
}

void LogEstimate(std::ostream& out, const Eigen::Vector3d& center, double radius) {
  out << center[0] << " " << center[1] << " " << center[2] << " | " << radius << std::endl;
}

/// A sphere found by one of the spurs; of radius 0 until it is fitted.
struct SpurFit {
  PointXYZW center;
  double radius = 0.0;
  VectorXd residuals;
  bool bad = false;
};

/// The set that grows while samples are adopted: each column of the cloud at most once.
class ConsensusSet {
 public:
  explicit ConsensusSet(const MatrixXd& cloud)
      : _cloud(cloud), _points(3, cloud.cols()), _used(static_cast<std::size_t>(cloud.cols())) {}

  void Adopt(Eigen::Index column) {
    const auto flag = _used.begin() + column;
    if (*flag) return;
    *flag = true;
    _points.col(_count++) = _cloud.col(column);
  }
  Eigen::Index size() const { return _count; }
  MatrixXd Take() {
    _points.conservativeResize(3, _count);
    return std::move(_points);
  }

 private:
  const MatrixXd& _cloud;
  MatrixXd _points;
  std::vector<bool> _used;
  Eigen::Index _count = 0;
};

}  // namespace

bool SphereFitLS(const PointCloud& points, PointXYZW& center, double& radius, VectorXd& residuals) {
  if (!CanFit(points.data())) return false;
  geometry::SphereSolver solver;
  solver.Fit(points.data());
  center = PointXYZW(solver.center());
  radius = solver.radius();
  residuals = Residuals(points.data(), solver.center(), radius);
  return true;
}

bool SphereFit::FindBestFitSpur(PointCloud* const spurs, PointXYZW& center, double& radius,
                                VectorXd& residuals, unsigned int& spur, double nominal_radius) {
  _logger[log::LOG_LEVEL_1] << "In FindBestFitSpur - passed in radius: " << nominal_radius
                            << std::endl;
  SpurFit fits[kSpurs];
  int bad_count = 0;
  for (int s = 0; s < kSpurs; ++s) {
    SpurFit& fit = fits[s];
    if (spurs[s].rows() != 3 || spurs[s].cols() <= 3) {
      fit.bad = true;
      fit.residuals = VectorXd::Zero(4);
      ++bad_count;
    } else if (!SphereFitLS(spurs[s], fit.center, fit.radius, fit.residuals)) {
      return Fail("SphereFit::FindBestFitSpur(): SphereFitLS failed.");
    }
  }
  if (bad_count == kSpurs) {
    _logger[log::LOG_LEVEL_1] << "Error: badCtr = " << bad_count << std::endl;
    return Fail("SphereFit::FindBestFitSpur(): Too many bad points! (ERROR_SF_LSF = -5)");
  }
  // A bad spur takes part with its radius of 0: it wins when every sphere is off by more than that.
  const auto miss = [&](int s) { return std::abs(fits[s].radius - nominal_radius); };
  int best = 0;
  for (int s = 1; s < kSpurs; ++s) best = miss(s) < miss(best) ? s : best;
  spur = static_cast<unsigned int>(best);
  center = fits[best].center;
  radius = fits[best].radius;
  residuals = fits[best].residuals;
  if (fits[best].bad) {
    return Fail("SphereFit::FindBestFitSpur(): The best spur is bad. (ERROR_SF_LSF = -5)");
  }
  _logger[log::LOG_LEVEL_1] << "Selected spur " << best << std::endl;
  _logger[log::LOG_LEVEL_1] << "FindBestFitSpur ended" << std::endl;
  return true;
}

bool SphereFit::SamplingSphereFit(const PointCloud& cloud, double nominal_radius, PointXYZW& center,
                                  double& radius, VectorXd& residuals, double tolerance) {
  _logger[log::LOG_LEVEL_1] << "SamplingSphereFit() started" << std::endl;
  std::srand(static_cast<unsigned int>(std::time(nullptr)));
  const auto n = static_cast<int>(cloud.cols());
  const int sample_size =
      std::max(static_cast<int>(std::ceil(static_cast<float>(n) * kSampleShare)), NumSamplePoints);
  const double fit_threshold = std::max(static_cast<double>(sample_size), n * kConsensusShare);
  radius = 0.0;
  const std::unique_ptr<int[]> drawn(
      sample_size > kLargestSample ? nullptr : new (std::nothrow) int[sample_size]);
  if (!drawn) {
    return Fail("SphereFit::SamplingSphereFit(): Failed to allocate memory. (ERROR_SF_HARDWARE)");
  }
  ConsensusSet consensus(cloud.data());
  MatrixXd sample(cloud.rows(), n > 0 ? sample_size : 0);
  geometry::SphereSolver estimate;
  // No column is adopted twice: a threshold beyond the cloud is out of reach of any draw, and one
  // round is then enough to say what was estimated.
  const int rounds = fit_threshold > n ? 1 : kRounds;
  for (int round = 0; round < rounds; ++round) {
    for (int i = 0; i < sample.cols(); ++i) {
      drawn[i] = std::rand() % n;
      sample.col(i) = cloud.data().col(drawn[i]);
    }
    if (!CanFit(sample)) {
      return Fail("SphereFit::SamplingSphereFit(): SphereFitLS failed.");
    }
    estimate.Fit(sample);
    if (std::abs(estimate.radius() - nominal_radius) < tolerance * kAdoptShare) {
      for (int i = 0; i < sample_size; ++i) consensus.Adopt(drawn[i]);
    }
    if (static_cast<double>(consensus.size()) > fit_threshold) {
      _logger[log::LOG_LEVEL_1] << "No. of fitPoints columns: " << consensus.size()
                                << " meets or exceeds the fit threshold: " << fit_threshold
                                << std::endl;
      break;
    }
  }
  _logger[log::LOG_LEVEL_1] << "First estimate" << std::endl;
  LogEstimate(_logger[log::LOG_LEVEL_1], estimate.center(), estimate.radius());
  const auto agreeing = static_cast<double>(consensus.size());
  if (!Passed("samples that agree on a sphere", agreeing, fit_threshold,
              !(agreeing < fit_threshold))) {
    return Fail(
        "SphereFit::SamplingSphereFit(): The number of fitPoints is less than the fit threshold! "
        "(ERROR_QUALITY)");
  }
  const PointCloud fit_points(consensus.Take(), {{EMBEDDING_XYZ, {0}}});
  VectorXd unused;
  if (!SphereFitLS(fit_points, center, radius, unused)) {
    return Fail("SphereFit::SamplingSphereFit(): SphereFitLS failed in first estimate.");
  }
  _logger[log::LOG_LEVEL_1] << "Second estimate" << std::endl;
  LogEstimate(_logger[log::LOG_LEVEL_1], center.xyz(), radius);
  residuals = Residuals(cloud.data(), center.xyz(), radius);
  _logger[log::LOG_LEVEL_1] << "SamplingSphereFit() ended. Return estimate: CenterPoint("
                            << center.x() << "," << center.y() << "," << center.z()
                            << ")  Radius - " << radius << std::endl;
  return true;
}

bool SphereFit::CalculateSFQuality(VectorXd residuals, unsigned int total, double& quality) {
  _logger[log::LOG_LEVEL_1] << "CalculateSFQuality() entered" << std::endl;
  const auto n = static_cast<double>(residuals.size());
  const double rms = std::sqrt(residuals.squaredNorm() / n);
  const double standard_error = rms / std::sqrt(n);
  quality = n / total * (40.0 - 10.0 * std::log10(standard_error));
  _logger[log::LOG_LEVEL_1] << "CalculateSFQuality() ended. dQuality: " << quality << std::endl;
  return true;
}

}  // namespace libmfx::features
