#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/errors.h"
#include "host/numbers.h"
#include "inspection/finder.h"
#include "inspection/sample_grid.h"

namespace libmfx::inspection {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kNone = std::numeric_limits<double>::infinity();

/// A ball is judged by its core: what is seen of it up to this share of the radius off its middle.
/// Beyond, a beam meets it at less than 23 degrees, and its echo mixes with what is behind.
constexpr double kCore = 0.92;
/// Around it, in radii off the middle: where its surroundings are looked at, at least a step and a
/// half wide.
constexpr double kRing[2] = {1.15, 1.65};
constexpr int kLeastOn = 6;
/// Of the samples that its core should show, those that have to lie on it.
constexpr double kLeastShown = 0.5;
/// Of the core's samples, those that may lie beside its surface or behind it.
constexpr double kMostBeside = 0.25;
/// Fewer than these lie on a ball by chance, now and then: then nothing of the core may be beside.
constexpr int kFew = 12;
/// Of the ring, what may stand in front of the ball's rim: a stem of 0.3 radii covers 0.07, a bar
/// as thick as the ball a half.
constexpr double kMostInFront = 0.4;
/// Of the samples on it, those that have to lie on each side of each line through its middle.
constexpr double kLeastOnSide = 0.15;
/// Ever nearer samples count, in radii, while a ball is fitted.
constexpr std::array<double, 6> kScales = {0.4, 0.3, 0.2, 0.12, 0.07, 0.04};
/// The largest scatter, root mean square: a share of the radius for the form, and so many times the
/// noise, which a scan of little but balls tells too large: at most this share of the radius.
constexpr double kForm = 0.005;
constexpr double kNoise = 3.0;
constexpr double kMostNoise = 0.015;
/// Two balls are one where their centres are nearer, in radii.
constexpr double kApart = 1.5;
/// In radii: a sample so much nearer than the next one lies on something else.
constexpr double kClear = 0.7;
constexpr std::size_t kMostFound = 20'000;

using Matrix4 = Eigen::Matrix<double, 4, 4>;
using Vector4 = Eigen::Matrix<double, 4, 1>;

/// What a look at a ball shows.
struct View {
  std::vector<Vector3d> on;    ///< samples on it
  int core_on = 0;             ///< of them, in its core
  int beside = 0;              ///< in the core, off its surface or behind it
  int in_front = 0;            ///< in the ring, in front of its rim
  double core = 0.0;           ///< samples that its core should show
  double ring = 0.0;           ///< the same of the ring
  std::array<int, 8> sides{};  ///< of those in its core, those on each side of a line
};

struct Rated {
  SeenBall ball;
  double rating = 0.0;
};

class BallSearch {
 public:
  BallSearch(const SampleGrid& grid, double radius)
      : _grid(grid),
        _radius(radius),
        _scatter(kForm * radius + std::min(kNoise * grid.noise(), kMostNoise * radius + 5e-5)) {}

  std::vector<SeenBall> Find() {
    for (std::size_t i = 0; i < _grid.size(); ++i) {
      if (!IsSeed(i)) continue;
      std::optional<Vector3d> center = Fit(i);
      if (!center) continue;
      std::optional<Rated> ball = Judge(*center);
      if (ball) _found.push_back(*std::move(ball));
      if (_found.size() > kMostFound) {
        throw host::CallError("a ball to look for: more than " + std::to_string(kMostFound) +
                              " were seen, which are not those of a scan");
      }
    }
    return Best();
  }

 private:
  /// Radians from the middle of a ball at a distance to its rim.
  double Rim(double distance) const { return std::asin(std::min(1.0, _radius / distance)); }
  double CountOf(double from, double to) const {
    return kPi * (to * to - from * from) / (_grid.step() * _grid.step());
  }

  /// Whether a place lies on one of the last balls that were found: its next seeds follow soon.
  bool IsKnown(const Vector3d& place) const {
    const std::size_t last = std::min<std::size_t>(_found.size(), 50);
    return std::any_of(
        _found.rbegin(), _found.rbegin() + static_cast<std::ptrdiff_t>(last),
        [&](const Rated& each) { return (each.ball.center - place).norm() < 1.2 * _radius; });
  }

  /// Whether a sample may be the one of a ball that is nearest to the instrument: nothing around
  /// it, for a third of the ball, is nearer.
  bool IsSeed(std::size_t i) const {
    if (!_grid.HasCompany(i)) return false;
    const double range = _grid[i].range;
    const double rim = Rim(range + _radius);
    if (CountOf(0.0, kCore * rim) < 0.7 * kLeastOn) return false;
    const double within = std::max(rim / 3.0, std::min(1.3 * _grid.step(), 0.8 * rim));
    // On a slope the nearest samples tell: they are asked first.
    for (double reach = 1.6 * _grid.step();; reach *= 2.0) {
      const bool nearer = _grid.VisitAround(i, std::min(reach, within), [&](std::size_t j) {
        const double other = _grid[j].range;
        // What stands clear in front hides the ball, and tells nothing of it.
        if (other < range - kClear * _radius) return false;
        return (other < range || (other == range && j < i)) && _grid.HasCompany(j);
      });
      if (nearer) return false;
      if (reach >= within) return !IsKnown(_grid[i].Place());
    }
  }

  /// A step of the fit of a ball of known radius, weighed by 1 / (1 + (off / scale)^2)^2 (Geman and
  /// McClure 1987): what is far off counts for nothing. An infinite scale weighs all alike.
  /// \returns the sum of the weights; 0 if there is no fit
  double Improve(const std::vector<Vector3d>& places, double scale, Vector3d& center) const {
    Eigen::Matrix3d normal = Eigen::Matrix3d::Zero();
    Vector3d right = Vector3d::Zero();
    const Vector3d away = center.normalized();
    double sum = 0.0;
    for (const Vector3d& place : places) {
      const Vector3d out = place - center;
      const double distance = out.norm();
      // The far side of a ball cannot be seen.
      if (!(distance > 0.0) || out.dot(away) > 0.2 * _radius) continue;
      const double off = distance - _radius;
      const double relative = off / scale;
      const double root = 1.0 / (1.0 + relative * relative);
      const double weight = root * root;
      normal += (weight / (distance * distance)) * out * out.transpose();
      right += (weight * off / distance) * out;
      sum += weight;
    }
    normal.diagonal().array() += 1e-6 * sum + 1e-12;
    Vector3d step = normal.ldlt().solve(right);
    if (!step.allFinite()) return 0.0;
    const double length = step.norm();
    if (length > 0.5 * _radius) step *= 0.5 * _radius / length;
    center += step;
    return sum;
  }

  std::optional<Vector3d> Fit(std::size_t seed) {
    const GridSample& nearest = _grid[seed];
    Vector3d center = (nearest.range + _radius) * nearest.direction;
    const double rim = Rim(nearest.range + _radius);
    _places.clear();
    // Half a step aside is what the nearest sample may be off.
    _grid.Visit(nearest.direction, 1.1 * rim + 0.7 * _grid.step(), [&](std::size_t j) {
      if (std::fabs(_grid[j].range - nearest.range) < 2.0 * _radius) {
        _places.push_back(_grid[j].Place());
      }
      return false;
    });
    const double needed = 0.35 * std::max<double>(kLeastOn, CountOf(0.0, kCore * rim));
    for (const double scale : kScales) {
      const double sum = Improve(_places, scale * _radius, center);
      if (!(sum > (scale < 0.15 ? needed : 3.0))) return std::nullopt;
    }
    for (int i = 0; i < 2; ++i) Improve(_places, _scatter, center);
    const bool is_near = (center / center.norm() - nearest.direction).norm() < 1.2 * rim;
    return is_near && center.norm() > 1.0001 * _radius ? std::optional(center) : std::nullopt;
  }

  /// \param most m, that a sample on the ball may lie off it
  View Look(const Vector3d& center, double most) const {
    View view;
    const double distance = center.norm();
    const Vector3d away = center / distance;
    const Vector3d across = away.unitOrthogonal();
    const Vector3d up = away.cross(across);
    const double rim = Rim(distance);
    const double outer = std::max(kRing[1] * rim, kRing[0] * rim + 1.5 * _grid.step());
    view.core = CountOf(0.0, std::asin(kCore * std::sin(rim)));
    view.ring = CountOf(kRing[0] * rim, outer);
    _grid.Visit(away, outer, [&](std::size_t j) {
      const GridSample& s = _grid[j];
      const Vector3d place = s.Place();
      const double along = s.direction.dot(away);
      const Vector3d aside = s.direction - along * away;
      const double sine = aside.norm();
      const double off_middle = distance * sine;
      if (off_middle >= _radius || along <= 0.0) {
        const bool in_front =
            s.range < distance - 0.1 * _radius && s.range > distance - 3.0 * _radius;
        if (std::atan2(sine, along) > kRing[0] * rim && in_front) ++view.in_front;
        return false;
      }
      const double meets =
          distance * along - std::sqrt(_radius * _radius - off_middle * off_middle);
      const bool on = std::fabs((place - center).norm() - _radius) <= most && s.range < distance;
      if (on) view.on.push_back(place);
      if (off_middle > kCore * _radius) return false;
      if (!on && s.range > meets - 2.0 * _radius) ++view.beside;
      if (!on) return false;
      ++view.core_on;
      for (std::size_t k = 0; k < view.sides.size(); ++k) {
        const double angle =
            2.0 * kPi * static_cast<double>(k) / static_cast<double>(view.sides.size());
        const double side = std::cos(angle) * aside.dot(across) + std::sin(angle) * aside.dot(up);
        if (side > 0.0) ++view.sides[k];
      }
      return false;
    });
    return view;
  }

  bool ShowsBall(const View& view) const {
    const double on = view.core_on;
    if (on < kLeastOn || on < kLeastShown * view.core) return false;
    if (view.beside > kMostBeside * (on + view.beside)) return false;
    if (view.core_on < kFew && view.beside > 0) return false;
    if (view.in_front > std::max(1.0, kMostInFront * view.ring)) return false;
    return *std::min_element(view.sides.begin(), view.sides.end()) >= kLeastOnSide * on;
  }

  /// Root mean square off the ball, of so many degrees of freedom less.
  double ScatterOf(const std::vector<Vector3d>& places, const Vector3d& center) const {
    double sum = 0.0;
    for (const Vector3d& place : places) {
      const double off = (place - center).norm() - _radius;
      sum += off * off;
    }
    const double freedom = static_cast<double>(places.size()) - 3.0;
    return freedom > 0.0 ? std::sqrt(sum / freedom) : kNone;
  }

  /// Whether a ball of free radius through the same samples has the radius that is looked for, as
  /// far as they tell it: within three standard deviations and what the form may be off.
  bool IsCurvedSo(const std::vector<Vector3d>& places, Vector3d center) const {
    double radius = _radius;
    Matrix4 normal;
    double sum = 0.0;
    for (int i = 0; i < 4; ++i) {
      normal.setZero();
      Vector4 right = Vector4::Zero();
      sum = 0.0;
      for (const Vector3d& place : places) {
        const Vector3d out = place - center;
        const double distance = out.norm();
        if (!(distance > 0.0)) return false;
        Vector4 row;
        row << out / distance, 1.0;
        const double off = distance - radius;
        normal += row * row.transpose();
        right += off * row;
        sum += off * off;
      }
      const Vector4 step = normal.ldlt().solve(right);
      if (!step.allFinite() || !(step.norm() < 10.0 * _radius)) return false;
      center += step.head<3>();
      radius += step[3];
    }
    const double freedom = std::max(1.0, static_cast<double>(places.size()) - 4.0);
    const double variance = normal.ldlt().solve(Vector4::UnitW())[3];
    const double spread = 3.0 * std::sqrt(std::max(0.0, variance) * sum / freedom);
    return spread < 0.5 * _radius && std::fabs(radius - _radius) <= _scatter + 5e-5 + spread;
  }

  /// What lies within the widest that may be on the ball gives the scatter, and with it what does.
  double MostOff(const View& view, const Vector3d& center) const {
    std::vector<double> off;
    for (const Vector3d& place : view.on) {
      off.push_back(std::fabs((place - center).norm() - _radius));
    }
    if (off.empty()) return 0.0;
    const auto middle = off.begin() + static_cast<std::ptrdiff_t>(off.size() / 2);
    std::nth_element(off.begin(), middle, off.end());
    // Three standard deviations, by the median of a normal distribution.
    return std::clamp(4.5 * *middle, 1.5 * _scatter, 3.0 * _scatter);
  }

  std::optional<Rated> Judge(Vector3d center) const {
    View view = Look(center, 0.2 * _radius);
    for (int i = 0; i < 2; ++i) {
      view = Look(center, MostOff(view, center));
      if (view.core_on < kLeastOn || view.core_on < 0.8 * kLeastShown * view.core) {
        return std::nullopt;
      }
      for (int k = 0; k < 2; ++k) {
        if (!(Improve(view.on, kNone, center) > 0.0)) return std::nullopt;
      }
      if (!(center.norm() > 1.0001 * _radius)) return std::nullopt;
    }
    view = Look(center, MostOff(view, center));
    const double scatter = ScatterOf(view.on, center);
    if (!ShowsBall(view) || !(scatter <= _scatter) || !IsCurvedSo(view.on, center)) {
      return std::nullopt;
    }
    Rated rated;
    rated.ball = {center, scatter, static_cast<int>(view.on.size())};
    rated.rating = std::min(1.0, view.core_on / view.core) - scatter / _scatter;
    return rated;
  }

  /// Best first, without those that are part of a better one.
  std::vector<SeenBall> Best() {
    std::stable_sort(_found.begin(), _found.end(),
                     [](const Rated& a, const Rated& b) { return a.rating > b.rating; });
    std::vector<SeenBall> balls;
    for (const Rated& rated : _found) {
      const bool is_known = std::any_of(balls.begin(), balls.end(), [&](const SeenBall& ball) {
        return (ball.center - rated.ball.center).norm() < kApart * _radius;
      });
      if (!is_known) balls.push_back(rated.ball);
    }
    return balls;
  }

  const SampleGrid& _grid;
  double _radius;
  double _scatter;  ///< m, the largest of a ball
  std::vector<Vector3d> _places;
  std::vector<Rated> _found;
};

void RequireLength(const std::string& what, double value) {
  if (value > 1e-6 && value <= 1e3) return;
  throw host::CallError("a ball to look for: " + what + " " + host::Rounded(value, 9) +
                        " is not a length between 1e-6 and 1000 m");
}

}  // namespace

std::vector<std::vector<SeenBall>> FindBalls(const std::vector<host::RawDataPoint>& samples,
                                             const std::vector<double>& radii, double spacing) {
  RequireLength("spacing", spacing);
  for (const double radius : radii) RequireLength("radius", radius);
  const SampleGrid grid(samples, spacing);
  std::vector<std::vector<SeenBall>> found(radii.size());
  for (std::size_t i = 0; i < radii.size(); ++i) {
    const auto same =
        std::find(radii.begin(), radii.begin() + static_cast<std::ptrdiff_t>(i), radii[i]) -
        radii.begin();
    const auto first = static_cast<std::size_t>(same);
    found[i] = first < i ? found[first] : BallSearch(grid, radii[i]).Find();
  }
  return found;
}

std::vector<SeenBall> FindBalls(const std::vector<host::RawDataPoint>& samples, double radius,
                                double spacing) {
  return FindBalls(samples, std::vector<double>{radius}, spacing).front();
}

}  // namespace libmfx::inspection
