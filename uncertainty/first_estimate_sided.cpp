#include <Eigen/Geometry>
#include <Eigen/SVD>
#include <cmath>
#include <map>
#include <numbers>
#include <utility>
#include <vector>

#include "libmfx/data_structures/records.h"
#include "uncertainty/first_estimate_parts.h"

namespace libmfx::uncertainty::first {

using Eigen::Index;
using Eigen::VectorXd;

namespace {

/// A straight line through the border points of a side.
struct Side {
  Vector2d middle = Vector2d::Zero();  ///< of the points
  Vector2d along = Vector2d::UnitX();
  Vector2d across = Vector2d::UnitY();
  std::vector<BorderPoint> points;

  explicit Side(const std::vector<BorderPoint>& border) : points(border) {
    for (const BorderPoint& p : points) middle += p.place / count();
    Eigen::Matrix2d moments = Eigen::Matrix2d::Zero();
    for (const BorderPoint& p : points) {
      moments += (p.place - middle) * (p.place - middle).transpose();
    }
    const Eigen::JacobiSVD<Eigen::Matrix2d> svd(moments, Eigen::ComputeFullU);
    along = svd.matrixU().col(0);
    across = svd.matrixU().col(1);
  }

  double count() const { return static_cast<double>(points.size()); }
  double Off(const BorderPoint& p) const { return (p.place - middle).dot(across); }
};

/// What the points of a side that were met in one sense are off their line together, by sense.
std::map<int, double> MeansBySense(const Side& side) {
  std::map<int, double> means;
  std::map<int, double> counts;
  for (const BorderPoint& p : side.points) {
    means[p.sense] += side.Off(p);
    counts[p.sense] += 1.0;
  }
  for (auto& [sense, mean] : means) mean /= counts[sense];
  return means;
}

/// The lines across a side run side by side, and in one sense their samples stand at one distance
/// from it: the last ones before the border are off by one part of the spacing d, anything from
/// none to all, of which no residual tells: a variance of d^2 / 12. Noise that takes one line a
/// sample farther than the next blurs that: of a standard deviation t it leaves exp(-(2 pi t /
/// d)^2), the share of a wave of period d.
double CommonVariance(const std::vector<Side>& sides, double spacing) {
  if (!(spacing > 0.0)) return 0.0;
  std::vector<double> distances;
  double count = 0.0;
  double groups = 0.0;
  for (const Side& side : sides) {
    const std::map<int, double> means = MeansBySense(side);
    for (const BorderPoint& p : side.points) {
      distances.push_back(std::abs(side.Off(p) - means.at(p.sense)));
    }
    count += side.count();
    groups += static_cast<double>(means.size()) + 1.0;  // and the turn of the line
  }
  if (count <= groups) return 0.0;
  const double scatter = ScatterOfMost(std::move(distances)) * std::sqrt(count / (count - groups));
  const double turn = 2.0 * std::numbers::pi * scatter / spacing;
  return spacing * spacing / 12.0 * std::exp(-turn * turn);
}

/// The straight sides of an opening, each with an offset and a turn about the middle of its points.
class Sides {
 public:
  /// \param spacing of the samples on the lines
  /// \returns false if there are fewer than three, more than a drawing has, or one has no line
  bool Fit(const Border& border, double spacing, Propagation& estimate) {
    for (const std::vector<BorderPoint>& side : border) {
      if (side.size() < 2) return false;
      _sides.emplace_back(side);
    }
    if (size() < 3 || size() > kMostSides) return false;
    const auto distances = [&](const VectorXd& p) {
      std::vector<double> r;
      for (std::size_t s = 0; s < size(); ++s) {
        const Index at = 2 * static_cast<Index>(s);
        for (const BorderPoint& point : _sides[s].points) {
          const double along = (point.place - _sides[s].middle).dot(_sides[s].along);
          r.push_back(_sides[s].Off(point) - p[at] - p[at + 1] * along);
        }
      }
      return VectorXd(VectorXd::Map(r.data(), static_cast<Index>(r.size())));
    };
    auto spread = SpreadOfFit(distances, 2 * static_cast<Index>(size()));
    if (!spread) return false;
    const double common = CommonVariance(_sides, spacing);
    for (std::size_t s = 0; s < size(); ++s) {
      const Index at = 2 * static_cast<Index>(s);
      spread->covariance(at, at) += common / static_cast<double>(MeansBySense(_sides[s]).size());
    }
    scatter = spread->scatter;
    freedom = spread->freedom;
    _first = estimate.Add(*spread);
    return true;
  }

  std::size_t size() const { return _sides.size(); }

  /// Where a side meets the next.
  Vector2d Corner(std::size_t side, const VectorXd& p) const {
    const auto [a, d] = LineOf(side % size(), p);
    const auto [b, e] = LineOf((side + 1) % size(), p);
    const double turned = d.x() * e.y() - d.y() * e.x();
    const Vector2d ab = b - a;
    return a + d * ((ab.x() * e.y() - ab.y() * e.x()) / turned);
  }

  /// The mean of all border points and corners.
  Vector2d Middle(const VectorXd& p) const {
    Vector2d sum = Vector2d::Zero();
    for (std::size_t s = 0; s < size(); ++s) {
      const Index at = _first + 2 * static_cast<Index>(s);
      sum += _sides[s].count() * (_sides[s].middle + p[at] * _sides[s].across) + Corner(s, p);
    }
    return sum / (points() + static_cast<double>(size()));
  }

  /// How far the mean of all border points follows a border that moves: each follows it across its
  /// side, and stays on its scan line along it.
  Eigen::Matrix2d Following() const {
    Eigen::Matrix2d sum = Eigen::Matrix2d::Zero();
    double count = 0.0;
    for (const Side& side : _sides) {
      sum += side.count() * side.across * side.across.transpose();
      count += side.count();
    }
    return sum / count;
  }
  double points() const {
    double count = 0.0;
    for (const Side& side : _sides) count += side.count();
    return count;
  }

  double scatter = 0.0;
  double freedom = 0.0;

 private:
  static constexpr std::size_t kMostSides = 64;

  std::pair<Vector2d, Vector2d> LineOf(std::size_t side, const VectorXd& p) const {
    const Index at = _first + 2 * static_cast<Index>(side);
    const Side& s = _sides[side];
    return {s.middle + p[at] * s.across, s.along + p[at + 1] * s.across};
  }

  std::vector<Side> _sides;
  Index _first = 0;
};

/// What the middle of an opening with straight sides is open by. It is the mean of the lines'
/// points next to the border, and each of them tells it across its own side alone; along it a line
/// lies where it was planned. So it lies between the plan and the truth, by a share that the sides
/// tell, and what is missing counts whole as a standard uncertainty.
FitSpread MiddleOf(const Case& c, const Surface& surface, const Sides& sides) {
  Vector2d planned = Vector2d::Zero();
  double count = 0.0;
  for (const features::StageLine& line : c.stages.lines) {
    const host::Position* start = c.EndOf(line.segment - 1);
    const host::Position* end = c.EndOf(line.segment);
    if (start == nullptr || end == nullptr) continue;
    for (const host::Position* at : {start, end}) {
      const data_structures::AzElRange place(at->azimuth, at->elevation, at->range);
      planned += surface.Place(place.ToPoint().xyz());
      count += 1.0;
    }
  }
  if (count > 0.0) planned /= count;
  const Eigen::Matrix2d following = sides.Following();
  const Vector2d missing = (following.inverse() - Eigen::Matrix2d::Identity()) * planned;
  return {.covariance = following * (sides.scatter * sides.scatter / sides.points()) +
                        missing * missing.transpose(),
          .scatter = sides.scatter,
          .freedom = sides.freedom};
}

/// What a corner or two tell besides the middle.
bool TellCorners(const Case& c, const Surface& surface, const Sides& sides, Propagation& estimate) {
  const auto corner = [=](std::size_t i, const VectorXd& p) { return sides.Corner(i, p); };
  const auto in_space = [=](const Vector2d& v, const VectorXd& p) -> VectorXd {
    return (surface.At(v, p) - surface.At(Vector2d::Zero(), p)).normalized();
  };
  if (c.twin.type == "Polygon") {
    const std::size_t last = sides.size() - 1;
    estimate.Tell(
        "Axis", [=](const VectorXd& p) { return in_space(corner(last, p) - sides.Middle(p), p); });
    estimate.Tell("Radius", [=](const VectorXd& p) {
      double sum = 0.0;
      for (std::size_t i = 0; i <= last; ++i) sum += (corner(i, p) - sides.Middle(p)).norm();
      return One(sum / static_cast<double>(last + 1));
    });
    return true;
  }
  if (sides.size() != 4) return false;
  estimate.Tell("Tangent", [=](const VectorXd& p) {
    return in_space(corner(0, p) - corner(1, p) + corner(3, p) - corner(2, p), p);
  });
  estimate.Tell("Length", [=](const VectorXd& p) {
    return One(0.5 * ((corner(0, p) - corner(1, p)).norm() + (corner(3, p) - corner(2, p)).norm()));
  });
  estimate.Tell("Width", [=](const VectorXd& p) {
    return One(0.5 * ((corner(0, p) - corner(3, p)).norm() + (corner(1, p) - corner(2, p)).norm()));
  });
  return true;
}

}  // namespace

bool EstimateSided(const Case& c, Propagation& estimate) {
  const auto center = c.Vector("Location");
  const auto normal = c.Vector("Normal");
  if (!center || !normal) return false;
  Surface surface(*center, *normal);
  Sides sides;
  if (!surface.FitAround(c, estimate) || !sides.Fit(BorderOf(c, surface), c.Spacing(), estimate)) {
    return false;
  }
  const Index middle = estimate.Add(MiddleOf(c, surface, sides));
  estimate.Tell("Location",
                [=](const VectorXd& p) -> VectorXd { return surface.At(p.segment<2>(middle), p); });
  estimate.Tell("Normal", [=](const VectorXd& p) -> VectorXd { return surface.Normal(p); });
  return TellCorners(c, surface, sides, estimate);
}

}  // namespace libmfx::uncertainty::first
