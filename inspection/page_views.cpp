#include "inspection/page_views.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <nlohmann/json.hpp>
#include <vector>

#include "inspection/page_marks.h"
#include "inspection/page_script.h"
#include "inspection/page_words.h"
#include "report/plot.h"
#include "report/tables.h"

namespace libmfx::inspection::page {
namespace {

using host::report::Element;
using host::report::NumberText;

/// A picture: the rows are the part's directions to the right, up and towards the reader.
struct View {
  const char* title;
  const char* from;
  std::array<double, 9> rows;
};

constexpr std::array<View, 3> kViews = {{
    {"Front", "seen from +z: x to the right, y up", {1, 0, 0, 0, 1, 0, 0, 0, 1}},
    {"Top", "seen from +y: x to the right, z down", {1, 0, 0, 0, 0, -1, 0, 1, 0}},
    {"Right", "seen from +x: z to the left, y up", {0, 0, -1, 0, 1, 0, 1, 0, 0}},
}};

// Picture units. kPartScript has the same numbers, and draws the same.
constexpr int kDotRadius = 26;
constexpr int kCrossArm = 70;
constexpr double kArrowHead = 100.0;
constexpr int kCorner = 3220;  // right and down, of the three axes
constexpr double kAxisLength = 200.0;
constexpr double kLetterAt = 290.0;
constexpr double kShortestAxis = 0.3;  // of its length: below, its letter would cover the others

struct Spot {
  int x = 0;
  int y = 0;
};

int Whole(double value) { return static_cast<int>(std::floor(value + 0.5)); }

std::string Pair(const Spot& spot) { return std::to_string(spot.x) + " " + std::to_string(spot.y); }

/// A rectangle that a name takes up.
struct Box {
  int left, top, right, bottom;

  bool Meets(const Box& other) const {
    return left < other.right && other.left < right && top < other.bottom && other.top < bottom;
  }
};

/// Draws the marks of a part as one view shows them.
class Drawing {
 public:
  explicit Drawing(const std::array<double, 9>& rows) : _rows(rows) {}

  std::string Svg(const Mark& mark) {
    if (mark.kind == Mark::Kind::kLabel) return TextAt(mark, LabelSpot(mark));
    if (mark.kind == Mark::Kind::kLetter) return TextAt(mark, LetterSpot(mark));
    return "<path class=\"mark " + mark.style + "\" d=\"" + Path(mark) + "\"/>\n";
  }

 private:
  struct Shown {
    Spot spot;
    bool is_visible = true;
  };

  Spot At(const std::vector<int>& at, std::size_t i) const {
    const double x = at[i];
    const double y = at[i + 1];
    const double z = at[i + 2];
    return {Whole(kMiddle + _rows[0] * x + _rows[1] * y + _rows[2] * z),
            Whole(kMiddle - (_rows[3] * x + _rows[4] * y + _rows[5] * z))};
  }

  std::string Path(const Mark& mark) const {
    switch (mark.kind) {
      case Mark::Kind::kBall:
        return Circle(At(mark.at, 0), mark.at[3]);
      case Mark::Kind::kDot:
        return Circle(At(mark.at, 0), kDotRadius);
      case Mark::Kind::kCross:
        return Cross(At(mark.at, 0));
      case Mark::Kind::kArrow:
        return Arrow(At(mark.at, 0), At(mark.at, 3));
      case Mark::Kind::kAxis:
        return "M" + Pair({kCorner, kCorner}) + "L" + Pair(AxisEnd(mark.at, kAxisLength));
      default:
        break;
    }
    std::string path;
    for (std::size_t i = 0; i + 2 < mark.at.size(); i += 3) {
      const bool begins = i == 0 || mark.kind == Mark::Kind::kCloud;
      path += (begins ? "M" : "L") + Pair(At(mark.at, i));
      if (mark.kind == Mark::Kind::kCloud) path += "h0";
    }
    return mark.kind == Mark::Kind::kClosed ? path + "Z" : path;
  }

  static std::string Circle(const Spot& middle, int radius) {
    const std::string r = std::to_string(radius);
    const std::string arc = "a" + r + " " + r + " 0 1 0 ";
    return "M" + Pair({middle.x - radius, middle.y}) + arc + std::to_string(2 * radius) + " 0" +
           arc + std::to_string(-2 * radius) + " 0Z";
  }

  static std::string Cross(const Spot& at) {
    const int arm = kCrossArm;
    return "M" + Pair({at.x - arm, at.y - arm}) + "L" + Pair({at.x + arm, at.y + arm}) + "M" +
           Pair({at.x - arm, at.y + arm}) + "L" + Pair({at.x + arm, at.y - arm});
  }

  static std::string Arrow(const Spot& from, const Spot& to) {
    const std::string shaft = "M" + Pair(from) + "L" + Pair(to);
    const double dx = to.x - from.x;
    const double dy = to.y - from.y;
    const double length = std::sqrt(dx * dx + dy * dy);
    if (length < 1.0) return shaft;
    const double head = std::min(kArrowHead, 0.5 * length) / length;
    const auto end = [&](double side) {
      return Pair({Whole(to.x - head * (0.9 * dx - side * dy)),
                   Whole(to.y - head * (0.9 * dy + side * dx))});
    };
    return shaft + "M" + end(0.45) + "L" + Pair(to) + "L" + end(-0.45);
  }

  Spot AxisEnd(const std::vector<int>& at, double length) const {
    const double part = length / 1000.0;
    const double right = _rows[0] * at[0] + _rows[1] * at[1] + _rows[2] * at[2];
    const double up = _rows[3] * at[0] + _rows[4] * at[1] + _rows[5] * at[2];
    return {Whole(kCorner + part * right), Whole(kCorner - part * up)};
  }

  Shown LetterSpot(const Mark& mark) const {
    const Spot end = AxisEnd(mark.at, kLetterAt);
    const double dx = end.x - kCorner;
    const double dy = end.y - kCorner;
    const double shortest = kShortestAxis * kLetterAt;
    return {{end.x, end.y + 50}, dx * dx + dy * dy >= shortest * shortest};
  }

  /// Beside its place where no other name is, in one of four ways.
  Shown LabelSpot(const Mark& mark) {
    const Spot at = At(mark.at, 0);
    const int width = mark.at[3];
    const std::array<Spot, 4> ways = {{{at.x + 60, at.y - 50},
                                       {at.x + 60, at.y + 150},
                                       {at.x - 60 - width, at.y - 50},
                                       {at.x - 60 - width, at.y + 150}}};
    for (const Spot& way : ways) {
      const Box box{way.x, way.y - 125, way.x + width, way.y + 35};
      const bool inside =
          box.left >= 0 && box.top >= 0 && box.right <= 2 * kMiddle && box.bottom <= 2 * kMiddle;
      const bool free = std::none_of(_taken.begin(), _taken.end(),
                                     [&box](const Box& other) { return box.Meets(other); });
      if (!inside || !free) continue;
      _taken.push_back(box);
      return {way, true};
    }
    return {ways[0], false};
  }

  static std::string TextAt(const Mark& mark, const Shown& shown) {
    return "<text class=\"mark " + mark.style + "\" x=\"" + std::to_string(shown.spot.x) +
           "\" y=\"" + std::to_string(shown.spot.y) + "\" visibility=\"" +
           (shown.is_visible ? "visible" : "hidden") + "\">" + mark.text + "</text>\n";
  }

  const std::array<double, 9>& _rows;
  std::vector<Box> _taken;
};

/// The bar that tells both scales, as SVG.
/// \param metres receives what of the part it is as long as
std::string ScaleBar(const Marks& marks, const Numbers& numbers) {
  constexpr double kLongest = 1100.0;
  constexpr int kLeft = 120;
  constexpr int kDown = 3330;
  const double unit = numbers.IsMetric() ? 1e-3 : 0.0254;
  const double metres = unit * RoundDown(kLongest / marks.scale / unit);
  const int right = kLeft + Whole(metres * marks.scale);
  const auto text = [](int y, const std::string& words) {
    return "<text class=\"scale\" x=\"" + std::to_string(kLeft) + "\" y=\"" + std::to_string(y) +
           "\">" + words + "</text>\n";
  };
  std::string svg = "<path class=\"scale\" d=\"M" + Pair({kLeft, kDown - 40}) + "V" +
                    std::to_string(kDown) + "H" + std::to_string(right) + "V" +
                    std::to_string(kDown - 40) + "\"/>\n";
  svg += text(kDown - 70, numbers.Told(metres) + " of the part");
  if (marks.factor > 0.0) {
    svg += text(kDown + 150, numbers.Told(metres / marks.factor) + " of deviation");
  }
  return svg;
}

std::string Picture(const Marks& marks, const View& view, const Numbers& numbers) {
  const std::string side = std::to_string(2 * kMiddle);
  std::string svg = "<svg class=\"part\" role=\"img\" aria-label=\"" + std::string(view.title) +
                    " view of the part with its deviations, which the tables tell in numbers\" "
                    "viewBox=\"0 0 " +
                    side + " " + side + "\" xmlns=\"http://www.w3.org/2000/svg\">\n";
  svg += ScaleBar(marks, numbers);
  Drawing drawing(view.rows);
  for (const MarkGroup& group : marks.groups) {
    svg += "<g>";
    if (!group.title.empty()) svg += "<title>" + group.title + "</title>";
    svg += "\n";
    for (const Mark& mark : group.marks) svg += drawing.Svg(mark);
    svg += "</g>\n";
  }
  return svg + "</svg>\n";
}

/// Buttons that only the script makes work: it shows them.
std::string Buttons(const char* title) {
  const auto button = [title](const char* turn, const char* words, const char* way) {
    return "<button type=\"button\" data-turn=\"" + std::string(turn) + "\" aria-label=\"" + title +
           " view: " + way + "\">" + words + "</button>";
  };
  return "<div class=\"turns\" hidden>" + button("left", "←", "turn to the left") +
         button("up", "↑", "turn up") + button("down", "↓", "turn down") +
         button("right", "→", "turn to the right") + button("reset", "Reset", "reset") + "</div>\n";
}

std::string Figure(const Marks& marks, const View& view, const Numbers& numbers) {
  return "<figure class=\"view\">\n<h3>" + std::string(view.title) +
         "</h3>\n<div class=\"stage\" role=\"group\" aria-label=\"" + view.title + " view\">\n" +
         Picture(marks, view, numbers) + "</div>\n" + Buttons(view.title) + "<figcaption>" +
         view.from +
         "<span class=\"turned\" hidden>, before it was turned</span></figcaption>\n</figure>\n";
}

/// The marks and the views for the script: numbers and words of this source alone.
std::string Data(const Marks& marks) {
  nlohmann::ordered_json data;
  for (const View& view : kViews) data["views"].push_back(view.rows);
  data["marks"] = nlohmann::ordered_json::array();
  for (const MarkGroup& group : marks.groups) {
    for (const Mark& mark : group.marks) data["marks"].push_back({NameOf(mark.kind), mark.at});
  }
  return "<script type=\"application/json\" id=\"part-data\">" + data.dump() + "</script>\n";
}

std::string Key(Verdict verdict) {
  const Sign sign = SignOf(verdict);
  return "<span><i class=\"sign " + std::string(sign.style) + "\" aria-hidden=\"true\">" +
         sign.mark + "</i> " + std::string(VerdictName(verdict)) + "</span> ";
}

std::string Words(const Marks& marks, const Numbers& numbers) {
  std::string arrows = "No place that was measured deviates, so no arrow is drawn. ";
  if (marks.factor > 0.0) {
    const double length = numbers.IsMetric() ? 1e-3 : 0.0254;
    arrows =
        "Arrows lead from where a place should be towards where it was measured, in the "
        "directions that are measured of it, and are " +
        Element("b", NumberText(marks.factor, 3) + " times") +
        "as long as the deviations: " + numbers.Told(length) + " in the picture is " +
        numbers.Told(length / marks.factor) + " of deviation. ";
  }
  std::string points;
  if (marks.all_points > 0) {
    points = " Small dots: " + std::to_string(marks.points) + " of " +
             std::to_string(marks.all_points) + " points that were measured.";
  }
  return Element("p class=\"legend\"",
                 "Colours are those of the worst verdict a feature takes part in: " +
                     Key(Verdict::kConforms) + Key(Verdict::kDoesNotConform) +
                     Key(Verdict::kUndecided) + Key(Verdict::kNotMeasured) +
                     "<span><i class=\"sign unasked\" aria-hidden=\"true\">●</i> nothing was "
                     "asked</span>") +
         Element("p class=\"note\"",
                 arrows + "Outlines are the nominal ones; dashed with a cross: not measured." +
                     points + " A name that would cover another one is left out.") +
         "<p class=\"note hint\" hidden>Turn a picture with the mouse, with a finger that begins "
         "sideways, with its buttons, or with the arrow keys once it has the focus.</p>\n";
}

}  // namespace

std::string PartSection(const Sheet& sheet) {
  const Marks marks = MarksOf(sheet);
  const std::string heading = Element("h2", "The part and its deviations");
  if (!(marks.scale > 0.0)) {
    return Element("section class=\"part-pictures\"",
                   "\n" + heading + Element("p", "No feature has a place that can be drawn."));
  }
  const Numbers numbers(sheet.plan.units);
  std::string figures;
  for (const View& view : kViews) figures += Figure(marks, view, numbers);
  return Element("section class=\"part-pictures\"",
                 "\n" + heading + Words(marks, numbers) +
                     Element("div class=\"views\"", "\n" + figures) + Data(marks) +
                     Element("script", kPartScript));
}

}  // namespace libmfx::inspection::page
