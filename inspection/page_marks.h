#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "inspection/sheet.h"

/// \file
/// What the pictures of a part show, before anybody looks at it from somewhere.

namespace libmfx::inspection::page {

/// Half the side of a picture, in picture units: the user units of its SVG.
inline constexpr int kMiddle = 1800;
/// All outlines and arrows lie within this of the middle, so that a turned part stays inside.
inline constexpr int kReach = 1740;
/// Most measured points that a picture shows.
inline constexpr std::size_t kMostPoints = 4000;

/// A mark of the pictures. Places are whole picture units from the part's middle, along its axes.
struct Mark {
  /// The spelling is that of the script.
  enum class Kind {
    kLine,    ///< "line": places
    kClosed,  ///< "closed": places, and from the last to the first
    kBall,    ///< "ball": a centre and a radius
    kDot,     ///< "dot": a place
    kCross,   ///< "cross": a place
    kCloud,   ///< "cloud": places
    kArrow,   ///< "arrow": from and to
    kLabel,   ///< "label": a place and the width of the text
    kAxis,    ///< "axis": the end of a unit vector times 1000, drawn in a corner
    kLetter   ///< "letter": the same, at its end
  };
  Kind kind = Kind::kLine;
  std::string style;  ///< classes of kSheetStyle
  std::vector<int> at;
  std::string text = {};  ///< of a label, as HTML
};

/// Marks that belong together.
struct MarkGroup {
  std::string title;  ///< shown where the reader points at it, as HTML; may be empty
  std::vector<Mark> marks;
};

struct Marks {
  std::vector<MarkGroup> groups;  ///< what comes later lies over what comes before
  double scale = 0.0;             ///< picture units a metre; 0: there is nothing to draw
  double factor = 0.0;         ///< arrows are so many times as long as deviations; 0: none is drawn
  std::size_t points = 0;      ///< that are drawn
  std::size_t all_points = 0;  ///< that were measured
};

/// The name of a kind in the script.
const char* NameOf(Mark::Kind kind);

/// The largest of ..., 0.1, 0.2, 0.5, 1, 2, 5, ... that is not above a positive number.
double RoundDown(double value);

/// Outlines, measured points, arrows and names of a part.
Marks MarksOf(const Sheet& sheet);

}  // namespace libmfx::inspection::page
