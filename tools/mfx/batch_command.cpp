#include <string>

#include "batch.h"
#include "commands.h"
#include "files.h"
#include "progress.h"

namespace libmfx::host {

int RunBatch(const BatchCall& call, Console& console) {
  console.ShowLibraryLines(call.show_library_lines);
  LineReader lines(call.jobs, "jobs");
  Progress progress;
  std::size_t jobs = 0;
  std::size_t errors = 0;
  std::string line;
  for (auto got = lines.Next(line); got != LineReader::Got::kEnd; got = lines.Next(line)) {
    const JobAnswer answer = got == LineReader::Got::kTooLong
                                 ? RefuseJob("the job is longer than 256 MiB")
                                 : AnswerJob(line, call.options, call.strict);
    console.Result(answer.line);
    ++jobs;
    errors += answer.is_error ? 1 : 0;
    progress.Show(lines.taken(), lines.total(), jobs, errors);
  }
  return kMeasured;
}

}  // namespace libmfx::host
