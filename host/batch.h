#pragma once

#include <string>

#include "host/conversation.h"

namespace libmfx::host {

/// The answer to one job of a batch: {"id":...,"result":{...}} or {"id":...,"error":"..."}; the
/// former may have "doubtful":true as its last key.
struct JobAnswer {
  std::string line;
  bool is_error = false;
};

/// Carries out one job: {"request": {...}, "scene": {...}} or {"recording": "FILE"}, each with an
/// optional "id" (any value) and "seed". Nothing about the job throws, and nothing of it is left
/// for the next one. The virtual instrument is seeded by the job's "seed", else by its "id", else
/// by the scene's own. A recording is held with the options that it was recorded with.
/// \param strict whether the answer of a doubtful success says so
JobAnswer AnswerJob(const std::string& line, const ConversationOptions& options, bool strict);

/// The answer to a job that cannot even be read.
JobAnswer RefuseJob(const std::string& why);

}  // namespace libmfx::host
