#include "features/pvi/doubts.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "geometry/decompositions.h"
#include "messages/text.h"

namespace libmfx::features::pvi {
namespace {

using geometry::Plane;
using messages::DegreesText;
using messages::MillimetreText;
using messages::PercentText;

constexpr Eigen::Index kFewest = 9;  ///< samples that can be judged

/// The places of three samples, drawn one after the other; the same on every machine.
class Triples {
 public:
  explicit Triples(Eigen::Index count) : _count(static_cast<std::uint64_t>(count)) {}

  Eigen::Index Next() {
    // A linear congruential generator (Knuth's MMIX), of which the upper bits are used.
    _state = _state * 6364136223846793005u + 1442695040888963407u;
    return static_cast<Eigen::Index>((_state >> 33u) % _count);
  }

 private:
  std::uint64_t _count;
  std::uint64_t _state = 1;
};

/// Some of many samples, evenly.
Eigen::Matrix3Xd Fewer(const Eigen::Matrix3Xd& samples) {
  constexpr Eigen::Index kMost = 500;
  const Eigen::Index stride = 1 + (samples.cols() - 1) / kMost;
  if (stride == 1) return samples;
  Eigen::Matrix3Xd fewer(3, (samples.cols() + stride - 1) / stride);
  for (Eigen::Index i = 0; i < fewer.cols(); ++i) fewer.col(i) = samples.col(i * stride);
  return fewer;
}

/// A plane as its normal and its distance from the origin.
struct Level {
  Eigen::Vector3d normal = Eigen::Vector3d::Zero();
  double distance = 0.0;
  double median = std::numeric_limits<double>::infinity();  ///< of the squared distances from it

  Eigen::ArrayXd Off(const Eigen::Matrix3Xd& samples) const {
    return (normal.transpose() * samples).transpose().array() - distance;
  }
};

/// The plane through three samples with the least median of squared distances. With half of the
/// samples astray one draw of 8 holds none of those: all draws miss with a probability of 1e-9.
Level LeastMedian(const Eigen::Matrix3Xd& samples) {
  constexpr int kDraws = 150;
  Triples triples(samples.cols());
  Level best;
  std::vector<double> squares(static_cast<std::size_t>(samples.cols()));
  const auto middle = squares.begin() + static_cast<std::ptrdiff_t>(squares.size() / 2);
  for (int draw = 0; draw < kDraws; ++draw) {
    const Eigen::Vector3d a = samples.col(triples.Next());
    const Eigen::Vector3d b = samples.col(triples.Next());
    const Eigen::Vector3d c = samples.col(triples.Next());
    const Eigen::Vector3d across = (b - a).cross(c - a);
    if (!(across.norm() > 0.1 * (b - a).norm() * (c - a).norm())) continue;
    Level level;
    level.normal = across.normalized();
    level.distance = level.normal.dot(a);
    Eigen::Map<Eigen::ArrayXd>(squares.data(), samples.cols()) = level.Off(samples).square();
    std::nth_element(squares.begin(), middle, squares.end());
    level.median = *middle;
    if (level.median < best.median) best = level;
  }
  return best;
}

/// What a robust fit finds.
struct Robust {
  Plane plane;
  double deviation = 0.0;  ///< of the samples that it rests on
  Eigen::Index count = 0;
};

/// The least squares plane of the samples that lie within a distance of another one.
Robust FitClose(const Eigen::Matrix3Xd& samples, const Eigen::ArrayXd& off, double limit) {
  Robust robust;
  Eigen::Matrix3Xd close(3, samples.cols());
  for (Eigen::Index i = 0; i < samples.cols(); ++i) {
    if (std::abs(off[i]) <= limit) close.col(robust.count++) = samples.col(i);
  }
  close.conservativeResize(Eigen::NoChange, robust.count);
  const data_structures::PointCloud cloud{Eigen::MatrixXd(close)};
  math::AccStats distances;
  if (robust.count <= 3 || !robust.plane.LeastSquares(cloud, distances)) return {};
  robust.deviation =
      std::sqrt(distances.sum_of_squares / (static_cast<double>(robust.count) - 3.0));
  return robust;
}

/// Begins with the samples within 2.5 deviations of the plane of the least median, which a normal
/// distribution has at 1.4826 times its root (Rousseeuw and Leroy 1987, chapter 5). That plane goes
/// through three samples, as they scatter: the next ones go through all that are close.
Robust FitRobust(const Eigen::Matrix3Xd& samples) {
  constexpr int kRounds = 3;
  const Level level = LeastMedian(Fewer(samples));
  const auto n = static_cast<double>(samples.cols());
  const double scale = 1.4826 * (1.0 + 5.0 / (n - 3.0)) * std::sqrt(level.median);
  Robust robust = FitClose(samples, level.Off(samples), 2.5 * scale);
  for (int round = 0; round < kRounds && robust.plane.IsValid(); ++round) {
    const Level next{robust.plane.Normal().xyz(),
                     robust.plane.Normal().xyz().dot(robust.plane.Point().xyz())};
    robust = FitClose(samples, next.Off(samples), 3.0 * std::max(scale, robust.deviation));
  }
  return robust;
}

/// The standard deviation of the samples along the direction in which they are spread the least.
double Spread(const Eigen::Matrix3Xd& samples, const Plane& plane) {
  const Eigen::Vector3d mean = samples.rowwise().mean();
  const Eigen::Matrix3Xd from = samples.colwise() - mean;
  const auto along = [&](const data_structures::VectorXYZW& axis) {
    return (axis.xyz().transpose() * from).squaredNorm() / static_cast<double>(samples.cols());
  };
  return std::sqrt(std::min(along(plane.Tangent()), along(plane.Bitangent())));
}

}  // namespace

std::vector<std::string> DoubtsOfCount(Eigen::Index kept, int asked) {
  if (kept >= kFewest || 2 * kept >= asked) return {};
  return {
      "The plane rests on " + std::to_string(kept) + " samples of the " + std::to_string(asked) +
      " asked for: so few cannot tell an error of their own. Look what stands in the beam's way, "
      "or lower \"QualityThreshold\"."};
}

std::vector<std::string> DoubtsOfPlane(const SeenBox& box) {
  constexpr double kLeastAngle = 0.015;  // radians
  constexpr double kLeastOff = 3e-5;     // metres
  constexpr double kOfUncertainty = 3.0;
  constexpr double kMostOpen = 0.025;  // radians
  if (box.samples.cols() < kFewest || !box.samples.allFinite()) return {};
  const Robust robust = FitRobust(box.samples);
  if (robust.count < kFewest || !robust.plane.IsValid()) return {};
  const double mean = robust.deviation / std::sqrt(static_cast<double>(robust.count));
  const double spread = Spread(box.samples, robust.plane);
  const Eigen::Vector3d told = box.plane.Normal().xyz();
  const Eigen::Vector3d other = robust.plane.Normal().xyz();
  const double angle = std::atan2(told.cross(other).norm(), std::abs(told.dot(other)));
  const double off = robust.plane.Distance(box.place);
  if (2.0 * mean / spread > kMostOpen) {
    return {"The normal may be off by " + DegreesText(2.0 * mean / spread) +
            " (twice its standard uncertainty): the samples are few, lie along a line, or scatter. "
            "Take more points, a larger \"BoxDimension\", or a lower \"QualityThreshold\"."};
  }
  const bool turned = angle > std::max(kLeastAngle, kOfUncertainty * mean / spread);
  const bool moved = off > std::max(kLeastOff, kOfUncertainty * mean);
  if (!turned && !moved) return {};
  const auto astray = static_cast<double>(box.samples.cols() - robust.count);
  return {"The plane that most of the samples lie in is turned by " + DegreesText(angle) +
          " and lies " + MillimetreText(off) + " off the one measured: " +
          PercentText(astray / static_cast<double>(box.samples.cols())) +
          " of the samples are astray, or lie on something beside the surface. Look at the scan "
          "there, or take more points."};
}

std::vector<std::string> DoubtsOfFlatness(const SeenBox& box) {
  constexpr double kLeastTurn = 0.03;  // radians, from one side of the box to the other
  constexpr double kMostByChance = 8.0;
  const Eigen::Matrix3Xd& samples = box.kept;
  const Eigen::Index count = samples.cols();
  if (count < 2 * kFewest) return {};
  const Eigen::Matrix3d frame = box.plane.TBN();
  const Eigen::Matrix3Xd at = frame.transpose() * (samples.colwise() - box.plane.Point().xyz());
  const double size = std::max(at.topRows(2).cwiseAbs().maxCoeff(), 1e-12);
  const Eigen::ArrayXd x = at.row(0).array() / size, y = at.row(1).array() / size;
  Eigen::MatrixXd terms(count, 6);
  terms << Eigen::ArrayXd::Ones(count), x, y, x * x, x * y, y * y;
  const Eigen::VectorXd heights = at.row(2);
  const geometry::Ldlt normal = geometry::DecomposeSymmetric(terms.transpose() * terms);
  const Eigen::VectorXd fitted = geometry::SolveWith(normal, terms.transpose() * heights);
  if (normal.info() != Eigen::Success || !fitted.allFinite()) return {};
  const double flat = heights.squaredNorm();
  const double curved = (heights - terms * fitted).squaredNorm();
  // The F statistic of the three terms: above 8 once in some 1,000 flat surfaces of 25 samples.
  const double freedom = static_cast<double>(count - 6);
  if (!((flat - curved) / 3.0 > kMostByChance * curved / freedom)) return {};
  Eigen::Matrix2d bend;
  bend << 2.0 * fitted[3], fitted[4], fitted[4], 2.0 * fitted[5];
  const double turn = 2.0 * bend.norm() / size;
  if (!(turn > kLeastTurn)) return {};
  return {"The samples do not lie in one plane: the surface turns by " + DegreesText(turn) +
          " from one side of the box to the other. It is curved, or an edge, a step or something "
          "that lies on it runs through the box. Look at the scan there, or take a smaller "
          "\"BoxDimension\"."};
}

std::vector<std::string> DoubtsOfDirection(double angle) {
  constexpr double kFar = 0.2;  // radians
  if (!(angle > kFar)) return {};
  return {"The measured normal leans " + DegreesText(angle) +
          " from the nominal one: the samples may lie on something beside the surface. Look at the "
          "scan there, correct \"Normal\", or give \"Nom2MeasAngCheck\" to tell how far it may "
          "lean."};
}

}  // namespace libmfx::features::pvi
