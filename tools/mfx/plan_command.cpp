#include <memory>

#include "commands.h"
#include "errors.h"
#include "files.h"
#include "kept_settings.h"
#include "numbers.h"

namespace libmfx::host {
namespace {

std::string Csv(const std::vector<Position>& points) {
  std::string text = "azimuth,elevation,range,point_spacing";
  for (const Position& p : points) {
    char separator = '\n';
    for (const double value : {p.azimuth, p.elevation, p.range, p.point_spacing}) {
      text += separator;
      AppendNumber(text, value);
      separator = ',';
    }
  }
  return text;
}

}  // namespace

int RunPlan(const PlanCall& call, Console& console) {
  const std::string request = ReadText(call.request, "request");
  const std::unique_ptr<features::Feature> feature(features::Feature::Create(request));
  // A request with an error is told of by that error; asking for a search would clear it.
  const bool sound = feature->GetError().empty();
  if (call.search && sound && !ResetKeepingSettings(*feature, true)) {
    throw CallError("request " + call.request + " does not enable search (\"SearchEnabled\")");
  }
  const std::vector<Position> points = PointsOf(feature->GetDrivePoints(call.search && sound));
  console.Result(call.csv ? Csv(points) : DriveLine(points, StepName(feature->GetDriveStep())));
  if (!points.empty()) return kMeasured;
  console.Note("nothing to drive: " + WhyNothingToDrive(*feature));
  return kNotMeasured;
}

}  // namespace libmfx::host
