#include "host/drivable.h"

#include <cmath>

#include "host/errors.h"
#include "host/numbers.h"

namespace libmfx::host {
namespace {

std::string Text(double number) {
  if (std::isnan(number)) return "no number";
  if (std::isinf(number)) return "infinite";
  std::string text;
  AppendNumber(text, number);
  return text;
}

/// What is wrong with a point, or an empty text.
std::string FaultOf(const Position& p) {
  if (!std::isfinite(p.azimuth)) return "its azimuth is " + Text(p.azimuth);
  if (!std::isfinite(p.elevation)) return "its elevation is " + Text(p.elevation);
  if (!std::isfinite(p.range)) return "its range is " + Text(p.range);
  if (p.range <= 0.0) return "its range is " + Text(p.range) + " m, on the instrument itself";
  if (!std::isfinite(p.point_spacing)) return "its point spacing is " + Text(p.point_spacing);
  if (p.point_spacing < 0.0) return "its point spacing is " + Text(p.point_spacing) + " m";
  return {};
}

}  // namespace

std::string WhyUndrivable(const std::vector<Position>& points) {
  for (std::size_t i = 0; i < points.size(); ++i) {
    const std::string fault = FaultOf(points[i]);
    if (!fault.empty()) {
      return "no instrument can drive to drive point " + std::to_string(i) + ": " + fault;
    }
  }
  return {};
}

void RequireDrivable(const std::vector<Position>& points) {
  const std::string why = WhyUndrivable(points);
  if (!why.empty()) throw CallError(why);
}

}  // namespace libmfx::host
