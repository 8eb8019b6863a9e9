#pragma once

#include <functional>
#include <string>

#include "host/conversation.h"

namespace libmfx::host {

/// Looks at the request of a job before anything is driven for it.
/// \param id of the job, as its answer echoes it
/// \throws CallError to have the job answered with that error
using RequestCheck = std::function<void(const std::string& id, const std::string& request)>;

/// How the jobs of a batch are carried out.
struct BatchOptions {
  ConversationOptions conversation;  ///< of a job with a scene
  bool strict = false;               ///< the answer of a doubtful success says so
  bool compare = false;              ///< the answer of a recording says what changed
  RequestCheck check = {};           ///< of a request that is to be driven; nothing: none
  /// Whether a path leads to the file that the answers go to; none: that is not looked at.
  std::function<bool(const std::string& path)> is_output = {};
};

/// The answer to one job of a batch: {"id":...,"result":{...}} or {"id":...,"error":"..."}; the
/// former may have "doubtful", "notes" and "changed" behind its result.
struct JobAnswer {
  std::string line;
  bool is_error = false;
  std::string comparison;  ///< for ComparisonSummary; empty where there was nothing to compare
};

/// Carries out one job: {"request": {...}, "scene": {...}} or {"recording": "FILE"}, each with an
/// optional "id" (any value) and "seed". Nothing about the job throws, and nothing of it is left
/// for the next one. The virtual instrument is seeded by the job's "seed", else by its "id", else
/// by the scene's own. A recording is held with the options that it was recorded with, and with
/// its request; the keys of a "request" that stands beside it take the place of the recorded ones.
JobAnswer AnswerJob(const std::string& line, const BatchOptions& options);

/// The answer to a job that cannot be read or was not finished.
/// \param id as IdOfJob tells it
JobAnswer RefuseJob(const std::string& why, const std::string& id = "null");

/// The text of a job's "id" as its answer echoes it; "null" where it has none or is no job.
std::string IdOfJob(const std::string& line);

}  // namespace libmfx::host
