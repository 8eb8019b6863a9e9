#include "uncertainty/run.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <utility>

#include "host/batch_workers.h"
#include "host/errors.h"
#include "host/interrupts.h"
#include "host/json_text.h"

namespace libmfx::uncertainty {
namespace {

using host::CallError;
using host::JobAnswer;
using nlohmann::json;

constexpr long long kPart = 20;        ///< trials that a process carries out at a time
constexpr long long kSequence = 100;   ///< trials of a sequence whose answers are compared
constexpr long long kLookEvery = 500;  ///< trials from one look at the digits to the next
constexpr long long kHopeless = 200;   ///< trials without any success, after which no more are made

/// Trials of one plan that are carried out together.
struct Part {
  std::size_t plan = 0;
  long long first = 0;
  long long count = 0;
};

/// What a part came to.
struct PartAnswer {
  std::vector<Layout> layout;
  std::vector<Trial> trials;
};

PartAnswer CarryOutPart(const TrialPlan& plan, const Part& part) {
  PartAnswer answer;
  for (long long i = part.first; i < part.first + part.count; ++i) {
    if (host::Uninterrupted::IsAsked()) break;
    std::vector<Layout> layout;
    answer.trials.push_back(CarryOut(plan, static_cast<std::uint64_t>(i), &layout));
    if (!layout.empty()) answer.layout = std::move(layout);
  }
  return answer;
}

// A number is written as the shortest text that reads back as the same double.
std::string TextOf(const PartAnswer& answer) {
  json layout = json::array();
  for (const Layout& row : answer.layout) layout.push_back({row.key, static_cast<int>(row.kind)});
  json trials = json::array();
  for (const Trial& trial : answer.trials) {
    trials.push_back({trial.successful, trial.warned, trial.results, trial.errors});
  }
  return host::Dump(json{layout, trials});
}

PartAnswer AnswerOf(const std::string& text) {
  const json parsed = json::parse(text);
  PartAnswer answer;
  for (const json& row : parsed[0]) {
    answer.layout.push_back({row[0].get<std::string>(), static_cast<Kind>(row[1].get<int>())});
  }
  for (const json& row : parsed[1]) {
    answer.trials.push_back({row[0].get<bool>(), row[1].get<bool>(),
                             row[2].get<std::vector<double>>(), row[3].get<std::vector<double>>()});
  }
  return answer;
}

/// Takes the parts of all plans in their order, and decides how many there are.
class Taker {
 public:
  Taker(std::size_t plans, const RunOptions& options, const Progress& progress)
      : _options(options), _progress(progress), _taken(plans) {}

  /// The next part that is to be carried out; none if all are handed out.
  std::optional<Part> Next() {
    while (_plan < _taken.size() && (_is_enough || _given == _options.most)) {
      // Parts that are not needed after all may be under way: they are passed over.
      if (!_is_enough && _due < _given) return std::nullopt;
      ++_plan;
      _given = _due = 0;
      _is_enough = false;
    }
    if (_plan == _taken.size()) return std::nullopt;
    const Part part{_plan, _given, std::min(kPart, _options.most - _given)};
    _given += part.count;
    return part;
  }

  bool IsDone() const { return _plan == _taken.size(); }

  void Take(const Part& part, PartAnswer answer) {
    if (part.plan != _plan || _is_enough) return;
    _waiting.emplace(part.first, std::move(answer));
    for (auto next = _waiting.find(_due); next != _waiting.end(); next = _waiting.find(_due)) {
      const PartAnswer due = std::move(next->second);
      _waiting.erase(next);
      if (_is_enough) continue;
      Add(due);
    }
    if (_is_enough) _waiting.clear();
    if (_progress) {
      const auto plans = static_cast<long long>(_taken.size());
      _progress(static_cast<long long>(_plan) * _options.most + _due, plans * _options.most);
    }
  }

  std::vector<Trials> Finish(bool broken_off) {
    for (std::size_t i = 0; i < _taken.size(); ++i) {
      Trials& trials = _taken[i];
      trials.broken_off = broken_off && i >= _plan;
      if (!trials.layout.empty()) {
        trials.digits = StandingDigits(trials.errors, kSequence, _options.digits);
      }
    }
    return std::move(_taken);
  }

 private:
  void Add(const PartAnswer& answer) {
    Trials& trials = _taken[_plan];
    if (trials.layout.empty() && !answer.layout.empty()) {
      trials.layout = answer.layout;
      std::size_t width = 0;
      for (const Layout& row : trials.layout) width += NumbersOf(row.kind);
      trials.results = Draws(width);
      trials.errors = Draws(width);
    }
    for (const Trial& trial : answer.trials) {
      ++trials.trials;
      if (!trial.successful || trial.results.size() != trials.results.width()) continue;
      ++trials.successes;
      if (trial.warned) ++trials.warned;
      trials.results.Add(trial.results);
      trials.errors.Add(trial.errors);
    }
    _due += static_cast<long long>(answer.trials.size());
    if (_due >= kHopeless && trials.successes == 0) _is_enough = true;
    if (_due >= kFewestTrials && _due % kLookEvery == 0 && !trials.layout.empty()) {
      _is_enough = StandingDigits(trials.errors, kSequence, _options.digits) == _options.digits;
    }
    if (_due == _options.most) _is_enough = true;
  }

  const RunOptions& _options;
  const Progress& _progress;
  std::vector<Trials> _taken;
  std::size_t _plan = 0;  ///< whose parts are handed out
  long long _given = 0;   ///< trials of it that were handed out
  long long _due = 0;     ///< the next trial of it to be counted
  bool _is_enough = false;
  std::map<long long, PartAnswer> _waiting;
};

void RunHere(const std::vector<TrialPlan>& plans, Taker& taker) {
  while (const std::optional<Part> part = taker.Next()) {
    if (host::Uninterrupted::IsAsked()) return;
    try {
      taker.Take(*part, CarryOutPart(plans[part->plan], *part));
    } catch (const sim::SceneError& error) {
      throw CallError(std::string("the part cannot be simulated: ") + error.what());
    }
  }
}

JobAnswer AnswerJob(const std::vector<TrialPlan>& plans, const std::string& job) {
  std::istringstream words(job);
  Part part;
  words >> part.plan >> part.first >> part.count;
  try {
    return {TextOf(CarryOutPart(plans.at(part.plan), part)), false, {}};
  } catch (const std::exception& error) {
    return {std::string("the part cannot be simulated: ") + error.what(), true, {}};
  }
}

void RunInProcesses(const std::vector<TrialPlan>& plans, int processes, Taker& taker) {
  std::vector<Part> parts;
  host::JobWorkers workers(
      std::min(processes, host::kMostWorkers),
      [&plans](const std::string& job) { return AnswerJob(plans, job); },
      [&](std::size_t number, const JobAnswer& answer) {
        if (answer.is_error) throw CallError(answer.line);
        taker.Take(parts[number], AnswerOf(answer.line));
      });
  while (!taker.IsDone() && !host::Uninterrupted::IsAsked()) {
    const std::optional<Part> part = workers.HasIdle() ? taker.Next() : std::nullopt;
    if (part) {
      parts.push_back(*part);
      workers.Give(parts.size() - 1, std::to_string(part->plan) + " " +
                                         std::to_string(part->first) + " " +
                                         std::to_string(part->count));
    } else if (workers.HasBusy()) {
      workers.Wait(-1);
    }
  }
}

}  // namespace

std::vector<Trials> Run(const std::vector<TrialPlan>& plans, const RunOptions& options,
                        const Progress& progress) {
  Taker taker(plans.size(), options, progress);
  if (options.processes <= 1) {
    RunHere(plans, taker);
  } else {
    RunInProcesses(plans, options.processes, taker);
  }
  return taker.Finish(!taker.IsDone());
}

}  // namespace libmfx::uncertainty
