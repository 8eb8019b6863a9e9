#include "uncertainty/plan.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/errors.h"
#include "uncertainty/first_estimate.h"
#include "uncertainty/recorded_noise.h"
#include "uncertainty/surroundings.h"

namespace libmfx::uncertainty {
namespace {

using host::CallError;
using measurement::Measurement;

/// Holds the recorded conversation again.
/// \returns its last scan
host::Exchange Replay(Measurement& measurement, const host::Recording& recording) {
  host::ReplayDriver driver(recording);
  host::Exchange last;
  while (!measurement.done()) {
    last.points = measurement.drive();
    last.step = host::StepName(measurement.step());
    last.samples = driver.Drive(last.points, last.step);
    measurement.take(last.samples);
  }
  return last;
}

TrialPlan PlanOf(const std::string& request, const host::ConversationOptions& options,
                 const InstrumentModel& model, std::uint64_t seed) {
  std::optional<Twin> twin = NominalTwin(request);
  if (!twin) {
    Measurement measurement(request, OptionsOf(options));
    const std::string why = measurement.error();
    throw CallError("there is nothing to be sure of: " +
                    (why.empty() ? "the request measures nothing" : host::OneLine(why)));
  }
  return {.request = request,
          .options = options,
          .twin = std::move(*twin),
          .model = model,
          .shifts = false,
          .seed = seed};
}

/// Mean errors of some trials of their own, by quantity; nothing where none of them succeeds.
std::optional<Values> MeanErrors(const TrialPlan& plan, int round) {
  constexpr std::uint64_t kFirst = std::uint64_t{1} << 40;  // beyond those that are counted
  constexpr int kTrials = 12;
  std::vector<Layout> layout;
  Eigen::VectorXd sum;
  int successes = 0;
  for (int i = 0; i < kTrials; ++i) {
    const auto number = kFirst + static_cast<std::uint64_t>(round * kTrials + i);
    const Trial trial = CarryOut(plan, number, &layout);
    if (!trial.successful) continue;
    const Eigen::Map<const Eigen::VectorXd> errors(trial.errors.data(),
                                                   static_cast<Eigen::Index>(trial.errors.size()));
    if (sum.size() == 0) sum.setZero(errors.size());
    if (sum.size() != errors.size()) continue;
    sum += errors;
    ++successes;
  }
  if (successes == 0) return std::nullopt;
  Values means;
  Eigen::Index first = 0;
  for (const Layout& row : layout) {
    const auto numbers = static_cast<Eigen::Index>(NumbersOf(row.kind));
    means.push_back({row.key, row.kind, sum.segment(first, numbers) / successes});
    first += numbers;
  }
  return means;
}

/// Puts the twin where a measurement of it finds what was measured: with the nominal off the part,
/// a result without a re-scan may stand half way between them, and so would the twin's.
void Settle(TrialPlan& plan, const Values& measured) {
  constexpr int kRounds = 6;
  constexpr double kStill = 0.1;  // of the spacing: the trials scatter by as much
  for (int round = 0; round < kRounds; ++round) {
    const std::optional<Values> errors = MeanErrors(plan, round);
    if (!errors) return;
    Twin& twin = plan.twin;
    const Twin before = twin;
    for (const Value& error : *errors) {
      const Value* found = Find(measured, error.key);
      if (found == nullptr || error.kind == Kind::kDirection) continue;
      const Eigen::VectorXd better = found->numbers - error.numbers;
      if (error.kind == Kind::kPlace) twin.place = better;
      if (error.key == "Radius") twin.radius = better[0];
      if (error.key == "Length") twin.length = better[0];
      if (error.key == "Width") twin.width = better[0];
    }
    const double moved =
        std::max({(twin.place - before.place).norm(), std::abs(twin.radius - before.radius),
                  std::abs(twin.length - before.length), std::abs(twin.width - before.width)});
    if (moved < kStill * twin.spacing) return;
  }
}

}  // namespace

Question Before(const std::string& request, const host::ConversationOptions& options,
                const InstrumentModel& model, std::uint64_t seed) {
  Question question{
      .plan = PlanOf(request, options, model, seed), .repeated = {}, .measured = {}, .first = {}};
  question.repeated = RepeatedKeys(request);
  return question;
}

namespace {

/// A recorded measurement that was held again.
struct HeldAgain {
  Question question;  ///< without what trials alone need
  host::Exchange scan;
  features::Stages stages;
};

HeldAgain HoldAgain(const host::Recording& recording, const InstrumentModel& model,
                    std::uint64_t seed) {
  HeldAgain held{Before(recording.request, recording.options, model, seed), {}, {}};
  Measurement measurement(recording.request, OptionsOf(recording.options));
  held.scan = Replay(measurement, recording);
  if (!measurement.successful()) {
    throw CallError("the measurement failed, and nothing of it can be sure: " +
                    host::OneLine(measurement.error()));
  }
  held.stages = measurement.feature().GetStages();
  TrialPlan& plan = held.question.plan;
  Values measured = MeasuredValues(measurement);
  if (plan.twin.type == "CustomScan") {
    // What was measured are the samples: the answer is told for one from the middle of the path.
    measured = {{"Range", Kind::kSize, Eigen::VectorXd::Constant(1, plan.twin.place.norm())}};
  }
  plan.twin = Surrounded(MeasuredTwin(plan.twin, measured, held.stages), held.scan, held.stages);
  held.question.first = FirstEstimate(plan.twin, measured, held.scan, held.stages);
  held.question.measured = std::move(measured);
  return held;
}

Question AskedOf(const host::Recording& recording, const InstrumentModel& model,
                 std::uint64_t seed) {
  HeldAgain held = HoldAgain(recording, model, seed);
  TrialPlan& plan = held.question.plan;
  plan.model = AsRecorded(model, SceneOf(plan.twin), held.scan, held.stages, seed);
  plan.shifts = true;
  Settle(plan, *held.question.measured);
  return std::move(held.question);
}

}  // namespace

Question After(const host::Recording& recording, const InstrumentModel& model, std::uint64_t seed) {
  try {
    return AskedOf(recording, model, seed);
  } catch (const sim::SceneError& error) {
    throw CallError("the part cannot be simulated: " + host::OneLine(error.what()));
  }
}

AtFirst Glance(const host::Recording& recording) {
  try {
    Question question = HoldAgain(recording, {}, 1).question;
    return {std::move(*question.measured), std::move(question.first)};
  } catch (const sim::SceneError& error) {
    throw CallError("the part cannot be simulated: " + host::OneLine(error.what()));
  }
}

std::vector<Uncertainty> AnswersOf(const std::vector<Question>& questions,
                                   const RunOptions& options, const Progress& progress) {
  std::vector<TrialPlan> plans;
  plans.reserve(questions.size());
  for (const Question& question : questions) plans.push_back(question.plan);
  const std::vector<Trials> trials = Run(plans, options, progress);
  std::vector<Uncertainty> answers;
  answers.reserve(questions.size());
  for (std::size_t i = 0; i < questions.size(); ++i) {
    answers.push_back(AnswerOf(questions[i], trials[i]));
  }
  return answers;
}

}  // namespace libmfx::uncertainty
