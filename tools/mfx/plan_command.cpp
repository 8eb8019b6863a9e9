#include <memory>

#include "host/conversation.h"
#include "host/drivable.h"
#include "host/files.h"
#include "host/outputs.h"
#include "options.h"

namespace libmfx::host {
namespace {

struct PlanCall {
  std::string request;
  bool csv = false;
  bool search = false;
  Checking checking = Checking::kNotes;
};

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

int RunPlan(const PlanCall& call, Console& console) {
  KeepApart({{"request", call.request}}, {}, console.output());
  const std::string request = ReadText(call.request, "request");
  CheckBefore(call.request, request, {.search = call.search ? std::optional(true) : std::nullopt},
              call.checking, console);
  const std::unique_ptr<features::Feature> feature(features::Feature::Create(request));
  // A request with an error is told of by that error; asking for a search would clear it.
  const bool sound = feature->GetError().empty();
  if (call.search && sound && !ResetKeepingSettings(*feature, true)) {
    throw CallError("request " + call.request + " does not enable search (\"SearchEnabled\")");
  }
  const std::vector<Position> points = PointsOf(feature->GetDrivePoints(call.search && sound));
  RequireDrivable(points);
  console.Result(call.csv ? Csv(points) : DriveLine(points, StepName(feature->GetDriveStep())));
  if (!points.empty()) return kMeasured;
  console.Note("nothing to drive: " + WhyNothingToDrive(*feature));
  return kNotMeasured;
}

}  // namespace

void AddPlan(CLI::App& program, Execute& execute) {
  const auto call = std::make_shared<PlanCall>();
  CLI::App& command = Call::Add(
      program, "plan",
      {.summary = "Print the drive points, drive nothing",
       .about =
           "Prints the points along which the library wants the beam steered first: azimuth and "
           "elevation in radians, range and point spacing in metres.",
       .examples = {{"mfx plan examples/requests/hole.json --format csv",
                     "Prints the plan of a hole as a table."}},
       .statuses = {{kMeasured, "the points were printed"},
                    {kNotMeasured, "the library refuses the request; standard error says why"},
                    FailedStatus()}});
  AddRequest(command, call->request);
  AddChoice(
      command, "--format", {"json", "csv"},
      [call](const std::string& format) { call->csv = format == "csv"; }, "json (default) or csv");
  command.add_flag("--search", call->search, "The search pattern instead of the feature's");
  AddCheck(command, call->checking);
  command.callback(
      [&execute, call] { execute = [call](Console& console) { return RunPlan(*call, console); }; });
}

}  // namespace libmfx::host
