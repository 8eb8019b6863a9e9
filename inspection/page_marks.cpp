#include "inspection/page_marks.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>
#include <utility>

#include "inspection/page_outlines.h"
#include "inspection/page_words.h"

namespace libmfx::inspection::page {
namespace {

constexpr double kLongestArrow = 0.2;   // of the part's reach
constexpr double kNoDeviation = 1e-12;  // m
constexpr double kSmallestPart = 1e-4;  // m, half of what a picture shows at least
constexpr double kMarkShare = 0.025;    // of the reach, for what has no size of its own
constexpr double kStray = 1.03;  // of the reach: points farther off are no surface of the part
constexpr std::size_t kLongestLabel = 18;  // characters

/// The ball around all that is drawn.
struct Ball {
  Vector3d middle = Vector3d::Zero();
  double radius = 0.0;  ///< 0: there is nothing
};

/// The corners of what a feature takes up.
std::vector<Vector3d> Taken(const PlannedFeature& feature) {
  std::vector<Vector3d> places;
  if (const auto spot = SpotOf(feature)) places.push_back(*spot);
  for (const Outline& outline : OutlinesOf(feature, 0.0)) {
    const Vector3d around = Vector3d::Constant(outline.ball_radius);
    for (const Vector3d& point : outline.points) {
      places.push_back(point - around);
      places.push_back(point + around);
    }
  }
  return places;
}

Ball BallAround(const Plan& plan) {
  std::vector<Vector3d> places;
  for (const PlannedFeature& feature : plan.features) {
    const std::vector<Vector3d> taken = Taken(feature);
    places.insert(places.end(), taken.begin(), taken.end());
  }
  Ball ball;
  if (places.empty()) return ball;
  Vector3d low = places.front();
  Vector3d high = places.front();
  for (const Vector3d& place : places) {
    low = low.cwiseMin(place);
    high = high.cwiseMax(place);
  }
  ball.middle = 0.5 * (low + high);
  for (const Vector3d& place : places) {
    ball.radius = std::max(ball.radius, (place - ball.middle).norm());
  }
  ball.radius = std::max(ball.radius, kSmallestPart);
  return ball;
}

/// Turns metres into whole picture units.
struct Paper {
  Ball ball;
  double scale;

  static int Unit(double value) {
    return static_cast<int>(std::lround(std::clamp(value, -1e6, 1e6)));
  }
  void Append(const Vector3d& place, std::vector<int>& at) const {
    for (int i = 0; i < 3; ++i) at.push_back(Unit((place[i] - ball.middle[i]) * scale));
  }
  std::vector<int> At(const Vector3d& place) const {
    std::vector<int> at;
    Append(place, at);
    return at;
  }
};

/// An even choice of the measured points of all features.
MarkGroup Cloud(const Sheet& sheet, const Paper& paper, Marks& marks) {
  for (const FeatureResult& result : sheet.features) marks.all_points += result.points.size();
  const std::size_t step =
      std::max<std::size_t>(1, (marks.all_points + kMostPoints - 1) / kMostPoints);
  Mark cloud{Mark::Kind::kCloud, "cloud", {}};
  std::size_t number = 0;
  for (const FeatureResult& result : sheet.features) {
    for (const Vector3d& point : result.points) {
      if (number++ % step != 0) continue;
      const bool near =
          CanBeDrawn(point) && (point - paper.ball.middle).norm() <= kStray * paper.ball.radius;
      if (!near) continue;
      paper.Append(point, cloud.at);
      ++marks.points;
    }
  }
  return {"", {std::move(cloud)}};
}

/// A factor that draws the longest arrow as long as it may be, or a little shorter.
double ArrowFactor(const Sheet& sheet, const Ball& ball) {
  double longest = 0.0;
  for (std::size_t i = 0; i < sheet.plan.features.size(); ++i) {
    const auto off = DeviationOf(sheet.plan.features[i], ResultOf(sheet, i));
    if (off && CanBeDrawn(*off)) longest = std::max(longest, off->norm());
  }
  return longest > kNoDeviation ? RoundDown(kLongestArrow * ball.radius / longest) : 0.0;
}

/// How far from the middle the arrows end, m.
double FarthestTip(const Sheet& sheet, const Ball& ball, double factor) {
  double farthest = 0.0;
  for (std::size_t i = 0; i < sheet.plan.features.size(); ++i) {
    const auto off = DeviationOf(sheet.plan.features[i], ResultOf(sheet, i));
    const auto spot = SpotOf(sheet.plan.features[i]);
    if (!off || !spot || !CanBeDrawn(*off)) continue;
    farthest = std::max(farthest, (*spot + factor * *off - ball.middle).norm());
  }
  return farthest;
}

/// The classes of a feature's colour.
std::string ColourOf(const std::optional<Verdict>& worst) {
  return worst ? SignOf(*worst).style : "unasked";
}

std::string TitleOf(const Sheet& sheet, std::size_t index, const std::optional<Verdict>& worst,
                    const std::optional<Vector3d>& deviation) {
  std::string title = Text(sheet.plan.features[index].name);
  if (worst) title += ": " + std::string(VerdictName(*worst));
  if (!ResultOf(sheet, index).is_measured) return title + "; not measured";
  if (deviation) {
    title += "; " + Numbers(sheet.plan.units).Told(deviation->norm()) + " off its nominal place";
  }
  return title;
}

MarkGroup FeatureMarks(const Sheet& sheet, std::size_t index, const std::optional<Verdict>& worst,
                       const Paper& paper, double factor) {
  const PlannedFeature& feature = sheet.plan.features[index];
  const bool is_measured = ResultOf(sheet, index).is_measured;
  const std::string colour = ColourOf(worst);
  const std::optional<Vector3d> deviation = DeviationOf(feature, ResultOf(sheet, index));
  MarkGroup group{TitleOf(sheet, index, worst, deviation), {}};
  for (const Outline& outline : OutlinesOf(feature, kMarkShare * paper.ball.radius)) {
    Mark mark{Mark::Kind::kLine, is_measured ? "outline" : "outline missing", {}};
    for (const Vector3d& point : outline.points) paper.Append(point, mark.at);
    if (outline.is_closed) mark.kind = Mark::Kind::kClosed;
    if (outline.ball_radius > 0.0) {
      mark.kind = Mark::Kind::kBall;
      mark.at.push_back(Paper::Unit(outline.ball_radius * paper.scale));
    }
    group.marks.push_back(std::move(mark));
  }
  const std::optional<Vector3d> spot = SpotOf(feature);
  if (!spot) return group;
  const std::vector<int> place = paper.At(*spot);
  if (!is_measured) {
    group.marks.push_back({Mark::Kind::kCross, "cross " + colour, place});
    return group;
  }
  if (deviation && factor > 0.0 && CanBeDrawn(*deviation)) {
    Mark arrow{Mark::Kind::kArrow, "arrow " + colour, place};
    paper.Append(*spot + factor * *deviation, arrow.at);
    group.marks.push_back(std::move(arrow));
  }
  group.marks.push_back({Mark::Kind::kDot, "dot " + colour, place});
  return group;
}

/// How wide a text is drawn, about: what is not of the western alphabets is wider.
int WidthOf(const std::string& text) {
  constexpr double kFont = 150.0;  // picture units, as in kSheetStyle
  double width = 0.0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80 || (byte >= 0xC2 && byte < 0xE1)) {
      width += 0.58;
    } else if (byte >= 0xE1) {
      width += 1.1;
    }
  }
  return static_cast<int>(kFont * width);
}

/// Names, those with the worst verdicts first: where there is no room for all, these stay.
MarkGroup Names(const Sheet& sheet, const std::vector<std::optional<Verdict>>& worst,
                const Paper& paper) {
  std::vector<std::size_t> order(sheet.plan.features.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&worst](std::size_t a, std::size_t b) {
    return Severity(worst[a]) > Severity(worst[b]);
  });
  MarkGroup names;
  for (const std::size_t i : order) {
    const PlannedFeature& feature = sheet.plan.features[i];
    const std::optional<Vector3d> spot = SpotOf(feature);
    if (!spot) continue;
    const std::string sign = worst[i] ? std::string(SignOf(*worst[i]).mark) + " " : "";
    const std::string text = sign + Shortened(feature.name, kLongestLabel);
    Mark label{Mark::Kind::kLabel, "name " + ColourOf(worst[i]), paper.At(*spot), Text(text)};
    label.at.push_back(WidthOf(text));
    names.marks.push_back(std::move(label));
  }
  return names;
}

MarkGroup Axes() {
  MarkGroup axes;
  constexpr int kUnit = 1000;
  for (int i = 0; i < 3; ++i) {
    std::vector<int> end(3, 0);
    end[static_cast<std::size_t>(i)] = kUnit;
    axes.marks.push_back({Mark::Kind::kAxis, "axis", end});
    axes.marks.push_back({Mark::Kind::kLetter, "letter", end, std::string(1, "xyz"[i])});
  }
  return axes;
}

}  // namespace

const char* NameOf(Mark::Kind kind) {
  switch (kind) {
    case Mark::Kind::kLine:
      return "line";
    case Mark::Kind::kClosed:
      return "closed";
    case Mark::Kind::kBall:
      return "ball";
    case Mark::Kind::kDot:
      return "dot";
    case Mark::Kind::kCross:
      return "cross";
    case Mark::Kind::kCloud:
      return "cloud";
    case Mark::Kind::kArrow:
      return "arrow";
    case Mark::Kind::kLabel:
      return "label";
    case Mark::Kind::kAxis:
      return "axis";
    case Mark::Kind::kLetter:
      break;
  }
  return "letter";
}

double RoundDown(double value) {
  const double decade = std::pow(10.0, std::floor(std::log10(value)));
  for (const double digit : {5.0, 2.0}) {
    if (digit * decade <= value) return digit * decade;
  }
  return decade;
}

Marks MarksOf(const Sheet& sheet) {
  Marks marks;
  Ball ball = BallAround(sheet.plan);
  if (!(ball.radius > 0.0)) return marks;
  marks.factor = ArrowFactor(sheet, ball);
  ball.radius = std::max(ball.radius, FarthestTip(sheet, ball, marks.factor));
  marks.scale = kReach / ball.radius;
  const Paper paper{ball, marks.scale};
  marks.groups.push_back(Cloud(sheet, paper, marks));
  std::vector<std::optional<Verdict>> worst;
  worst.reserve(sheet.plan.features.size());
  for (const std::vector<std::size_t>& asked : AskedOf(sheet)) {
    worst.push_back(WorstVerdict(sheet, asked));
  }
  for (std::size_t i = 0; i < sheet.plan.features.size(); ++i) {
    marks.groups.push_back(FeatureMarks(sheet, i, worst[i], paper, marks.factor));
  }
  marks.groups.push_back(Names(sheet, worst, paper));
  marks.groups.push_back(Axes());
  return marks;
}

}  // namespace libmfx::inspection::page
