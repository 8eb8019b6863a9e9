#pragma once

#include <iosfwd>
#include <string>

#include "tools/accuracy/campaign.h"

namespace libmfx::accuracy {

/// Writes the jobs of a campaign, one a line, `runs` for each condition. Each run draws from a seed
/// of its own, made from its id, so that more runs leave the first ones as they were.
void WriteJobs(const Campaign& campaign, int runs, std::ostream& out);

/// Compares the answers of a batch with the truth and returns the campaign's section of
/// docs/accuracy.md.
/// \param jobs,answers one a line, in the same order
/// \param command that makes this section, told in it
/// \throws std::runtime_error if the two do not belong together
std::string Section(const Campaign& campaign, std::istream& jobs, std::istream& answers,
                    const std::string& command);

/// The value below or at which a share of sorted values lies: the smallest one of which that is
/// true (the nearest rank).
double Quantile(const std::vector<double>& sorted, double share);

}  // namespace libmfx::accuracy
