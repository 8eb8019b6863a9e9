#include "host/batch.h"

#include <cstdint>
#include <exception>
#include <limits>
#include <new>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "host/changes.h"
#include "host/errors.h"
#include "host/json_text.h"
#include "host/recording.h"
#include "host/scene_driver.h"
#include "libmfx/features/request_text.h"
#include "sim/rng.h"
#include "sim/scene.h"

namespace libmfx::host {
namespace {

using nlohmann::json;

/// \throws CallError
json ParseJob(const std::string& line) {
  const auto strict = [&line](int nesting) {
    return features::StrictJson(line, nesting, features::SURROUNDINGS_BLANK);
  };
  const CallError not_json("the job is not JSON: " + Excerpt(line));
  const std::optional<std::string> text = strict(kLineNesting);
  if (!text) {
    if (strict(std::numeric_limits<int>::max())) throw CallError("the job nests too deep");
    if (json::accept(line)) throw CallError("the job is no object: " + Excerpt(line));
    throw not_json;
  }
  json job = json::parse(*text);
  // A request is mended where it has to be. An id has to come back as it was sent.
  const bool replaced = Dump(job.value("id", json())).find("\uFFFD") != std::string::npos;
  if (replaced && !json::accept(line)) throw not_json;
  return job;
}

std::optional<std::uint64_t> SeedOfJob(const json& job) {
  if (job.contains("seed")) {
    if (!job["seed"].is_number_unsigned()) {
      throw CallError("\"seed\" is no whole number from 0 on: " + Excerpt(Dump(job["seed"])));
    }
    return job["seed"].get<std::uint64_t>();
  }
  if (job.contains("id")) return sim::DeriveSeed(0, Dump(job["id"]));
  return std::nullopt;
}

Conversation MeasureJob(const json& job, const std::string& id, const BatchOptions& options) {
  if (!job.contains("request")) throw CallError("the job has no \"request\"");
  if (!job.contains("scene")) throw CallError("the job has no \"scene\"");
  const std::optional<std::uint64_t> seed = SeedOfJob(job);
  try {
    SceneDriver driver(sim::Scene::FromJson(job["scene"]), seed);
    const std::string request = Dump(job["request"]);
    if (options.check) options.check(id, request);
    return Measure(request, driver, options.conversation);
  } catch (const sim::SceneError& error) {
    throw CallError(std::string("scene: ") + error.what());
  }
}

/// The members of an answer that tell how a measurement went.
std::string Told(const Conversation& held, bool strict) {
  return "\"result\":" + held.result + (strict && held.IsDoubtful() ? ",\"doubtful\":true" : "");
}

/// The recording that a job names, with its request as the job wants it.
Recording RecordingOfJob(const json& job, const BatchOptions& options) {
  const json& file = job["recording"];
  if (!file.is_string()) throw CallError("\"recording\" is no file name");
  if (job.contains("scene")) throw CallError("the job has both a \"recording\" and a \"scene\"");
  if (file == "-") throw CallError("\"recording\" cannot be standard input in a batch");
  const auto path = file.get<std::string>();
  if (options.is_output && options.is_output(path)) {
    throw CallError("recording " + OneLine(path) + " is the file that the answers go to");
  }
  Recording recording = ReadRecording(path);
  if (job.contains("request")) {
    recording.request = RequestWithChanges(recording.request, job["request"]);
  }
  return recording;
}

/// Analyses a recording again.
/// \param[out] comparison for ComparisonSummary
/// \returns the members of the answer
std::string ReplayJob(const json& job, const BatchOptions& options, std::string& comparison) {
  const Recording recording = RecordingOfJob(job, options);
  ReplayDriver driver(recording);
  const Conversation held = Measure(recording.request, driver, recording.options);
  std::string members = Told(held, options.strict);
  const std::vector<std::string> notes = ReplayNotes(driver, recording);
  const bool tells_notes = options.compare || job.contains("request");
  if (tells_notes && !notes.empty()) members += ",\"notes\":" + Dump(json(notes));
  if (!options.compare) return members;
  const Changes changes = ChangesBetween(recording.result, held.result);
  if (!changes.values.empty()) members += ",\"changed\":" + changes.values;
  comparison = ComparisonText(changes);
  return members;
}

/// The members of an answer beside its id, and whether they tell an error.
using Outcome = std::pair<std::string, bool>;

Outcome Error(const std::string& text) { return {"\"error\":" + Dump(json(OneLine(text))), true}; }

/// What `carry` returns, or the error that it throws; nothing that a job can do ends the batch.
template <typename Carry>
Outcome Guarded(Carry carry) {
  try {
    return {carry(), false};
  } catch (const CallError& error) {
    return Error(error.what());
  } catch (const std::bad_alloc&) {
    return Error("out of memory");
  } catch (const std::exception& error) {
    return Error(std::string("internal error: ") + error.what());
  } catch (const std::string& error) {
    return Error("internal error: " + error);
  }
}

JobAnswer Framed(const std::string& id, const Outcome& outcome) {
  return {"{\"id\":" + id + "," + outcome.first + "}", outcome.second, {}};
}

}  // namespace

JobAnswer AnswerJob(const std::string& line, const BatchOptions& options) {
  std::string id = "null";
  std::string comparison;
  const Outcome outcome = Guarded([&] {
    const json job = ParseJob(line);
    if (job.contains("id")) id = Dump(job["id"]);
    if (!job.contains("recording")) {
      return Told(MeasureJob(job, id, options), options.strict);
    }
    if (options.compare) comparison = ComparisonText({});
    return ReplayJob(job, options, comparison);
  });
  JobAnswer answer = Framed(id, outcome);
  answer.comparison = std::move(comparison);
  return answer;
}

JobAnswer RefuseJob(const std::string& why, const std::string& id) {
  return Framed(id, Error(why));
}

std::string IdOfJob(const std::string& line) {
  try {
    return Dump(ParseJob(line).value("id", json()));
  } catch (const std::exception&) {  // not a job, or too large a one
    return "null";
  }
}

}  // namespace libmfx::host
