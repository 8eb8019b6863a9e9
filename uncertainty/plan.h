#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/recording.h"
#include "uncertainty/run.h"
#include "uncertainty/uncertainty.h"

namespace libmfx::uncertainty {

/// What is asked about: a measurement to come, or one that was made.
struct Question {
  TrialPlan plan;
  std::vector<std::string> repeated;  ///< keys that the result repeats from the request
  std::optional<Values> measured;     ///< what was measured; none before a measurement
  std::optional<Uncertainty> first;   ///< after a measurement what its fit alone tells, if it does
};

/// What will this request be able to tell from here? The nominal part stands at its nominal place.
/// \throws host::CallError if the request cannot be carried out
Question Before(const std::string& request, const host::ConversationOptions& options,
                const InstrumentModel& model, std::uint64_t seed);

/// How sure is what was measured? The part stands where it was measured, with what the recording
/// shows around it, in front of an instrument whose noise is that of the recording.
/// \throws host::CallError if the measurement did not succeed, or the recording does not hold it
Question After(const host::Recording& recording, const InstrumentModel& model, std::uint64_t seed);

/// What was measured, and what its fit alone tells of how sure it is.
struct AtFirst {
  Values measured;
  std::optional<Uncertainty> first;  ///< none where no fit stands behind it
};

/// The same without a trial.
/// \throws host::CallError as After
AtFirst Glance(const host::Recording& recording);

/// What the trials answer.
Uncertainty AnswerOf(const Question& question, const Trials& trials);

/// The same for some questions, whose trials share the processes.
/// \throws host::CallError as Run
std::vector<Uncertainty> AnswersOf(const std::vector<Question>& questions,
                                   const RunOptions& options, const Progress& progress = {});

}  // namespace libmfx::uncertainty
