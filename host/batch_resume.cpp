#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "host/batch_run.h"
#include "host/errors.h"

namespace libmfx::host {
namespace {

using Got = LineReader::Got;

/// How an answer to a job goes on behind its id.
constexpr std::string_view kKinds[] = {"\"result\":", "\"error\":"};

/// Whether one text is how the other one begins.
bool Agree(std::string_view one, std::string_view other) {
  const std::size_t length = std::min(one.size(), other.size());
  return one.substr(0, length) == other.substr(0, length);
}

/// Whether the object that a line begins with ends at its end: half an answer with a whole one
/// behind it does not. It is not parsed, so that passing over many answers takes little time.
bool IsWhole(std::string_view line) {
  int depth = 0;
  bool in_text = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (in_text) {
      if (c == '\\') ++i;
      in_text = c != '"';
    } else if (c == '"') {
      in_text = true;
    } else if (c == '{') {
      ++depth;
    } else if (c == '}' && --depth == 0) {
      return i + 1 == line.size();
    }
  }
  return false;
}

/// Whether a line answers the job with this id; of a line without an end, whether it may have been
/// about to.
bool Answers(std::string_view line, const std::string& id, bool has_end) {
  const std::string head = "{\"id\":" + id + ",";
  if (!has_end) {
    return line.size() <= head.size()
               ? Agree(line, head)
               : line.starts_with(head) && (Agree(line.substr(head.size()), kKinds[0]) ||
                                            Agree(line.substr(head.size()), kKinds[1]));
  }
  if (!line.starts_with(head)) return false;
  const std::string_view rest = line.substr(head.size());
  return (rest.starts_with(kKinds[0]) || rest.starts_with(kKinds[1])) && IsWhole(line);
}

}  // namespace

std::size_t PassOverAnswered(LineReader& jobs, const std::string& answers) {
  LineReader lines(answers, "answers");
  std::string line;
  std::string job;
  std::size_t number = 0;
  for (Got got = lines.Next(line); got != Got::kEnd; got = lines.Next(line)) {
    const auto fail = [&](const std::string& what) {
      throw CallError("answers " + OneLine(answers) + ", line " + std::to_string(number + 1) +
                      ": " + what);
    };
    const Got of_job = jobs.Next(job);
    if (of_job == Got::kEnd) fail("there are no more than " + std::to_string(number) + " jobs");
    const std::string id = of_job == Got::kLine ? IdOfJob(job) : "null";
    if (got == Got::kTooLong) fail("it is longer than 256 MiB");
    if (!Answers(line, id, lines.had_end())) {
      fail("it is no answer to the job there, whose id is " + Excerpt(id) + ": " + Excerpt(line));
    }
    if (!lines.had_end()) {
      if (truncate(answers.c_str(), static_cast<off_t>(lines.taken() - line.size())) != 0) {
        throw CallError("cannot cut the half line off answers " + OneLine(answers) + ": " +
                        strerror(errno));
      }
      jobs.PutBack(of_job, std::move(job));
      break;
    }
    ++number;
  }
  return number;
}

}  // namespace libmfx::host
