#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/batch_run.h"
#include "host/batch_workers.h"
#include "host/changes.h"
#include "host/files.h"
#include "host/outputs.h"
#include "options.h"
#include "progress.h"

namespace libmfx::host {
namespace {

struct BatchCall {
  std::string jobs;    ///< file with a job a line, "-" for standard input
  std::string resume;  ///< file with the answers that there are; empty: none
  int processes = 1;   ///< 0: as many as there are processors
  bool show_library_lines = false;
  Checking checking = Checking::kNotes;
  BatchOptions options;
};

/// The answers that there are may be what standard output goes to, as long as it goes to their end.
void KeepFilesApart(const BatchCall& call, const Console& console) {
  const int output = console.output();
  const bool continues = !call.resume.empty() && SameFileAs(output)(call.resume);
  if (continues && (fcntl(output, F_GETFL) & O_APPEND) == 0) {
    throw CallError("standard output would write over answers " + OneLine(call.resume) +
                    " (>> writes behind them)");
  }
  KeepApart({{"jobs", call.jobs}}, {{"answers", call.resume}}, continues ? -1 : output);
  KeepApart({{"jobs", call.jobs}}, {}, output);
}

/// Without --log nobody reads notes, and nothing has to be looked at for them.
RequestCheck CheckOfJob(const BatchCall& call, Console& console) {
  const bool is_told = call.show_library_lines || call.checking == Checking::kStrict;
  if (call.checking == Checking::kOff || !is_told) return {};
  return [&call, &console](const std::string& id, const std::string& request) {
    CheckJob(id, request, {.search = call.options.conversation.search}, call.checking,
             call.show_library_lines, console);
  };
}

/// Jobs and answers come and go in bursts of some 100 kB. Memory that is given back to the system
/// after each of them has to be cleared by it again before the next: a third of what dealing out
/// small jobs costs.
void KeepFreedMemory() {
#ifdef M_TRIM_THRESHOLD
  mallopt(M_TRIM_THRESHOLD, 16 << 20);
#endif
}

int RunBatch(const BatchCall& call, Console& console) {
  KeepFreedMemory();
  console.ShowLibraryLines(call.show_library_lines);
  if (call.resume == "-") throw CallError("--resume wants a file, not standard input");
  KeepFilesApart(call, console);
  LineReader lines(call.jobs, "jobs");
  std::size_t jobs = call.resume.empty() ? 0 : PassOverAnswered(lines, call.resume);
  std::size_t errors = 0;
  BatchOptions options = call.options;
  options.check = CheckOfJob(call, console);
  options.is_output = SameFileAs(console.output());
  ComparisonSummary comparison;
  {
    Progress progress;
    const int processes = call.processes == 0 ? ProcessorsToUse() : call.processes;
    // Answers that come together are written together: a call of the system for each takes a tenth
    // of what dealing out small jobs costs.
    CarryOutJobs(lines, options, processes, [&](std::span<const JobAnswer> answers) {
      std::vector<std::string_view> told;
      for (const JobAnswer& answer : answers) {
        told.push_back(answer.line);
        ++jobs;
        errors += answer.is_error ? 1 : 0;
        comparison.Take(jobs, answer.comparison);
      }
      console.Results(told);
      progress.Show(lines.taken(), lines.total(), jobs, errors);
    });
  }
  if (isatty(STDERR_FILENO) == 1) {
    console.Note(std::to_string(jobs) + " jobs, " + std::to_string(errors) + " with errors");
  }
  if (call.options.compare) {
    for (const std::string& line : comparison.Lines()) console.Note(line);
  }
  return kMeasured;
}

}  // namespace

void AddBatch(CLI::App& program, Execute& execute) {
  const auto call = std::make_shared<BatchCall>();
  ConversationOptions& conversation = call->options.conversation;
  CLI::App& command = Call::Add(
      program, "batch",
      {.summary = "Carry out one job a line, answer each",
       .about =
           "Each line of JOBS is a JSON object with a request and a scene, or with the file of a "
           "recording; each answer is a line on standard output, in the same order. A line that "
           "cannot be carried out is answered by an error and does not end the batch.",
       .examples = {{"mfx batch jobs.jsonl > answers.jsonl", "Answers every job of a file."},
                    {"head -n 2 jobs.jsonl | mfx batch - --strict",
                     "Takes the jobs from a pipe, and marks doubtful answers."}},
       .statuses = {{kMeasured, "every line was answered"}, FailedStatus(), BrokenOffStatus()}});
  command.add_option("JOBS", call->jobs, "File with jobs, - for standard input")
      ->required()
      ->type_name("FILE");
  AddNumber<int>(
      command, "-j", 0, kMostWorkers, [call](int count) { call->processes = count; },
      "Jobs at a time, in processes of their own (1); 0: as many as there are processors");
  command
      .add_option("--resume", call->resume,
                  "File with the answers that there are: goes on with the jobs behind them")
      ->type_name("FILE");
  command.add_flag("--compare", call->options.compare,
                   "Tell what changed against the results of recordings");
  AddSearch(command, conversation);
  AddPasses(command, [&conversation](int passes) { conversation.max_passes = passes; });
  AddScanData(command, [&conversation](ScanData form) { conversation.scan_data = form; });
  command.add_flag("--strict", call->options.strict,
                   "Mark the answer of a success with warnings as doubtful");
  AddCheck(command, call->checking);
  command.add_flag("--log", call->show_library_lines, "Show the library's log lines and traces");
  command.callback([&execute, call] {
    execute = [call](Console& console) { return RunBatch(*call, console); };
  });
}

}  // namespace libmfx::host
