#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

namespace libmfx::accuracy {

struct InspectionsOptions {
  std::string plan;   ///< file
  std::string scene;  ///< file of the part as it was made
  int runs = 200;
  long long trials = 0;     ///< of each uncertainty; 0: by the fits alone
  bool is_unknown = false;  ///< the pose is not told, and the part stands within 2 m
  int processes = 1;
};

/// Inspects a part that is placed at random, again and again: 1.5 to 6 m away, turned anyhow about
/// the vertical and tilted by up to 40 degrees, its pose told to 20 mm and 5 degrees or not at all.
/// Writes how far the poses that were found are off, and how often a verdict was wrong, as rows of
/// docs/inspection.md. The same options give the same rows.
/// \throws std::runtime_error if plan or scene cannot be read
void TryInspections(const InspectionsOptions& options, std::ostream& out);

}  // namespace libmfx::accuracy
