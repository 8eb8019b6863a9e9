#include <memory>
#include <string>

#include "host/batch.h"
#include "host/files.h"
#include "host/outputs.h"
#include "options.h"
#include "progress.h"

namespace libmfx::host {
namespace {

struct BatchCall {
  std::string jobs;  ///< file with a job a line, "-" for standard input
  bool show_library_lines = false;
  bool strict = false;  ///< the answer of a doubtful success says so
  ConversationOptions options;
};

int RunBatch(const BatchCall& call, Console& console) {
  console.ShowLibraryLines(call.show_library_lines);
  KeepApart({{"jobs", call.jobs}}, {}, console.output());
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

}  // namespace

void AddBatch(CLI::App& program, Execute& execute) {
  const auto call = std::make_shared<BatchCall>();
  CLI::App& command = *program.add_subcommand("batch", "Carry out one job a line, answer each");
  command.add_option("JOBS", call->jobs, "File with jobs, - for standard input")->required();
  AddSearch(command, call->options);
  AddPasses(command, [call](int passes) { call->options.max_passes = passes; });
  AddScanData(command, [call](ScanData form) { call->options.scan_data = form; });
  command.add_flag("--strict", call->strict,
                   "Mark the answer of a success with warnings as doubtful");
  command.add_flag("--log", call->show_library_lines, "Show the library's log lines and traces");
  command.callback([&execute, call] {
    execute = [call](Console& console) { return RunBatch(*call, console); };
  });
}

}  // namespace libmfx::host
