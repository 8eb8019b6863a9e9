#pragma once

#include <functional>
#include <string>
#include <vector>

#include "uncertainty/statistics.h"
#include "uncertainty/trial.h"

namespace libmfx::uncertainty {

/// Most trials of a plan, and the number at which it is first looked whether they are enough.
inline constexpr long long kMostTrials = 10'000;
inline constexpr long long kFewestTrials = 1'000;

struct RunOptions {
  long long most = kMostTrials;  ///< trials of a plan, at least 2
  int digits = 2;                ///< the trials of a plan end when so many significant digits stand
  int processes = 1;             ///< that share the trials of all plans; the outcome is the same
};

/// What the trials of one plan came to.
struct Trials {
  std::vector<Layout> layout;  ///< empty without a success
  Draws results{1};            ///< of the successes, in the order of the trials
  Draws errors{1};
  long long trials = 0;
  long long successes = 0;
  long long warned = 0;
  int digits = 0;           ///< that stand, looked for up to those that were asked for
  bool broken_off = false;  ///< a signal came first
};

/// Told after each part of the trials: how many are done of all that may have to be.
using Progress = std::function<void(long long done, long long most)>;

/// Carries out the trials of some plans. A signal ends them with what stands by then, where
/// somebody holds signals back with `host::Uninterrupted`.
/// \throws host::CallError if a plan cannot be carried out: its part cannot stand there, or a
/// process dies of it
std::vector<Trials> Run(const std::vector<TrialPlan>& plans, const RunOptions& options,
                        const Progress& progress = {});

}  // namespace libmfx::uncertainty
