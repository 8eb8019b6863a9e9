// What the library says to a request, and what follows from its plan.

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

#include "host/check_context.h"
#include "host/conversation.h"
#include "host/drivable.h"
#include "host/numbers.h"

namespace libmfx::host::check {
namespace {

using data_structures::AzElRange;
using data_structures::VectorXYZW;
using features::Feature;
using win32_support::REQUEST_ROOT;

/// The largest angle between the cut of an edge and its normal that the library takes: 15 degrees.
constexpr double kMostInclined = 0.2617993877991494;

/// The key of the nominal that a refusal is about; "Feature" where it does not say.
std::string KeyOf(const Context& context, const std::string& refusal) {
  const Member* named = nullptr;
  for (const Member& member : context.members()) {
    const bool longer = named == nullptr || member.key.size() > named->key.size();
    if (refusal.find(member.key) != std::string::npos && longer &&
        context.RowOf(member.place, member.key) != nullptr) {
      named = &member;
    }
  }
  if (named != nullptr) return named->key;
  // The texts that tell an angle and name no key.
  if (refusal.find("ERROR_PVI") != std::string::npos) return "Normal";
  if (refusal.find("angle of the feature") == std::string::npos) return "Feature";
  return context.type_name() == "EdgeFeature" ? "SurfaceNormal" : "Axis";
}

void TellRefusal(Context& context, const std::string& refusal) {
  const std::string key = KeyOf(context, refusal);
  if (key == "Feature") return context.Tell(Severity::kError, REQUEST_ROOT, key, refusal);
  context.Tell(Severity::kError, key, refusal);
}

/// The beam sweeps the plane through the instrument and the scan line; what it shows of the border
/// is the cut along that plane.
void CheckSection(Context& context, const Feature& feature, const std::vector<Position>& line) {
  if (line.size() != 2) return;
  const auto place = [&](std::size_t i) {
    return AzElRange(line[i].azimuth, line[i].elevation, line[i].range).ToPoint().xyz();
  };
  const Eigen::Vector3d across = place(0).cross(place(1));
  const Eigen::Vector3d normal = feature.GetSetting<VectorXYZW>(L"NominalSurfaceNormal").xyz();
  if (!(across.norm() > 0.0)) return;
  const double inclined = std::asin(std::min(1.0, std::abs(across.normalized().dot(normal))));
  if (!(inclined > kMostInclined)) return;
  std::string degrees;
  AppendNumber(degrees, std::round(inclined * 1800.0 / std::numbers::pi) / 10.0);
  context.Tell(Severity::kError, "EdgePoint",
               "the border is seen in a section that is inclined by " + degrees +
                   " degrees to \"SurfaceNormal\", and the analysis takes at most 15: look square "
                   "at the border");
}

/// Whether there is a plan to look at.
bool CheckPoints(Context& context, Feature& feature, const std::vector<Position>& points) {
  if (points.empty()) {
    const std::string refusal = feature.GetError();
    if (!refusal.empty()) TellRefusal(context, refusal);
    // What asks for no lines has been told.
    if (!context.has_errors()) TellRefusal(context, "the request leads to nothing to drive");
    return false;
  }
  const std::string why = WhyUndrivable(points);
  if (!why.empty()) context.Tell(Severity::kError, REQUEST_ROOT, "Feature", why);
  return why.empty();
}

}  // namespace

void CheckPlan(Context& context, const std::string& request) {
  if (context.type() == nullptr) return;
  const std::unique_ptr<Feature> feature(Feature::Create(request));
  if (!feature->GetError().empty()) {
    // What the class refuses by its table has been told, in more words.
    if (!context.refused()) TellRefusal(context, feature->GetError());
    return;
  }
  const std::vector<Position> points = PointsOf(feature->GetDrivePoints(false));
  if (!CheckPoints(context, *feature, points)) return;
  if (context.type_name() == "EdgeFeature") CheckSection(context, *feature, points);
  if (context.options().search == true && ResetKeepingSettings(*feature, true)) {
    CheckPoints(context, *feature, PointsOf(feature->GetDrivePoints(true)));
  }
}

}  // namespace libmfx::host::check
