#pragma once

#include <cstddef>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

/// \file
/// What a recorded result and the one that the same samples give now have not in common.

namespace libmfx::host {

/// From a recorded result to the present one.
struct Changes {
  bool compared = false;  ///< false where there is no recorded result, or one that is no object
  bool failed_then = false;
  bool failed_now = false;
  /// {"KEY": {"was": ..., "is": ...}, ...} of the values that differ, as JSON; empty if none does.
  /// A key within another is told as "OUTER.INNER", an array as a whole; "was" or "is" is left out
  /// where there is no such key, and a value of more than 1000 bytes stands as its size.
  std::string values;
  /// By how much the numbers among them differ, and the points and directions: the length of the
  /// difference.
  std::map<std::string, double> by;
};

/// \param was,is result messages; the former may be empty or anything else
Changes ChangesBetween(const std::string& was, const std::string& is);

/// Changes without their values, as a text that can be passed on.
std::string ComparisonText(const Changes& changes);

/// Counts the comparisons of a batch.
class ComparisonSummary {
 public:
  /// \param job the number of its line, from 1
  /// \param comparison of ComparisonText; empty where a job has nothing to compare
  void Take(std::size_t job, const std::string& comparison);

  /// A line of counts, then one for each quantity that changed: by how much at most, and where.
  std::vector<std::string> Lines() const;

 private:
  struct Largest {
    double by = -1.0;
    std::size_t job = 0;
  };
  std::size_t _same = 0;
  std::size_t _changed = 0;
  std::size_t _not_compared = 0;
  std::size_t _failed_then = 0;
  std::size_t _failed_now = 0;
  std::map<std::string, Largest> _largest;
};

/// A request with some of its keys replaced: a key of `changes` takes the place of the one at the
/// root, and within "Feature" key by key, as deep as both hold objects.
/// \throws CallError if either is no JSON object
std::string RequestWithChanges(const std::string& request, const nlohmann::json& changes);

}  // namespace libmfx::host
