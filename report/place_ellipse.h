#pragma once

#include <optional>
#include <string>
#include <vector>

#include "report/spread.h"
#include "report/view.h"

namespace libmfx::host::report {

/// Where the true place lies with 95 %, as it is drawn into a picture from the front.
struct PlaceEllipse {
  std::vector<Point2> line;  ///< closed, in the plane of the picture, metres
  std::string words;         ///< for the caption, with how much it is magnified
};

/// The ellipse of "Location" around the measured place, magnified about it by a round number, so
/// that it can be seen: what the mean error moves its middle by is magnified with it. Nothing where
/// the spread does not tell the place, tells it in numbers that are not finite or to less than a
/// nanometre.
/// \param measured the place in the plane of the picture, metres
/// \param extent of what the picture shows, metres
std::optional<PlaceEllipse> FindPlaceEllipse(const Spread& spread, const View& view,
                                             const Point2& measured, double extent);

}  // namespace libmfx::host::report
