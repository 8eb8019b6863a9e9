#pragma once

#include <iosfwd>
#include <string>

namespace libmfx::accuracy {

/// How the truth of uncertainties is tried: parts that the estimate knows nothing of are measured,
/// and it is counted how often what is true lies within the interval of 95 % that is told.
struct CoverageOptions {
  int runs = 500;         ///< spread evenly over near and far, level and slanted
  int trials = 200;       ///< of each estimate
  bool is_wrong = false;  ///< the noise is taken for half of what the recording shows
  int processes = 1;
};

/// Tries the uncertainties of a type, and writes its rows of the table in docs/uncertainty.md.
/// \param name of the type's campaign
/// \throws std::runtime_error if there is no such campaign
void TryCoverage(const std::string& name, const CoverageOptions& options, std::ostream& out);

}  // namespace libmfx::accuracy
