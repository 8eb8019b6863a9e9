#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "estimating.h"
#include "host/files.h"
#include "host/interrupts.h"
#include "host/json_text.h"
#include "host/recording.h"
#include "options.h"
#include "uncertainty/json.h"

namespace libmfx::host {
namespace {

struct UncertaintyCall {
  std::vector<std::string> requests;
  std::vector<std::string> recordings;
  bool as_json = false;
  Estimating estimating;
  ConversationOptions options;  ///< of a measurement to come
};

/// Each question with the name that people know it by.
using Named = std::pair<std::string, uncertainty::Question>;

std::vector<Named> QuestionsOf(const UncertaintyCall& call) {
  const uncertainty::InstrumentModel model = call.estimating.Model();
  const std::uint64_t seed = call.estimating.seed;
  std::vector<Named> questions;
  const auto ask = [&questions](const std::string& file, auto&& make) {
    try {
      questions.emplace_back(file, make());
    } catch (const CallError& error) {
      const std::string why = error.what();
      throw CallError(why.find(file) == std::string::npos ? FileName(file) + ": " + why : why);
    }
  };
  for (const std::string& file : call.requests) {
    ask(file,
        [&] { return uncertainty::Before(ReadText(file, "request"), call.options, model, seed); });
  }
  for (const std::string& file : call.recordings) {
    ask(file, [&] { return uncertainty::After(ReadRecording(file), model, seed); });
  }
  return questions;
}

int RunUncertainty(const UncertaintyCall& call, Console& console) {
  if (call.requests.empty() && call.recordings.empty()) {
    throw CallError("nothing to be sure of: give a REQUEST or --recording FILE");
  }
  console.ShowLibraryLines(false);
  const std::vector<Named> named = QuestionsOf(call);
  std::vector<uncertainty::Question> questions;
  questions.reserve(named.size());
  for (const Named& one : named) questions.push_back(one.second);
  int status = kMeasured;
  // A signal ends the trials, not the call: what stands by then is told.
  const Uninterrupted told;
  const std::vector<uncertainty::Uncertainty> answers = Estimate(questions, call.estimating);
  for (std::size_t i = 0; i < answers.size(); ++i) {
    if (answers[i].quantities.empty()) status = kNotMeasured;
    if (!call.as_json) {
      console.Result(UncertaintyText(FileName(named[i].first), answers[i], questions[i].first));
      continue;
    }
    nlohmann::ordered_json line = uncertainty::JsonOf(answers[i]);
    if (questions[i].first) {
      line["first_estimate"] = uncertainty::JsonOf(*questions[i].first)["quantities"];
    }
    line["source"] = FileName(named[i].first);
    console.Result(Dump(line));
  }
  return status;
}

}  // namespace

void AddUncertainty(CLI::App& program, Execute& execute) {
  const auto call = std::make_shared<UncertaintyCall>();
  CLI::App& command = Call::Add(
      program, "uncertainty",
      {.summary = "Tell how sure a measurement will be, or was",
       .about =
           "Carries a measurement out again and again on the virtual instrument, and tells bias, "
           "standard uncertainty and an interval of 95 % of every quantity: of a request, in front "
           "of the nominal part at its nominal place; of a recording, in front of the part as it "
           "was measured, with the noise that the recording shows.",
       .examples = {{"mfx uncertainty examples/requests/hole.json --trials 500",
                     "What will this request be able to tell from here?"},
                    {"mfx uncertainty --recording wall.rec --json",
                     "How sure is what was measured? As one line of JSON."}},
       .statuses = {{kMeasured, "the uncertainties were told"},
                    {kNotMeasured, "no trial of one of them succeeded"},
                    FailedStatus(),
                    {130, "Ctrl-C ended the trials; what stood by then was told"}}});
  command.add_option("REQUEST", call->requests, "Files with target requests, - for standard input")
      ->type_name("FILE");
  command
      .add_option("--recording", call->recordings, "File with a measurement; as often as needed")
      ->allow_extra_args(false)
      ->type_name("FILE");
  AddEstimating(command, call->estimating);
  command
      .add_option("--surface", call->estimating.surface,
                  "File with what the part's surface is like, as a scene tells it")
      ->type_name("FILE");
  AddNumber<std::uint64_t>(
      command, "--seed", 0, std::numeric_limits<std::uint64_t>::max(),
      [call](std::uint64_t seed) { call->estimating.seed = seed; }, "Of all trials (1)");
  command.add_flag("--json", call->as_json, "One line of JSON for each");
  AddSearch(command, call->options);
  AddPasses(command, [call](int passes) { call->options.max_passes = passes; });
  command.callback([&execute, call] {
    execute = [call](Console& console) { return RunUncertainty(*call, console); };
  });
}

}  // namespace libmfx::host
