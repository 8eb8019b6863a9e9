#include "host/recording.h"

#include <algorithm>
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

/// Reads recordings line by line.
class Reader {
 public:
  explicit Reader(const std::string& path) : _name(OneLine(path)), _lines(path, "recording") {}

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
    if (!first.contains("request")) Fail("it is no object with \"request\"");
    const ordered_json& request = first["request"];
    _recording.request = request.is_string() ? request.get<std::string>() : Dump(request);
    if (first.contains("options")) ReadOptions(first["options"]);
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

std::string RequestLine(const std::string& request, const ConversationOptions& options) {
  std::string line = "{\"request\":" + RequestValue(request);
  if (options != ConversationOptions{}) line += ",\"options\":" + Dump(OptionsValue(options));
  return line + "}";
}

RecordingWriter::RecordingWriter(const std::string& path, const std::string& request,
                                 const ConversationOptions& options)
    : _file(path, "recording") {
  _file.Write(RequestLine(request, options) + "\n");
}

void RecordingWriter::Write(const Exchange& exchange) {
  if (_failure) return;
  try {
    _file.Write(DriveLine(exchange.points, exchange.step) + "\n");
    _file.Write(SamplesLine(exchange.samples) + "\n");
  } catch (const CallError& error) {
    _failure = error;
  }
}

void RecordingWriter::Finish(const std::string& result) {
  if (_failure) throw *_failure;
  _file.Write("{\"result\":" + result + "}\n");
  _file.Commit();
}

Recording ReadRecording(const std::string& path) { return Reader(path).Read(); }

std::vector<RawDataPoint> ObservedDriver::Drive(const std::vector<Position>& points,
                                                const std::string& step) {
  Exchange exchange{points, step, _driver.Drive(points, step)};
  _observer(exchange);
  return std::move(exchange.samples);
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
