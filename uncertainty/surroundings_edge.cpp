#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>
#include <utility>
#include <vector>

#include "uncertainty/surroundings_seen.h"

namespace libmfx::uncertainty {
namespace {

/// The profile of a border: front, rounding or chamfer, wall. Coordinates are out of the plate and
/// down from the front.
struct Border {
  double corner = 0.0;  ///< outwards, where front and wall meet before they are rounded or cut
  double lean = 0.0;    ///< of the wall
  double fillet = 0.0;
  double chamfer = 0.0;

  /// What is cut off along front and wall each.
  double Cut() const;
  /// Depth at which the wall begins.
  double WallStart() const { return Cut() * std::cos(lean); }
  /// Distance of a point from it; its wall has no end.
  double Distance(const Vector2d& p) const;
};

double FromSegment(const Vector2d& p, const Vector2d& start, const Vector2d& unit, double length) {
  const double along = std::clamp((p - start).dot(unit), 0.0, length);
  return (p - start - along * unit).norm();
}

double Border::Cut() const {
  // A rounding's radius over the tangent of half of the body's inner angle.
  if (fillet > 0.0) return fillet / std::tan(0.25 * std::numbers::pi + 0.5 * lean);
  return chamfer;
}

double Border::Distance(const Vector2d& p) const {
  constexpr double kEndless = 100.0;  // metres
  const Vector2d corner_at(corner, 0.0), front(-1.0, 0.0), wall(std::sin(lean), std::cos(lean));
  const double cut = Cut();
  const Vector2d front_end = corner_at + cut * front, wall_start = corner_at + cut * wall;
  double distance = std::min(FromSegment(p, front_end, front, kEndless),
                             FromSegment(p, wall_start, wall, kEndless));
  if (fillet > 0.0) {
    const Vector2d from = p - (front_end + Vector2d(0.0, fillet));
    const Vector2d to_wall = wall_start - front_end - Vector2d(0.0, fillet);
    // Within the arc, between the directions to its two ends.
    const bool is_within = from.x() >= 0.0 && from.dot(wall) <= 0.0 && from.dot(to_wall) > 0.0;
    if (is_within) distance = std::min(distance, std::abs(from.norm() - fillet));
  } else if (chamfer > 0.0) {
    const Vector2d across = wall_start - front_end;
    if (across.norm() > 0.0) {
      distance = std::min(distance, FromSegment(p, front_end, across.normalized(), across.norm()));
    }
  }
  return distance;
}

constexpr double kFar = 0.0003;           // metres; what lies farther off is not of the border
constexpr std::size_t kMostLooked = 400;  // samples
constexpr double kSteepest = 85.0 * std::numbers::pi / 180.0;

/// A border and how far the samples lie off it on average, none counted with more than kFar.
struct Fit {
  Border border;
  double cost = std::numeric_limits<double>::infinity();
};

double CostOf(const Border& border, const std::vector<Vector2d>& samples) {
  double sum = 0.0;
  for (const Vector2d& p : samples) sum += std::min(kFar, border.Distance(p));
  return sum / static_cast<double>(samples.size());
}

/// What of a border a family leaves free.
struct Family {
  bool leans = false;
  double Border::*size = nullptr;  ///< none: a sharp border
  int Freedom() const { return (leans ? 1 : 0) + (size != nullptr ? 1 : 0); }
};

/// Steps up and down each free number, by halved steps where none helps.
Fit Refined(Fit fit, const Family& family, const std::vector<Vector2d>& samples) {
  double corner_step = 0.0002, lean_step = 0.06, size_step = 0.0004;
  for (int round = 0; round < 60 && corner_step > 1e-7; ++round) {
    bool better = false;
    const auto attempt = [&](double Border::*number, double step, double low, double high) {
      for (const double change : {step, -step}) {
        Border border = fit.border;
        border.*number = std::clamp(border.*number + change, low, high);
        const double cost = CostOf(border, samples);
        if (!(cost < fit.cost)) continue;
        fit = {border, cost};
        better = true;
        return;
      }
    };
    attempt(&Border::corner, corner_step, -1.0, 1.0);
    if (family.leans) attempt(&Border::lean, lean_step, -0.5, kSteepest);
    if (family.size != nullptr) attempt(family.size, size_step, 1e-6, 0.02);
    if (better) continue;
    corner_step *= 0.5;
    lean_step *= 0.5;
    size_step *= 0.5;
  }
  return fit;
}

Fit BestOf(const Family& family, const std::vector<Vector2d>& samples, const Border& start) {
  constexpr double kDegree = std::numbers::pi / 180.0;
  Fit best;
  const std::vector<double> leans =
      family.leans ? std::vector<double>{-15.0, 0.0, 15.0, 30.0, 45.0, 60.0, 75.0}
                   : std::vector<double>{start.lean / kDegree};
  const std::vector<double> sizes = family.size != nullptr
                                        ? std::vector<double>{0.0002, 0.0005, 0.001, 0.002, 0.004}
                                        : std::vector<double>{0.0};
  std::vector<Fit> starts;
  for (const double lean : leans) {
    for (const double size : sizes) {
      for (int i = -8; i <= 8; ++i) {
        Border border = start;
        border.lean = lean * kDegree;
        if (family.size != nullptr) border.*family.size = size;
        border.corner += 0.00025 * i;
        starts.push_back({border, CostOf(border, samples)});
      }
    }
  }
  // The most promising ones to the end.
  constexpr std::size_t kKept = 4;
  const std::size_t kept = std::min(kKept, starts.size());
  std::partial_sort(starts.begin(), starts.begin() + static_cast<std::ptrdiff_t>(kept),
                    starts.end(), [](const Fit& a, const Fit& b) { return a.cost < b.cost; });
  for (std::size_t i = 0; i < kept; ++i) {
    const Fit one = Refined(starts[i], family, samples);
    if (one.cost < best.cost) best = one;
  }
  return best;
}

/// Samples of the border in section: without what lies behind, and at most as many as are needed.
std::vector<Vector2d> ProfileOf(const Sight& sight, const Twin& twin) {
  constexpr double kAround = 0.008;  // metres outwards and inwards of the edge point
  std::vector<Vector2d> samples;
  for (const Seen& seen : sight.samples) {
    const bool is_behind = twin.behind && seen.Depth() > *twin.behind - kFar;
    if (is_behind || std::abs(seen.place.x()) > kAround || seen.Depth() < -kFar) continue;
    samples.emplace_back(seen.place.x(), seen.Depth());
  }
  if (samples.size() <= kMostLooked) return samples;
  std::vector<Vector2d> fewer;
  for (std::size_t i = 0; i < kMostLooked; ++i) {
    fewer.push_back(samples[i * samples.size() / kMostLooked]);
  }
  return fewer;
}

/// Whether samples lie on the wall below what is rounded or cut.
bool ShowsWall(const Border& border, const std::vector<Vector2d>& samples) {
  constexpr std::ptrdiff_t kFewest = 5;
  const double start = border.corner + border.WallStart() * std::tan(border.lean);
  return std::count_if(samples.begin(), samples.end(), [&](const Vector2d& p) {
           const double out = border.corner + p.y() * std::tan(border.lean);
           return p.y() > border.WallStart() + 0.0001 && p.x() > start - kFar &&
                  std::abs(p.x() - out) * std::cos(border.lean) < 0.0001;
         }) >= kFewest;
}

/// The plainest border that explains the samples about as well as any.
Fit Chosen(const std::vector<Vector2d>& samples, const Border& start) {
  // What each number more has to bring.
  constexpr double kBetter = 0.8;
  constexpr double kEnough = 2e-6;  // metres
  const std::array<Family, 6> families = {{{false, nullptr},
                                           {true, nullptr},
                                           {false, &Border::fillet},
                                           {false, &Border::chamfer},
                                           {true, &Border::fillet},
                                           {true, &Border::chamfer}}};
  Fit chosen;
  int freedom = 0;
  for (const Family& family : families) {
    const Fit one = BestOf(family, samples, start);
    const double share = std::pow(kBetter, family.Freedom() - freedom);
    const bool is_more = family.Freedom() > freedom;
    if (!(one.cost < share * chosen.cost)) continue;
    if (is_more && chosen.cost - one.cost < kEnough) continue;
    if (family.Freedom() > 1 && !ShowsWall(one.border, samples)) continue;
    chosen = one;
    freedom = family.Freedom();
  }
  return chosen;
}

/// Depth of the deepest plane among the samples that do not lie on the border.
std::optional<double> BehindBorder(const Sight& sight, const Border& border) {
  std::vector<double> depths;
  for (const Seen& seen : sight.samples) {
    const Vector2d p(seen.place.x(), seen.Depth());
    const bool is_beyond = seen.Entry().x() > border.corner - kFar && p.y() > 2.0 * kFar;
    if (is_beyond && border.Distance(p) > kFar) depths.push_back(p.y());
  }
  return DeepestPlane(std::move(depths));
}

/// A chamfer below which no wall is seen ends where its samples do.
Border WithoutUnseen(Border border, const std::vector<Vector2d>& samples, double spacing) {
  if (border.chamfer == 0.0 || ShowsWall(border, samples)) return border;
  double deepest = 0.0;
  for (const Vector2d& p : samples) {
    const bool is_on_it = border.Distance(p) < 0.0001 && p.x() < border.corner + 0.0001;
    if (is_on_it) deepest = std::max(deepest, p.y());
  }
  const double chamfer = std::min(border.chamfer, deepest + 0.5 * spacing);
  // Its slope stays where it was seen, and the corner above its lower end.
  border.corner -= border.chamfer - chamfer;
  border.chamfer = chamfer;
  return border;
}

/// The wall's own depth, where lines see it end.
void TellThickness(Twin& twin, const Sight& sight, const Border& border) {
  constexpr double kOnWall = 0.00015;
  std::vector<bool> is_on_wall;
  for (const Seen& seen : sight.samples) {
    const double depth = seen.Depth();
    const bool is_behind = twin.behind && depth > *twin.behind - kOnWall;
    const double out = border.corner + depth * std::tan(border.lean);
    is_on_wall.push_back(!is_behind && depth > border.WallStart() + kFar &&
                         std::abs(seen.place.x() - out) * std::cos(border.lean) < kOnWall);
  }
  const WallDepth wall = DepthOfWall(sight, is_on_wall, twin.spacing, 1);
  twin.thickness = wall.end ? *wall.end : std::max(twin.thickness, wall.seen);
  twin.thickness = std::max(twin.thickness, border.WallStart() + kFar);
}

}  // namespace

void TellBorder(Twin& twin, const Sight& sight) {
  constexpr std::size_t kFewest = 20;
  const Border start{0.0, twin.wall_angle, 0.0, 0.0};
  twin.behind.reset();
  std::vector<Vector2d> samples = ProfileOf(sight, twin);
  if (samples.size() < kFewest) return;
  // A plane that lies behind is known by what the border itself leaves, and the border better
  // without it.
  twin.behind = BehindBorder(sight, Chosen(samples, start).border);
  if (twin.behind) samples = ProfileOf(sight, twin);
  if (samples.size() < kFewest) return;
  const Border border = WithoutUnseen(Chosen(samples, start).border, samples, twin.spacing);
  twin.wall_angle = border.lean;
  twin.fillet = border.fillet;
  twin.chamfer = border.chamfer;
  TellThickness(twin, sight, border);
}

}  // namespace libmfx::uncertainty
