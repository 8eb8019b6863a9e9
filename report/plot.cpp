#include "report/plot.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace libmfx::host::report {
namespace {

// Room around the axes, in user units.
constexpr double kLeft = 88.0;
constexpr double kRight = 14.0;
constexpr double kTop = 10.0;
constexpr double kBottom = 52.0;

// Even steps of lightness, so that the order survives a black-and-white printer.
constexpr std::array<const char*, 5> kQualityColours = {"#3b0f70", "#8c2981", "#de4968", "#f08a3c",
                                                        "#e8b93a"};

/// A coordinate of the SVG: a hundredth of a user unit is finer than any screen.
std::string Coordinate(double value) {
  char buffer[32];
  const double held = std::clamp(value, -1e6, 1e6);
  const auto end =
      std::to_chars(buffer, buffer + sizeof buffer, held, std::chars_format::fixed, 2).ptr;
  return {buffer, end};
}

std::string At(const char* x_name, const char* y_name, const Point2& p) {
  return " " + std::string(x_name) + "=\"" + Coordinate(p.x()) + "\" " + y_name + "=\"" +
         Coordinate(p.y()) + "\"";
}

/// A round distance of ticks: about five of them fit.
double TickStep(double size) {
  const double raw = size / 5.0;
  const double decade = std::pow(10.0, std::floor(std::log10(raw)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (raw <= factor * decade) return factor * decade;
  }
  return 10.0 * decade;
}

/// A little room at both ends, and some extent for what has none.
void Widen(Plot::Axis& axis) {
  if (!(std::isfinite(axis.low) && std::isfinite(axis.high))) axis.low = axis.high = 0.0;
  double margin = 0.05 * (axis.high - axis.low);
  if (!(margin > 1e-12 * std::abs(axis.high))) margin = std::max(1.0, 0.05 * std::abs(axis.high));
  axis.low -= margin;
  axis.high += margin;
}

void StretchTo(Plot::Axis& axis, double size) {
  const double missing = 0.5 * (size - (axis.high - axis.low));
  axis.low -= missing;
  axis.high += missing;
}

}  // namespace

// A colour that a mark brings along is one of a few, which a dark page replaces by their own words:
// the order of lightness of the qualities and the names that captions use stay.
const char* const kPlotStyle = R"(
:root { --text: #333; --frame: #555; --grid: #e3e3e3; --plan: #3b6fb6; --faint-line: #999;
  --nominal: #777; --measured: #c8102e; --sample: #1b4f8f; --odd: #d9822b; }
svg .frame { fill: none; stroke: var(--frame); stroke-width: 1; }
svg .grid { stroke: var(--grid); stroke-width: 1; }
svg text { font: 14px sans-serif; fill: var(--text); }
svg .plan { fill: none; stroke: var(--plan); stroke-width: 1; opacity: .55; }
svg .jump { fill: none; stroke: var(--faint-line); stroke-width: .7; stroke-dasharray: 2 3; }
svg .nominal { fill: none; stroke: var(--nominal); stroke-width: 1.2; stroke-dasharray: 6 4; }
svg .measured { fill: none; stroke: var(--measured); stroke-width: 1.6; }
svg .level { fill: none; stroke: var(--measured); stroke-width: 1; stroke-dasharray: 5 3; }
svg .sample { fill: var(--sample); }
svg .odd { fill: var(--odd); }
svg .far { fill: none; stroke: var(--faint-line); stroke-width: .7; }
svg .dropped { fill: none; stroke: var(--measured); stroke-width: .8; }
@media (max-width: 560px) { svg text { font-size: 19px; } }
@media print { svg text { font-size: 20px; } }
@media screen and (prefers-color-scheme: dark) {
  :root { --text: #ccc; --frame: #8a8a8a; --grid: #303338; --plan: #6fa0e0; --faint-line: #858585;
    --nominal: #a0a0a0; --measured: #ff5d6c; --sample: #5c9df0; }
  [style="fill:#3b0f70"], [style="color:#3b0f70"] { fill: #7b55c7 !important; color: #7b55c7 !important; }
  [style="fill:#8c2981"], [style="color:#8c2981"] { fill: #b6479f !important; color: #b6479f !important; }
  [style="fill:#de4968"], [style="color:#de4968"] { fill: #e5607c !important; color: #e5607c !important; }
  [style="fill:#e8b93a"], [style="color:#e8b93a"] { fill: #f3cd5c !important; color: #f3cd5c !important; }
  [style="fill:#1b4f8f"] { fill: #4a8ae0 !important; }
  [style="fill:#7fa8d9"] { fill: #b9d3f3 !important; }
  [style="fill:#00707f"] { fill: #2fb3c4 !important; }
  [style="fill:#a0661a"] { fill: #c98f45 !important; }
  [style="fill:#bbbbbb"] { fill: #777 !important; }
  [style="fill:#12406f"] { fill: #58b0ff !important; }
  [style="fill:#3a6ea5"] { fill: #4a8fd0 !important; }
  [style="fill:#6f9bc8"] { fill: #446f9c !important; }
  [style="fill:#a3bdd6"] { fill: #47586b !important; }
  [style="fill:#c9c9c9"] { fill: #4d5055 !important; }
  [style="fill:#e3bd92"] { fill: #6b573f !important; }
  [style="fill:#e09a52"] { fill: #99703c !important; }
  [style="fill:#c9711b"] { fill: #cf8a35 !important; }
  [style="fill:#8f4a06"] { fill: #ffb04a !important; }
}
)";

std::string Escaped(std::string_view text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string NumberText(double value, int digits) {
  if (!std::isfinite(value)) return "not finite";
  char buffer[64];
  const double size = std::abs(value);
  const bool plain = size == 0.0 || (size >= 1e-5 && size < 1e9);
  // "general" drops trailing zeros and turns to an exponent only outside of what is plain here.
  const auto format = plain ? std::chars_format::fixed : std::chars_format::scientific;
  const int before = size >= 1.0  ? static_cast<int>(std::floor(std::log10(size))) + 1
                     : size > 0.0 ? -static_cast<int>(std::floor(-std::log10(size)))
                                  : 1;
  const int decimals = plain ? std::clamp(digits - before, 0, 12) : digits - 1;
  std::string text(buffer,
                   std::to_chars(buffer, buffer + sizeof buffer, value, format, decimals).ptr);
  if (plain && text.find('.') != std::string::npos) {
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.')) text.pop_back();
    if (text == "-0") text = "0";
  }
  return text;
}

LengthUnit UnitFor(double extent) {
  if (!(extent >= 0.0)) return {1.0, "m"};
  if (extent < 0.5e-3) return {1e6, "µm"};
  if (extent < 2.0) return {1e3, "mm"};
  return {1.0, "m"};
}

void Extent::Add(double value) {
  if (!std::isfinite(value)) return;
  low = empty ? value : std::min(low, value);
  high = empty ? value : std::max(high, value);
  empty = false;
}

double Quantile(std::vector<double> values, double share) {
  if (values.empty()) return 0.0;
  const auto below = static_cast<std::size_t>(share * static_cast<double>(values.size()));
  const auto at = values.begin() + static_cast<std::ptrdiff_t>(std::min(below, values.size() - 1));
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

std::vector<Point2> Scaled(std::vector<Point2> points, double scale) {
  for (Point2& p : points) p *= scale;
  return points;
}

std::size_t StepFor(std::size_t samples) {
  constexpr std::size_t kMostMarks = 6000;
  return std::max<std::size_t>((samples + kMostMarks - 1) / kMostMarks, 1);
}

Plot::Axis LengthAxis(const std::string& label, const LengthUnit& unit, double low, double high) {
  return {label + " / " + unit.name, unit.scale * low, unit.scale * high};
}

Plot FrontPlot(const Extents& shown, const LengthUnit& unit, double height) {
  return {kWidth, height, LengthAxis("to the right", unit, shown.x.low, shown.x.high),
          LengthAxis("up", unit, shown.y.low, shown.y.high), true};
}

std::string QualityColour(double quality) {
  const double step = std::isfinite(quality) ? std::clamp(quality / 20.0, 0.0, 4.0) : 0.0;
  return kQualityColours[static_cast<std::size_t>(step)];
}

std::string QualityLegend() {
  static constexpr std::array<const char*, 5> kNames = {"below 20", "20 to 40", "40 to 60",
                                                        "60 to 80", "80 and above"};
  std::string html = "<p class=\"legend\">Quality of a sample:";
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    html += " <span><i style=\"color:" + std::string(kQualityColours[i]) + "\">&#9679;</i> " +
            kNames[i] + "</span>";
  }
  return html + "</p>\n";
}

Plot::Plot(double width, double height, Axis x, Axis y, bool same_scale)
    : _width(width), _height(height), _x(std::move(x)), _y(std::move(y)) {
  Widen(_x);
  Widen(_y);
  if (!same_scale) return;
  const double per_pixel = std::max((_x.high - _x.low) / (_width - kLeft - kRight),
                                    (_y.high - _y.low) / (_height - kTop - kBottom));
  StretchTo(_x, per_pixel * (_width - kLeft - kRight));
  StretchTo(_y, per_pixel * (_height - kTop - kBottom));
}

Point2 Plot::Pixel(const Point2& p) const {
  const double x = (p.x() - _x.low) / (_x.high - _x.low);
  const double y = (p.y() - _y.low) / (_y.high - _y.low);
  return {kLeft + x * (_width - kLeft - kRight),
          _height - kBottom - y * (_height - kTop - kBottom)};
}

void Plot::Line(const std::vector<Point2>& points, std::string_view style) {
  std::string path;
  for (const Point2& p : points) {
    if (!Sound(p)) continue;
    const Point2 pixel = Pixel(p);
    if (!path.empty()) path += ' ';
    path += Coordinate(pixel.x()) + "," + Coordinate(pixel.y());
  }
  if (path.find(' ') == std::string::npos) return;
  _marks += "<polyline class=\"" + std::string(style) + "\" points=\"" + path + "\"/>\n";
}

void Plot::Circle(const Point2& center, double radius, std::string_view style) {
  if (!Sound(center) || !std::isfinite(radius) || radius <= 0.0) return;
  // As an ellipse, for axes of different scales.
  const Point2 middle = Pixel(center);
  const Point2 reach = Pixel(center + Point2(radius, radius)) - middle;
  _marks += "<ellipse class=\"" + std::string(style) + "\"" + At("cx", "cy", middle) +
            At("rx", "ry", reach.cwiseAbs()) + "/>\n";
}

void Plot::Cross(const Point2& at, std::string_view style) {
  if (!Sound(at)) return;
  const Point2 p = Pixel(at);
  for (const Point2& arm : {Point2(6.0, 0.0), Point2(0.0, 6.0)}) {
    _marks += "<line class=\"" + std::string(style) + "\"" + At("x1", "y1", p - arm) +
              At("x2", "y2", p + arm) + "/>\n";
  }
}

void Plot::Dot(const Point2& at, std::string_view style, double radius, const std::string& colour) {
  if (!Sound(at)) return;
  _marks += "<circle class=\"" + std::string(style) + "\" r=\"" + Coordinate(radius) + "\"" +
            At("cx", "cy", Pixel(at));
  if (!colour.empty()) _marks += " style=\"fill:" + colour + "\"";
  _marks += "/>\n";
}

void Plot::Text(const Point2& at, const char* anchor, const std::string& text) {
  if (!Sound(at)) return;
  _marks += "<text text-anchor=\"" + std::string(anchor) + "\"" + At("x", "y", Pixel(at)) + ">" +
            Escaped(text) + "</text>\n";
}

void Plot::Level(double y, std::string_view style, const std::string& label) {
  if (!(y >= _y.low && y <= _y.high)) return;
  Line({{_x.low, y}, {_x.high, y}}, style);
  const Point2 end = Pixel({_x.high, y});
  // Above the line, unless that is outside of the axes.
  const double up = end.y() - kTop < 24.0 ? 20.0 : -5.0;
  _marks += "<text text-anchor=\"end\"" + At("x", "y", end + Point2(-4.0, up)) + ">" +
            Escaped(label) + "</text>\n";
}

void Plot::Axes(std::string& svg) const {
  const auto line = [&svg](const Point2& from, const Point2& to) {
    svg += "<line class=\"grid\"" + At("x1", "y1", from) + At("x2", "y2", to) + "/>\n";
  };
  const auto label = [&svg](const Point2& at, const char* anchor, const std::string& text) {
    svg += "<text text-anchor=\"" + std::string(anchor) + "\"" + At("x", "y", at) + ">" +
           Escaped(text) + "</text>\n";
  };
  const double x_step = TickStep(_x.high - _x.low);
  for (double i = std::ceil(_x.low / x_step); i * x_step <= _x.high; ++i) {
    const double x = i * x_step;
    line(Pixel({x, _y.low}), Pixel({x, _y.high}));
    label(Pixel({x, _y.low}) + Point2(0.0, 19.0), "middle", NumberText(x, 4));
  }
  const double y_step = TickStep(_y.high - _y.low);
  for (double i = std::ceil(_y.low / y_step); i * y_step <= _y.high; ++i) {
    const double y = i * y_step;
    line(Pixel({_x.low, y}), Pixel({_x.high, y}));
    label(Pixel({_x.low, y}) + Point2(-6.0, 5.0), "end", NumberText(y, 4));
  }
  label({0.5 * (kLeft + _width - kRight), _height - 8.0}, "middle", _x.label);
  const std::string middle = Coordinate(0.5 * (kTop + _height - kBottom));
  svg += "<text text-anchor=\"middle\" transform=\"translate(18 " + middle + ") rotate(-90)\">" +
         Escaped(_y.label) + "</text>\n";
}

std::string Plot::Svg(const std::string& description) const {
  const std::string size = Coordinate(_width) + " " + Coordinate(_height);
  std::string svg = "<svg role=\"img\" aria-label=\"" + Escaped(description) + "\" viewBox=\"0 0 " +
                    size + "\" xmlns=\"http://www.w3.org/2000/svg\">\n";
  Axes(svg);
  // A nested picture cuts off what lies outside of the axes.
  const Point2 corner(kLeft, kTop);
  const Point2 inside(_width - kLeft - kRight, _height - kTop - kBottom);
  svg += "<svg" + At("x", "y", corner) + At("width", "height", inside) + " viewBox=\"" +
         Coordinate(corner.x()) + " " + Coordinate(corner.y()) + " " + Coordinate(inside.x()) +
         " " + Coordinate(inside.y()) + "\">\n" + _marks + "</svg>\n";
  svg += "<rect class=\"frame\"" + At("x", "y", corner) + At("width", "height", inside) + "/>\n";
  return svg + "</svg>\n";
}

}  // namespace libmfx::host::report
