#include "host/instrument_check.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "host/instrument_check_line.h"
#include "host/instrument_check_path.h"
#include "host/instrument_check_samples.h"
#include "host/numbers.h"
#include "host/process_driver.h"

namespace libmfx::host {
namespace {

using std::chrono::milliseconds;

/// How long to listen after an answer for what nobody asked for.
constexpr milliseconds kForMore{60};
/// How long an answer may still be on its way when its line was no answer, or came too late.
constexpr milliseconds kForLate{1000};
/// Most lines that are listened to after an answer.
constexpr int kMostExtra = 20;

std::string Seconds(milliseconds time) {
  return Rounded(static_cast<double>(time.count()) / 1000.0) + " s";
}

/// Drives the paths of a check, one after the other.
class Check {
 public:
  Check(const std::string& command, milliseconds timeout)
      : _command(command), _timeout(timeout), _driver(command, timeout), _paths(CheckPaths()) {}

  InstrumentCheck Run() {
    for (std::size_t i = 0; i < _paths.size(); ++i) {
      _drive = static_cast<int>(i) + 1;
      const std::optional<std::string> line = Drive(_paths[i]);
      if (!line) return std::move(_result);
      ++_result.drives;
      Look(*line, i);
    }
    if (!_driver.End()) {
      Find({"does-not-end",
            "it does not end when its input is closed: a signal ended it after 2 s",
            "end when standard input does",
            {}});
    }
    return std::move(_result);
  }

 private:
  /// A finding that two drives have is one.
  void Find(InstrumentFinding finding) {
    const auto same =
        std::find_if(_result.findings.begin(), _result.findings.end(),
                     [&](const InstrumentFinding& known) { return known.name == finding.name; });
    if (same == _result.findings.end()) {
      finding.drives = {_drive};
      _result.findings.push_back(std::move(finding));
    } else if (same->drives.back() != _drive) {
      same->drives.push_back(_drive);
    }
  }

  /// Asks for a drive. Nothing comes back where the instrument cannot be driven any further.
  std::optional<std::string> Drive(const CheckPath& path) {
    const std::string step = _drive == 1 ? "INITIAL" : "FEATURE_SCAN_PATTERN";
    try {
      return _driver.Ask(DriveLine(path.points(), step));
    } catch (const ProcessError& error) {
      if (error.fault == ProcessFault::kSilent) return AfterSilence(error);
      if (error.fault == ProcessFault::kEnded) {
        FailOrFind("ended", "it ended, or closed its output, after the drive before",
                   WhyEnded(error), error);
      } else {
        FailOrFind("unusable", error.what(), "send one line for each drive", error);
      }
      return std::nullopt;
    }
  }

  std::string WhyEnded(const ProcessError& error) const {
    if (error.exit_status == 127) return "the command was not found: look at its path and its name";
    if (error.exit_status == 126) return "the command cannot be executed: look at its permissions";
    if (!_driver.Unfinished().empty()) {
      return "send each answer as one whole line, and go on until standard input ends";
    }
    return "answer every line until standard input ends; look at what it wrote on standard error";
  }

  /// An instrument that has never answered cannot be checked; of another one it is a finding.
  void FailOrFind(const char* name, const std::string& what, const std::string& advice,
                  const CallError& error) {
    if (_drive == 1) throw CallError(std::string(error.what()) + "; " + advice);
    Find({name, what, advice, {}});
  }

  /// No answer came in time: it may be slow, or keep its answer in a buffer.
  std::optional<std::string> AfterSilence(const ProcessError& error) {
    const milliseconds longer = std::max(_timeout, kForLate);
    if (auto line = _driver.Overhear(longer)) {
      Find({"slow",
            "the answer took longer than the " + Seconds(_timeout) + " that it was given",
            "give --timeout more seconds, here and with measure, or answer sooner",
            {}});
      return line;
    }
    const std::size_t bytes = _driver.Unfinished().size();
    _driver.CloseInput();
    const bool buffered = _driver.Overhear(kForLate).has_value();
    const std::string so_far = "no whole answer came within " + Seconds(_timeout + longer);
    if (buffered) {
      FailOrFind("buffered", so_far + ", but once the input was closed",
                 "it answers only once its input is closed: flush standard output after each "
                 "line, and read line by line, not to the end of the input; or give --timeout more "
                 "seconds",
                 error);
    } else if (bytes > 0) {
      FailOrFind("no-line-end",
                 so_far + ": " + std::to_string(bytes) + " bytes came, and no line end",
                 "it sent " + std::to_string(bytes) +
                     " bytes without a line end: end each answer with a line feed",
                 error);
    } else {
      FailOrFind("silent", so_far,
                 "it runs and says nothing: answer every line that comes on standard input", error);
    }
    return std::nullopt;
  }

  void Look(const std::string& line, std::size_t index) {
    CheckedLine checked = CheckLine(line);
    std::optional<std::string> more =
        _driver.Overhear(checked.is_object || _said_nothing_more ? kForMore : kForLate);
    _said_nothing_more = !more;
    if (!checked.is_object) SkipBanner(line, checked, more);
    if (IsCutOff(checked)) JoinLines(line, checked, more);
    TakeExtra(more);
    _result.samples += checked.samples.size();
    const bool readable = !checked.samples.empty() || checked.findings.empty();
    bool has_statuses = true;
    for (InstrumentFinding& finding : checked.findings) {
      if (finding.name.starts_with("status-")) has_statuses = false;
      Find(std::move(finding));
    }
    if (!readable) return;
    const CheckPath* before = index > 0 ? &_paths[index - 1] : nullptr;
    for (InstrumentFinding& finding : CheckSamples(checked.samples, _paths[index], before)) {
      if (has_statuses || !finding.name.starts_with("status-")) Find(std::move(finding));
    }
  }

  static bool IsCutOff(const CheckedLine& checked) {
    return !checked.findings.empty() && checked.findings.back().name == "line-cut-off";
  }

  /// Passes over lines that are no answer, if one follows that is.
  /// \param checked is what stands in the line, or in the answer that follows
  /// \param more is what follows
  void SkipBanner(const std::string& line, CheckedLine& checked, std::optional<std::string>& more) {
    for (int lines = 0; more && !checked.is_object && lines < kMostExtra; ++lines) {
      CheckedLine next = CheckLine(*more);
      more = _driver.Overhear(kForMore);
      if (!next.is_object) continue;
      Find({"banner",
            "a line that is no answer comes before the answer: " + Excerpt(line),
            "send nothing but answers to standard output; a greeting or a log belongs on standard "
            "error",
            {}});
      checked = std::move(next);
    }
  }

  /// Puts an answer together that stands on several lines.
  void JoinLines(const std::string& line, CheckedLine& checked, std::optional<std::string>& more) {
    const auto deadline = std::chrono::steady_clock::now() + kForLate;
    std::string whole = line;
    while (more && whole.size() <= kLongestAnswer && std::chrono::steady_clock::now() < deadline) {
      whole += " " + *more;
      more = _driver.Overhear(kForMore);
    }
    if (whole.size() == line.size()) return;
    CheckedLine joined = CheckLine(whole);
    if (joined.samples.empty()) return;
    Find({"line-broken-up",
          "the answer stands on several lines, the first of which is " + Excerpt(line),
          "write the object on one line, without indents",
          {}});
    checked = std::move(joined);
  }

  /// Lines that follow an answer; blank ones harm nothing.
  void TakeExtra(std::optional<std::string> more) {
    for (int lines = 0; more && lines < kMostExtra; ++lines) {
      if (more->find_first_not_of(" \t\r") != std::string::npos) {
        Find({"extra-line",
              "more than one line comes for one drive: " + Excerpt(*more),
              "send one line for each drive, and everything else to standard error",
              {}});
      }
      more = _driver.Overhear(kForMore);
    }
    if (more) {
      throw CallError(
          "instrument " + Excerpt(_command) +
          ": goes on sending lines that nobody asked for; send one line for each drive");
    }
  }

  std::string _command;
  milliseconds _timeout;
  ProcessDriver _driver;
  std::vector<CheckPath> _paths;
  int _drive = 0;
  bool _said_nothing_more = false;  ///< after the answer before
  InstrumentCheck _result;
};

}  // namespace

InstrumentCheck CheckInstrument(const std::string& command, milliseconds timeout) {
  return Check(command, timeout).Run();
}

}  // namespace libmfx::host
