#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "console.h"
#include "options.h"
#include "report/spread.h"
#include "uncertainty/plan.h"

/// \file
/// What the calls that tell uncertainties have in common: their options, the trials with their bar,
/// and the answer for people.

namespace libmfx::host {

/// How uncertainties are estimated.
struct Estimating {
  std::string model;    ///< file with a model of the instrument; empty: the virtual one's default
  std::string surface;  ///< file with a surface; empty: matte, or the model's
  std::uint64_t seed = 1;
  uncertainty::RunOptions run{.most = uncertainty::kMostTrials, .digits = 2, .processes = 0};

  /// \throws CallError if a file cannot be read
  uncertainty::InstrumentModel Model() const;
};

/// --instrument-model, --trials, --digits and -j.
void AddEstimating(CLI::App& call, Estimating& estimating);

/// The answers, with a bar on a terminal meanwhile. A signal ends the trials with what stands.
/// \throws CallError
std::vector<uncertainty::Uncertainty> Estimate(const std::vector<uncertainty::Question>& questions,
                                               const Estimating& estimating);

/// A table for people: millimetres and degrees.
/// \param name of what was asked about
std::string UncertaintyText(const std::string& name, const uncertainty::Uncertainty& answer,
                            const std::optional<uncertainty::Uncertainty>& first = std::nullopt);

/// The same for a report, and for the table of a result.
report::Spread SpreadOf(const uncertainty::Uncertainty& answer);

}  // namespace libmfx::host
