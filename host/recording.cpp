#include "host/recording.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <utility>

#include "host/errors.h"
#include "host/json_text.h"
#include "libmfx/features/request_text.h"

namespace libmfx::host {
namespace {

using nlohmann::ordered_json;

/// A request as a value of the recording: the object on one line, or the text as it stands. The
/// library reads neither form otherwise than the original.
std::string RequestValue(const std::string& request) {
  const std::optional<std::string> strict = features::StrictJson(request);
  return Dump(strict ? ordered_json::parse(*strict) : ordered_json(request));
}

ordered_json OptionsValue(const ConversationOptions& options) {
  return {{"search", options.search},
          {"max_passes", options.max_passes},
          {"scan_data", ScanDataName(options.scan_data)}};
}

/// Most exchanges that a recording may hold: more than twice those of a measurement with
/// kMostPasses re-scans, a search with as many, and every scan driven twice.
constexpr std::size_t kMostExchanges = 10'000;

/// Reads recordings line by line.
class Reader {
 public:
  explicit Reader(const std::string& path)
      : _name(OneLine(path)), _lines(path, "recording", LineReader::Packing::kMayBeGzip) {}

  Recording Read() {
    std::string line;
    if (!Next(line)) Fail("it is empty");
    ReadFirst(line);
    while (Next(line)) {
      if (!_recording.result.empty()) Fail("there is something after the result");
      if (FirstKey(line) == "result") {
        ReadResult(line);
      } else {
        ReadExchange(line);
      }
    }
    return std::move(_recording);
  }

 private:
  bool Next(std::string& line) {
    ++_number;
    const LineReader::Got got = _lines.Next(line);
    if (got == LineReader::Got::kTooLong) Fail("it is longer than 256 MiB");
    if (got == LineReader::Got::kLine && line.ends_with('\r')) line.pop_back();
    return got == LineReader::Got::kLine;
  }

  void ReadFirst(const std::string& line) {
    const std::optional<std::string> strict =
        features::StrictJson(line, kLineNesting, features::SURROUNDINGS_BLANK);
    const ordered_json first = strict ? ordered_json::parse(*strict) : ordered_json();
    if (first.contains("format")) CheckFormat(first["format"]);
    if (!first.contains("request")) Fail("it is no object with \"request\"");
    const ordered_json& request = first["request"];
    _recording.request = request.is_string() ? request.get<std::string>() : Dump(request);
    if (first.contains("options")) ReadOptions(first["options"]);
    ReadText(first, "program", _recording.program);
    ReadText(first, "time", _recording.time);
    ReadText(first, "instrument", _recording.instrument);
    if (first.contains("labels")) ReadLabels(first["labels"]);
  }

  void CheckFormat(const ordered_json& format) {
    if (!format.is_number_unsigned() || format == 0)
      Fail("\"format\" is no whole number from 1 on");
    if (format > kRecordingFormat) {
      Fail("it has the format " + Dump(format) + ", and this program knows none above " +
           std::to_string(kRecordingFormat) + ": a newer one is needed");
    }
  }

  void ReadText(const ordered_json& first, const char* key, std::string& text) {
    if (!first.contains(key)) return;
    if (!first[key].is_string()) Fail("\"" + std::string(key) + "\" is no text");
    text = first[key].get<std::string>();
  }

  void ReadLabels(const ordered_json& labels) {
    const auto is_label = [](const ordered_json& label) {
      return label.is_array() && label.size() == 2 && label[0].is_string() && label[1].is_string();
    };
    if (!labels.is_array() || !std::all_of(labels.begin(), labels.end(), is_label)) {
      Fail("\"labels\" is no array of pairs of texts");
    }
    for (const ordered_json& label : labels) {
      _recording.labels.emplace_back(label[0].get<std::string>(), label[1].get<std::string>());
    }
  }

  void ReadOptions(const ordered_json& options) {
    const auto wrong = [this](const char* key) {
      Fail("\"options\" has a value of \"" + std::string(key) + "\" that is not understood");
    };
    if (!options.is_object()) Fail("\"options\" is no object");
    for (const auto& [key, value] : options.items()) {
      if (key == "search") {
        if (!value.is_boolean()) wrong("search");
        _recording.options.search = value.get<bool>();
      } else if (key == "max_passes") {
        const auto passes = value.is_number_integer() ? value.get<std::int64_t>() : -1;
        if (passes < 0 || passes > kMostPasses) wrong("max_passes");
        _recording.options.max_passes = static_cast<int>(passes);
      } else if (key == "scan_data") {
        const auto form = ScanDataOf(value.is_string() ? value.get<std::string>() : "");
        if (!form) wrong("scan_data");
        _recording.options.scan_data = *form;
      }
    }
  }

  void ReadExchange(const std::string& drive) {
    if (_recording.exchanges.size() >= kMostExchanges) {
      Fail("it is one exchange more than the " + std::to_string(kMostExchanges) + " that are read");
    }
    Exchange exchange;
    exchange.points = Checked([&] { return ReadDrive(drive); });
    std::string samples;
    if (!Next(samples)) Fail("the samples of the last drive are missing");
    Answer answer = Checked([&] { return ReadAnswer(samples); });
    if (answer.error) Fail("it holds an error of the instrument: " + OneLine(*answer.error));
    exchange.samples = std::move(answer.samples);
    _recording.exchanges.push_back(std::move(exchange));
  }

  void ReadResult(const std::string& line) {
    if (!ordered_json::accept(line)) Fail("the result is not JSON");
    // Between the colon and the closing brace stands the message, to the byte.
    const std::size_t begin = line.find_first_not_of(" \t", line.find(':') + 1);
    const std::size_t end = line.find_last_not_of(" \t", line.rfind('}') - 1) + 1;
    _recording.result = line.substr(begin, end - begin);
  }

  template <typename Read>
  auto Checked(Read read) -> decltype(read()) {
    try {
      return read();
    } catch (const CallError& error) {
      Fail(error.what());
    }
  }

  [[noreturn]] void Fail(const std::string& what) {
    throw CallError("recording " + _name + ", line " + std::to_string(_number) + ": " + what);
  }

  std::string _name;
  LineReader _lines;
  std::size_t _number = 0;
  Recording _recording;
};

}  // namespace

std::string HeadLine(const RecordingHead& head) {
  std::string line = "{\"request\":" + RequestValue(head.request);
  if (head.options != ConversationOptions{})
    line += ",\"options\":" + Dump(OptionsValue(head.options));
  ordered_json rest = {{"format", kRecordingFormat},
                       {"program", head.program},
                       {"time", head.time},
                       {"instrument", head.instrument}};
  if (!head.labels.empty()) {
    ordered_json& labels = rest["labels"] = ordered_json::array();
    for (const auto& [key, value] : head.labels)
      labels.push_back(ordered_json::array({key, value}));
  }
  return line + "," + Dump(rest).substr(1);
}

std::string UtcNow() {
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  const auto day = std::chrono::floor<std::chrono::days>(now);
  const std::chrono::year_month_day date{day};
  const std::chrono::hh_mm_ss time{now - day};
  const auto two = [](long long value) {
    return std::string(value < 10 ? "0" : "") + std::to_string(value);
  };
  return std::to_string(static_cast<int>(date.year())) + "-" +
         two(static_cast<unsigned>(date.month())) + "-" + two(static_cast<unsigned>(date.day())) +
         "T" + two(time.hours().count()) + ":" + two(time.minutes().count()) + ":" +
         two(time.seconds().count()) + "Z";
}

RecordingWriter::RecordingWriter(const std::string& path) : _file(path, "recording") {
  if (path.ends_with(".gz")) _packer.emplace();
}

void RecordingWriter::Put(const std::string& line) {
  if (_failure) return;
  try {
    _file.Write(_packer ? _packer->Add(line + "\n") : line + "\n");
  } catch (const CallError& error) {
    _failure = error;
  }
}

void RecordingWriter::Begin(const RecordingHead& head) { Put(HeadLine(head)); }

void RecordingWriter::Write(const Exchange& exchange) {
  Put(DriveLine(exchange.points, exchange.step));
  Put(SamplesLine(exchange.samples));
}

void RecordingWriter::Finish(const std::string& result) {
  Put("{\"result\":" + result + "}");
  if (_failure) throw *_failure;
  if (_packer) _file.Write(_packer->End());
  _file.Commit();
}

Recording ReadRecording(const std::string& path) { return Reader(path).Read(); }

std::vector<RawDataPoint> ObservedDriver::Drive(const std::vector<Position>& points,
                                                const std::string& step) {
  Exchange exchange{points, step, _driver.Drive(points, step)};
  _observer(exchange);
  return std::move(exchange.samples);
}

std::string ReplayDriver::Name() const {
  std::string name = "samples of a recording";
  if (!_recording.time.empty()) name += " of " + _recording.time;
  if (!_recording.instrument.empty()) name += ", " + _recording.instrument;
  return name;
}

std::vector<RawDataPoint> ReplayDriver::Drive(const std::vector<Position>& points,
                                              const std::string& step) {
  if (_next >= _recording.exchanges.size()) {
    throw CallError("the recording holds " + std::to_string(_recording.exchanges.size()) +
                    " exchanges, and the measurement asks for one more (step " + step + ")");
  }
  const Exchange& exchange = _recording.exchanges[_next++];
  if (exchange.points != points) ++_deviations;
  return exchange.samples;
}

std::vector<std::string> ReplayNotes(const ReplayDriver& driver, const Recording& recording) {
  std::vector<std::string> notes;
  if (driver.deviations() > 0) {
    notes.emplace_back("the library now asks for other drive points than were recorded");
  }
  if (driver.answered() < recording.exchanges.size()) {
    notes.push_back("the measurement ended after " + std::to_string(driver.answered()) + " of " +
                    std::to_string(recording.exchanges.size()) + " recorded exchanges");
  }
  return notes;
}

}  // namespace libmfx::host
