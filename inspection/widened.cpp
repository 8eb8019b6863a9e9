#include "inspection/widened.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace libmfx::inspection {
namespace {

/// Half of a search pattern's size for a "SearchRadiusMultiplier" of 1, and how much of it the
/// feature itself takes; metres. Both 0 for a type without a search.
struct SearchReach {
  double unit = 0.0;
  double own = 0.0;
};

SearchReach ReachOf(const PlannedFeature& feature) {
  const std::string& type = feature.type;
  if (type == "HoleFeature" || type == "ThreadedHoleFeature" || type == "StudFeature") {
    return {2.0 * feature.radius, feature.radius};
  }
  if (type == "PolygonFeature") return {feature.radius, feature.radius};
  if (type == "SlotFeature" || type == "RectangleFeature") {
    return {feature.length, 0.5 * std::hypot(feature.length, feature.width)};
  }
  return {};
}

/// What a search is made for: below it the scans of the feature itself bear with its place.
constexpr double kOff = 0.001;
/// A point may be this much farther off than told, since a nominal is turned about another place.
constexpr double kMargin = 1.5;

void AtLeast(json& request, const char* key, double usual, double wanted) {
  const double now = request.contains(key) ? request[key].get<double>() : usual;
  if (wanted > now) request[key] = wanted;
}

}  // namespace

json Widened(json request, const PlannedFeature& feature, double off, double angle_off) {
  if (feature.type == "SurfaceNormalFeature") {
    constexpr double kUsualDistance = 0.003;
    AtLeast(request, "DistanceThreshold", kUsualDistance, kMargin * off);
    if (request.contains("Nom2MeasAngCheck")) {
      request["Nom2MeasAngCheck"] = request["Nom2MeasAngCheck"].get<double>() + angle_off;
    }
    return request;
  }
  const SearchReach reach = ReachOf(feature);
  if (!(off > kOff) || !(reach.unit > 0.0)) return request;
  request["SearchEnabled"] = true;
  constexpr double kUsualMultiplier = 2.0;
  AtLeast(request, "SearchRadiusMultiplier", kUsualMultiplier,
          (kMargin * off + reach.own) / reach.unit);
  return request;
}

json WithUsual(json request, const PlannedFeature& feature) {
  constexpr double kUsualRescan = 1e-4;
  const bool is_opening = feature.type == "HoleFeature" || feature.type == "SlotFeature" ||
                          feature.type == "RectangleFeature" || feature.type == "PolygonFeature";
  if (is_opening && !request.contains("RescanThreshold")) {
    request["RescanThreshold"] = kUsualRescan;
  }
  return request;
}

}  // namespace libmfx::inspection
