#include "host/batch_run.h"

#include <algorithm>
#include <map>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "host/batch_workers.h"

namespace libmfx::host {
namespace {

using Got = LineReader::Got;

JobAnswer TooLong() { return RefuseJob("the job is longer than 256 MiB"); }

/// Answers that wait for the ones before them.
class Queue {
 public:
  explicit Queue(const DeliverAnswers& deliver) : _deliver(deliver) {}

  void Put(std::size_t number, JobAnswer answer) {
    _bytes += SizeOf(answer);
    _waiting.emplace(number, std::move(answer));
  }

  void DeliverDue() {
    std::vector<JobAnswer> answers;
    for (auto first = _waiting.begin(); first != _waiting.end() && first->first == _due;
         first = _waiting.erase(first), ++_due) {
      _bytes -= SizeOf(first->second);
      answers.push_back(std::move(first->second));
    }
    if (!answers.empty()) _deliver(answers);
  }

  /// Whether further jobs may be begun while the one that is due is not finished.
  bool HasRoom() const { return _waiting.size() < kMostWaiting && _bytes < kMostBytes; }
  std::size_t due() const { return _due; }

 private:
  static constexpr std::size_t kMostWaiting = 10'000;
  static constexpr std::size_t kMostBytes = std::size_t{64} << 20;

  static std::size_t SizeOf(const JobAnswer& answer) {
    return answer.line.size() + answer.comparison.size();
  }

  const DeliverAnswers& _deliver;
  std::map<std::size_t, JobAnswer> _waiting;
  std::size_t _bytes = 0;
  std::size_t _due = 0;
};

void CarryOutInTurn(LineReader& jobs, const BatchOptions& options, const DeliverAnswers& deliver) {
  std::string line;
  for (Got got = jobs.Next(line); got != Got::kEnd; got = jobs.Next(line)) {
    const JobAnswer answer = got == Got::kTooLong ? TooLong() : AnswerJob(line, options);
    deliver({&answer, 1});
  }
}

}  // namespace

void CarryOutJobs(LineReader& jobs, const BatchOptions& options, int processes,
                  const DeliverAnswers& deliver) {
  if (processes <= 1) {
    CarryOutInTurn(jobs, options, deliver);
    return;
  }
  Queue queue(deliver);
  JobWorkers workers(
      std::min(processes, kMostWorkers),
      [&options](const std::string& job) { return AnswerJob(job, options); },
      [&queue](std::size_t number, JobAnswer answer) { queue.Put(number, std::move(answer)); });
  std::size_t begun = 0;
  bool at_end = false;
  std::string line;
  while (!at_end || queue.due() < begun) {
    // The one that is due is in some process's hands, so that waiting for room comes to an end.
    const bool wants = !at_end && workers.HasRoom() && queue.HasRoom();
    const std::optional<Got> got = wants ? jobs.Buffered(line) : std::nullopt;
    if (got == Got::kEnd) {
      at_end = true;
    } else if (got == Got::kTooLong) {
      queue.Put(begun++, TooLong());
    } else if (got) {
      workers.Give(begun++, std::exchange(line, {}));
    } else if (workers.Wait(wants ? jobs.file() : -1)) {
      jobs.Fill();
    }
    queue.DeliverDue();
  }
}

int ProcessorsToUse() {
  const auto processors = static_cast<int>(std::thread::hardware_concurrency());
  return std::clamp(processors, 1, kMostWorkers);
}

}  // namespace libmfx::host
