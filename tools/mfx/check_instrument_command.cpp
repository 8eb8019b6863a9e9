#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "host/instrument_check.h"
#include "host/json_text.h"
#include "options.h"

namespace libmfx::host {
namespace {

struct CheckInstrumentCall {
  std::string command;
  std::chrono::milliseconds timeout{10'000};
  bool as_json = false;
};

std::string DrivesOf(const InstrumentFinding& finding) {
  std::string text = finding.drives.size() > 1 ? "drives " : "drive ";
  for (std::size_t i = 0; i < finding.drives.size(); ++i) {
    text += (i > 0 ? ", " : "") + std::to_string(finding.drives[i]);
  }
  return text;
}

std::string Listed(const InstrumentCheck& check) {
  std::string text;
  for (const InstrumentFinding& finding : check.findings) {
    text += DrivesOf(finding) + ": " + finding.what + ". To do: " + finding.advice + ".\n";
  }
  const std::string seen = std::to_string(check.drives) +
                           (check.drives == 1 ? " drive" : " drives") + " with " +
                           std::to_string(check.samples) + " samples";
  if (check.findings.empty()) return "nothing wrong found in " + seen;
  const std::size_t count = check.findings.size();
  return text + std::to_string(count) + (count == 1 ? " thing is" : " things are") +
         " wrong, found in " + seen;
}

std::string AsJson(const std::string& command, const InstrumentCheck& check) {
  using nlohmann::ordered_json;
  ordered_json findings = ordered_json::array();
  for (const InstrumentFinding& finding : check.findings) {
    findings.push_back({{"name", finding.name},
                        {"drives", finding.drives},
                        {"what", finding.what},
                        {"to_do", finding.advice}});
  }
  return Dump(ordered_json{{"instrument", command},
                           {"drives", check.drives},
                           {"samples", check.samples},
                           {"findings", std::move(findings)}});
}

int RunCheckInstrument(const CheckInstrumentCall& call, Console& console) {
  const InstrumentCheck check = CheckInstrument(call.command, call.timeout);
  console.Result(call.as_json ? AsJson(call.command, check) : Listed(check));
  return check.findings.empty() ? kMeasured : kNotMeasured;
}

}  // namespace

void AddCheckInstrument(CLI::App& program, Execute& execute) {
  const auto call = std::make_shared<CheckInstrumentCall>();
  CLI::App& command = Call::Add(
      program, "check-instrument",
      {.summary = "Drive a known path and tell what is wrong with an instrument",
       .about =
           "Drives small paths of known geometry over whatever is in front of the instrument, best "
           "a "
           "flat wall 1 to 10 m away, and looks at what comes back: angles, units, order, spacing, "
           "status and the form of the lines.",
       .examples = {{"mfx check-instrument examples/instrument/flat_wall.py",
                     "Looks at the example of an instrument."}},
       .statuses = {{kMeasured, "nothing wrong was found"},
                    {kNotMeasured, "something is wrong; standard output tells what"},
                    FailedStatus()}});
  command.add_option("COMMAND", call->command, "Command of an instrument that speaks JSON lines")
      ->required()
      ->type_name("COMMAND");
  AddTimeout(command, call->timeout, "Seconds that the instrument may take for an answer (10)");
  command.add_flag("--json", call->as_json, "The findings as one line of JSON");
  command.callback([&execute, call] {
    execute = [call](Console& console) { return RunCheckInstrument(*call, console); };
  });
}

}  // namespace libmfx::host
