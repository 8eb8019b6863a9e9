#pragma once

#include <iosfwd>
#include <string>

#include "tools/accuracy/campaign.h"

namespace libmfx::accuracy {

/// Compares the answers of a batch with the truth and returns the campaign's section of
/// docs/accuracy.md. A condition of which there is no run has no rows.
/// \param jobs,answers one a line, in the same order
/// \param command that makes this section, told in it
/// \throws std::runtime_error if the two do not belong together, or a run is there twice
std::string Section(const Campaign& campaign, std::istream& jobs, std::istream& answers,
                    const std::string& command);

/// The value below or at which a share of sorted values lies: the smallest one of which that is
/// true (the nearest rank).
double Quantile(const std::vector<double>& sorted, double share);

}  // namespace libmfx::accuracy
