#pragma once

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "tools/accuracy/campaign.h"

namespace libmfx::accuracy {

/// A number from 0 on; nothing for any other text.
std::optional<int> NumberOf(std::string_view text);

/// A run as its id names it: the campaign's name, the number of the condition and that of the run,
/// from 0 on, with a "/" between.
struct Run {
  std::string campaign;
  std::size_t condition;
  int number;
};

/// \param id as the lines of jobs and answers tell it
/// \throws std::runtime_error if it is none
Run RunOf(const std::string& id);

/// Which runs of a campaign.
struct Runs {
  int count = 100;             ///< of each condition
  int first = 0;               ///< the number of the first one
  std::string condition = {};  ///< the number of a condition, or a part of its label; empty: all
};

/// Writes the jobs of a campaign, one a line. Each run draws from a seed of its own, made from its
/// id, so that runs are the same whatever others are written.
/// \throws std::runtime_error if there is no such condition
void WriteJobs(const Campaign& campaign, const Runs& runs, std::ostream& out);

/// The job of one run: its "id", "request" and "scene", and the "seed" of the instrument.
/// \throws std::runtime_error if there is no such campaign or condition
json JobOf(const std::string& id);

}  // namespace libmfx::accuracy
