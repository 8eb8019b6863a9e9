#include <Eigen/Core>
#include <Eigen/Geometry>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/errors.h"
#include "host/numbers.h"
#include "inspection/finder.h"
#include "libmfx/data_structures/point.h"
#include "libmfx/math/alignment.h"

namespace libmfx::inspection {
namespace {

using data_structures::PointXYZW;
using Eigen::Isometry3d;

constexpr std::size_t kMostSeen = 100;
constexpr std::size_t kMostBalls = 200;
constexpr std::size_t kMostTriangles = 1000;
/// Poses that are tried: what more than so many triangles fit to tells nothing.
constexpr std::size_t kMostTried = 500'000;
/// The height of a triangle, in tolerances: the turn about its longest side is told to a quarter.
constexpr double kHeight = 4.0;
/// A pose by three balls alone takes those farther away too far: they count up to so many
/// tolerances, until the fit through all of them.
constexpr double kRough = 3.0;
/// Another pose fits as well unless its scatter is so many times as large, and this many
/// tolerances.
constexpr double kClearly = 5.0;
constexpr double kLeastScatter = 0.25;

struct Pair {
  std::size_t ball;
  Vector3d seen;
};

struct Way {
  Isometry3d pose = Isometry3d::Identity();
  std::vector<Pair> pairs;
  double scatter = 0.0;  ///< m, root mean square
};

/// The height of a triangle on its longest side.
double HeightOf(const Vector3d& a, const Vector3d& b, const Vector3d& c) {
  const double longest = std::max({(b - a).norm(), (c - a).norm(), (c - b).norm()});
  return longest > 0.0 ? (b - a).cross(c - a).norm() / longest : 0.0;
}

struct Triangle {
  std::array<std::size_t, 3> balls;
  double height;
};

/// A frame in a triangle.
Isometry3d FrameOf(const Vector3d& a, const Vector3d& b, const Vector3d& c) {
  Isometry3d frame = Isometry3d::Identity();
  const Vector3d x = (b - a).normalized();
  const Vector3d z = x.cross(c - a).normalized();
  frame.linear() << x, z.cross(x), z;
  frame.translation() = (a + b + c) / 3.0;
  return frame;
}

/// Lays triangles of the part's balls onto balls that were seen.
class PoseSearch {
 public:
  PoseSearch(const std::vector<NominalBall>& balls, const std::vector<std::vector<SeenBall>>& seen,
             double tolerance)
      : _balls(balls), _tolerance(tolerance), _seen(balls.size()) {
    for (std::size_t i = 0; i < balls.size(); ++i) {
      for (const SeenBall& ball : seen[i]) {
        if (ball.center.allFinite() && _seen[i].size() < kMostSeen) {
          _seen[i].push_back(ball.center);
        }
      }
    }
  }

  std::optional<Isometry3d> Find(std::string& why) {
    const std::vector<Triangle> triangles = Triangles();
    if (triangles.empty()) return None(why, WhyNoTriangle());
    for (const Triangle& triangle : triangles) {
      Try(triangle);
      if (_tried > kMostTried) {
        return None(why,
                    "so many of the balls that were seen fit to each other that they do not "
                    "tell which are the part's");
      }
      // Whatever holds all balls holds those of the first triangle.
      if (_best && _best->pairs.size() == _balls.size()) break;
    }
    if (!_best) {
      return None(why, "no three of the balls that were seen are as far from each other, within " +
                           host::LengthText(2.0 * _tolerance) + ", as three of the part's");
    }
    return Judge(why);
  }

 private:
  static std::optional<Isometry3d> None(std::string& why, std::string text) {
    why = std::move(text);
    return std::nullopt;
  }

  std::size_t CountSeen() const {
    return static_cast<std::size_t>(
        std::count_if(_seen.begin(), _seen.end(), [](const auto& seen) { return !seen.empty(); }));
  }

  std::string WhyNoTriangle() const {
    const std::string count = std::to_string(CountSeen());
    if (_balls.size() < 3) return "the part has fewer than three balls to find it by";
    if (CountSeen() < 3) {
      return "of the part's " + std::to_string(_balls.size()) + " balls " + count +
             " were seen, and three are needed";
    }
    return "no three of the part's balls that were seen form a triangle higher than " +
           host::LengthText(kHeight * _tolerance);
  }

  /// Triangles of balls that were seen, the highest first: they turn the part the least.
  std::vector<Triangle> Triangles() const {
    std::vector<Triangle> triangles;
    for (std::size_t i = 0; i < _balls.size(); ++i) {
      for (std::size_t j = i + 1; j < _balls.size() && !_seen[i].empty(); ++j) {
        for (std::size_t k = j + 1; k < _balls.size() && !_seen[j].empty(); ++k) {
          if (_seen[k].empty()) continue;
          const double height = HeightOf(_balls[i].place, _balls[j].place, _balls[k].place);
          if (height > kHeight * _tolerance) triangles.push_back({{i, j, k}, height});
        }
      }
    }
    std::stable_sort(triangles.begin(), triangles.end(),
                     [](const Triangle& a, const Triangle& b) { return a.height > b.height; });
    if (triangles.size() > kMostTriangles) triangles.resize(kMostTriangles);
    return triangles;
  }

  bool Fits(const Vector3d& a, const Vector3d& b, std::size_t i, std::size_t j) const {
    const double nominal = (_balls[i].place - _balls[j].place).norm();
    return std::fabs((a - b).norm() - nominal) <= 2.0 * _tolerance;
  }

  void Try(const Triangle& triangle) {
    const auto& [i, j, k] = triangle.balls;
    for (const Vector3d& a : _seen[i]) {
      for (const Vector3d& b : _seen[j]) {
        if (!Fits(a, b, i, j)) continue;
        for (const Vector3d& c : _seen[k]) {
          if (!Fits(a, c, i, k) || !Fits(b, c, j, k)) continue;
          if (++_tried > kMostTried) return;
          if (HeightOf(a, b, c) > 0.0) TryPose(triangle, {a, b, c});
        }
      }
    }
  }

  void TryPose(const Triangle& triangle, const std::array<Vector3d, 3>& seen) {
    const auto& [i, j, k] = triangle.balls;
    Way way;
    way.pose = FrameOf(seen[0], seen[1], seen[2]) *
               FrameOf(_balls[i].place, _balls[j].place, _balls[k].place).inverse();
    const std::size_t wanted = _best ? _best->pairs.size() : 3;
    way.pairs = PairsOf(way.pose, RoughOf(triangle));
    if (way.pairs.size() < wanted) return;
    // What the fit through all of them leaves outside is given up.
    for (int round = 0; round < 4; ++round) {
      if (!Refine(way)) return;
      std::vector<Pair> pairs = PairsOf(way.pose, round < 1 ? 2.0 * _tolerance : _tolerance);
      if (pairs.size() < wanted) return;
      way.pairs = std::move(pairs);
    }
    if (!Refine(way) || !IsWithin(way) || !HoldsTriangle(way)) return;
    Keep(std::move(way));
  }

  /// How far another ball may be off under a pose by the triangle alone.
  double RoughOf(const Triangle& triangle) const {
    double farthest = 0.0;
    const Vector3d& from = _balls[triangle.balls[0]].place;
    for (const NominalBall& ball : _balls) {
      farthest = std::max(farthest, (ball.place - from).norm());
    }
    return _tolerance * (kRough + farthest / triangle.height);
  }

  /// Each ball with the nearest one that was seen, no one of them twice.
  std::vector<Pair> PairsOf(const Isometry3d& pose, double most) const {
    std::vector<Pair> pairs;
    for (std::size_t i = 0; i < _balls.size(); ++i) {
      const Vector3d expected = pose * _balls[i].place;
      double least = most;
      const Vector3d* nearest = nullptr;
      for (const Vector3d& seen : _seen[i]) {
        const double off = (seen - expected).norm();
        if (off <= least && !IsTaken(pairs, seen)) {
          least = off;
          nearest = &seen;
        }
      }
      if (nearest != nullptr) pairs.push_back({i, *nearest});
    }
    return pairs;
  }

  /// Whether a ball of the part stands there already. What was seen as two balls of two radii is
  /// one ball.
  bool IsTaken(const std::vector<Pair>& pairs, const Vector3d& seen) const {
    return std::any_of(pairs.begin(), pairs.end(), [&](const Pair& pair) {
      return (pair.seen - seen).norm() <= std::max(1e-9, _balls[pair.ball].radius);
    });
  }

  /// The pose of least squares through the pairs.
  bool Refine(Way& way) const {
    math::Alignment alignment;
    for (const Pair& pair : way.pairs) {
      alignment.AddCorrespondence(PointXYZW(_balls[pair.ball].place), PointXYZW(pair.seen));
    }
    Eigen::Matrix4d transform;
    if (way.pairs.size() < 3 || !alignment.MeasuredToNominalTransform(transform)) return false;
    way.pose.matrix() = transform;
    double sum = 0.0;
    for (const Pair& pair : way.pairs) {
      sum += (way.pose * _balls[pair.ball].place - pair.seen).squaredNorm();
    }
    way.scatter = std::sqrt(sum / static_cast<double>(way.pairs.size()));
    return true;
  }

  bool IsWithin(const Way& way) const {
    return std::all_of(way.pairs.begin(), way.pairs.end(), [&](const Pair& pair) {
      return (way.pose * _balls[pair.ball].place - pair.seen).norm() <= _tolerance;
    });
  }

  bool HoldsTriangle(const Way& way) const {
    // The balls farthest from each other, and the one farthest from their line.
    double longest = 0.0;
    Vector3d from = Vector3d::Zero();
    Vector3d along = Vector3d::Zero();
    for (const Pair& a : way.pairs) {
      for (const Pair& b : way.pairs) {
        const Vector3d side = _balls[b.ball].place - _balls[a.ball].place;
        if (side.norm() <= longest) continue;
        longest = side.norm();
        from = _balls[a.ball].place;
        along = side / longest;
      }
    }
    return std::any_of(way.pairs.begin(), way.pairs.end(), [&](const Pair& pair) {
      return (_balls[pair.ball].place - from).cross(along).norm() > kHeight * _tolerance;
    });
  }

  /// Whether both poses put the balls in the same places.
  bool IsSame(const Way& a, const Way& b) const {
    return std::all_of(a.pairs.begin(), a.pairs.end(), [&](const Pair& pair) {
      const Vector3d& place = _balls[pair.ball].place;
      return (a.pose * place - b.pose * place).norm() <= 2.0 * _tolerance;
    });
  }

  /// Keeps the best way and the best of those that differ from it.
  void Keep(Way way) {
    const auto is_better = [](const Way& a, const Way& b) {
      if (a.pairs.size() != b.pairs.size()) return a.pairs.size() > b.pairs.size();
      return a.scatter < b.scatter;
    };
    if (!_best || is_better(way, *_best)) {
      if (_best && !IsSame(way, *_best)) _other = std::move(_best);
      _best = std::move(way);
      if (_other && IsSame(*_best, *_other)) _other.reset();
    } else if (!IsSame(way, *_best) && (!_other || is_better(way, *_other))) {
      _other = std::move(way);
    }
  }

  std::optional<Isometry3d> Judge(std::string& why) const {
    const Way& best = *_best;
    if (_other && _other->pairs.size() == best.pairs.size() &&
        _other->scatter <= std::max(kClearly * best.scatter, kLeastScatter * _tolerance)) {
      return None(why, "two ways to place the part fit to the balls that were seen: " +
                           std::to_string(best.pairs.size()) + " of them lie within " +
                           host::LengthText(best.scatter) + " under one and " +
                           host::LengthText(_other->scatter) + " under the other");
    }
    why.clear();
    return best.pose;
  }

  const std::vector<NominalBall>& _balls;
  double _tolerance;
  std::vector<std::vector<Vector3d>> _seen;
  std::optional<Way> _best;
  std::optional<Way> _other;  ///< the best of those that differ from it
  std::size_t _tried = 0;
};

}  // namespace

std::optional<Isometry3d> PoseByBalls(const std::vector<NominalBall>& balls,
                                      const std::vector<std::vector<SeenBall>>& seen,
                                      double tolerance, std::string& why) {
  if (!(tolerance > 0.0 && std::isfinite(tolerance))) {
    throw host::CallError("the tolerance of a part's balls " + host::Rounded(tolerance) +
                          " is not a length above 0");
  }
  if (seen.size() != balls.size()) {
    throw host::CallError("there are not as many lists of balls that were seen as balls");
  }
  if (balls.size() > kMostBalls) {
    throw host::CallError("a part is not found by more than " + std::to_string(kMostBalls) +
                          " balls");
  }
  for (const NominalBall& ball : balls) {
    if (ball.place.allFinite() && std::isfinite(ball.radius)) continue;
    throw host::CallError("a ball of the part has no place or radius");
  }
  return PoseSearch(balls, seen, tolerance).Find(why);
}

}  // namespace libmfx::inspection
