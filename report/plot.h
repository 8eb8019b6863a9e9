#pragma once

#include <Eigen/Core>
#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

/// \file
/// Pictures as inline SVG: axes with round ticks, and marks in the coordinates of the axes.

namespace libmfx::host::report {

using Point2 = Eigen::Vector2d;

/// Text that may stand in HTML.
std::string Escaped(std::string_view text);

/// A number for people: `digits` significant digits, no exponent for what a part measures.
std::string NumberText(double value, int digits = 6);

/// A unit for lengths of some size, and what a length in metres is multiplied with.
struct LengthUnit {
  double scale;
  const char* name;
};
/// \param extent of what is to be shown, metres
LengthUnit UnitFor(double extent);

/// The least and the greatest of some numbers; numbers that are not finite do not count.
struct Extent {
  double low = 0.0;
  double high = 0.0;
  bool empty = true;

  void Add(double value);
  double Middle() const { return 0.5 * (low + high); }
  double Size() const { return high - low; }
};

/// The extents of places.
struct Extents {
  Extent x, y;

  void Add(const Point2& p) {
    x.Add(p.x());
    y.Add(p.y());
  }
  void Add(const std::vector<Point2>& points) {
    for (const Point2& p : points) Add(p);
  }
  double Size() const { return std::max(x.Size(), y.Size()); }
};

/// The value that `share` of the values do not reach; 0 for no values.
double Quantile(std::vector<double> values, double share);

/// The points with both coordinates multiplied.
std::vector<Point2> Scaled(std::vector<Point2> points, double scale);

/// Of so many samples each n-th is drawn, so that a picture has no more marks than a reader sees.
/// \return n
std::size_t StepFor(std::size_t samples);

/// Colour of a quality between 0 and 100, from dark (poor) to light (good).
std::string QualityColour(double quality);
/// What the colours mean, as HTML.
std::string QualityLegend();

/// One picture. Marks outside the axes are cut off; marks that are not finite are left out.
class Plot {
 public:
  struct Axis {
    std::string label;
    double low;
    double high;
  };

  /// \param width and `height` of the picture, in the user units of the SVG
  /// \param same_scale a unit is as long on both axes; the shorter one is widened
  Plot(double width, double height, Axis x, Axis y, bool same_scale);

  /// A polyline. The styles are those of kPlotStyle.
  void Line(const std::vector<Point2>& points, std::string_view style);
  void Circle(const Point2& center, double radius, std::string_view style);
  void Cross(const Point2& at, std::string_view style);
  /// \param radius in user units
  void Dot(const Point2& at, std::string_view style, double radius, const std::string& colour = {});
  /// \param anchor what of the text is at the place: "start", "middle" or "end"
  void Text(const Point2& at, const char* anchor, const std::string& text);
  /// A line across the picture, with a word at its end.
  void Level(double y, std::string_view style, const std::string& label);

  /// \param description read to people who do not see the picture
  std::string Svg(const std::string& description) const;

 private:
  Point2 Pixel(const Point2& p) const;
  void Axes(std::string& svg) const;
  static bool Sound(const Point2& p) { return p.allFinite(); }

  double _width;
  double _height;
  Axis _x;
  Axis _y;
  std::string _marks;
};

/// Width of a picture, in the user units of the SVG.
inline constexpr double kWidth = 640.0;

/// An axis of lengths, which are given in metres and shown in `unit`.
Plot::Axis LengthAxis(const std::string& label, const LengthUnit& unit, double low, double high);
/// A picture of what is seen from the front: to the right and up, in `unit`.
Plot FrontPlot(const Extents& shown, const LengthUnit& unit, double height);

/// Styles of the marks, for the head of a document.
extern const char* const kPlotStyle;

}  // namespace libmfx::host::report
