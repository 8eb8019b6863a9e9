#include "host/wire.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>

#include "host/errors.h"
#include "host/numbers.h"
#include "host/plain_rows.h"

namespace libmfx::host {
namespace {

using nlohmann::json;

void AppendRow(std::string& text, std::initializer_list<double> values) {
  char separator = '[';
  for (const double value : values) {
    text += separator;
    AppendNumber(text, value);
    separator = ',';
  }
}

bool HasStatus(const PlainRow& row) {
  const double status = row[4];
  return status >= std::numeric_limits<std::int32_t>::min() &&
         status <= std::numeric_limits<std::int32_t>::max() && status == std::trunc(status);
}

RawDataPoint SampleOf(const PlainRow& row) {
  return {row[0], row[1], row[2], row[3], static_cast<std::int32_t>(row[4])};
}

Position PointOf(const PlainRow& row) { return {row[0], row[1], row[2], row[3]}; }

/// Takes the rows of numbers out of a line, without building the line in memory as a document.
class RowReader : public nlohmann::json_sax<json> {
 public:
  /// \param key whose rows are taken
  /// \param width of a row
  RowReader(const char* key, std::size_t width) : _key(key), _width(width) {}
  ~RowReader() override = default;

  /// What is wrong; empty if nothing is.
  std::string error;
  bool has_rows = false;
  std::optional<std::string> error_text;  ///< the value of "error"

  bool null() override { return Value(std::numeric_limits<double>::quiet_NaN()); }
  bool boolean(bool) override { return Other("a boolean"); }
  bool number_integer(number_integer_t value) override { return Value(static_cast<double>(value)); }
  bool number_unsigned(number_unsigned_t value) override {
    return Value(static_cast<double>(value));
  }
  bool number_float(number_float_t value, const string_t&) override { return Value(value); }
  bool string(string_t& value) override {
    if (_depth == 1 && _current == "error") {
      error_text = value;
      return true;
    }
    return Other("a text");
  }
  bool binary(binary_t&) override { return Other("a binary value"); }
  bool start_object(std::size_t) override {
    if (_depth > 0 && !Other("an object")) return false;
    ++_depth;
    return true;
  }
  bool key(string_t& name) override {
    if (_depth != 1) return true;
    _current = name;
    if (name == _key && has_rows) return Wrong("\"" + _current + "\" stands twice");
    return true;
  }
  bool end_object() override {
    --_depth;
    return true;
  }
  bool start_array(std::size_t) override {
    if (_depth == 0) return Wrong("it is an array, not an object");
    if (InRows() && _depth == 1) has_rows = true;
    if (InRows() && _depth == 2) {
      _count = 0;
      if (_rows >= kMostSamples) return Wrong("it holds more than 5000000 rows");
    }
    if (InRows() && _depth > 2 && !Other("an array")) return false;
    ++_depth;
    return true;
  }
  bool end_array() override {
    --_depth;
    if (!InRows() || _depth != 2) return true;
    if (_count != _width) {
      return Wrong(Row() + " has " + std::to_string(_count) + " values, not " +
                   std::to_string(_width));
    }
    ++_rows;
    return Take(_row);
  }
  bool parse_error(std::size_t position, const std::string&, const json::exception&) override {
    return Wrong("it is not JSON at byte " + std::to_string(position));
  }

 protected:
  /// Takes a complete row.
  virtual bool Take(const PlainRow& row) = 0;
  bool Wrong(std::string text) {
    if (error.empty()) error = std::move(text);
    return false;
  }
  std::string Row() const { return std::string(_key) + " row " + std::to_string(_rows); }

 private:
  bool InRows() const { return _current == _key; }
  bool Value(double value) {
    if (_depth == 0) return Wrong("it is a number, not an object");
    if (!InRows()) return true;
    if (_depth < 3) return Other("a number");
    if (_count < _width) _row[_count] = value;
    ++_count;
    return true;
  }
  /// A value that is no number: passed over, unless it stands among the rows.
  bool Other(const char* kind) {
    if (_depth == 0) return Wrong(std::string("it is ") + kind + ", not an object");
    if (!InRows()) return true;
    if (_depth == 1) return Wrong("\"" + _current + "\" is " + kind + ", not an array");
    if (_depth == 2) return Wrong(Row() + " is " + kind + ", not an array");
    return Wrong(Row() + " holds " + kind + " where a number belongs");
  }

  const char* _key;
  std::size_t _width;
  std::string _current;
  int _depth = 0;
  std::size_t _rows = 0;
  std::size_t _count = 0;
  PlainRow _row{};
};

class SampleReader final : public RowReader {
 public:
  SampleReader() : RowReader("samples", 5) {}
  std::vector<RawDataPoint> samples;

 protected:
  bool Take(const PlainRow& row) override {
    if (!HasStatus(row)) {
      return Wrong("samples row " + std::to_string(samples.size()) +
                   " has a status that is no 32-bit integer");
    }
    samples.push_back(SampleOf(row));
    return true;
  }
};

class PositionReader final : public RowReader {
 public:
  PositionReader() : RowReader("drive", 4) {}
  std::vector<Position> points;

 protected:
  bool Take(const PlainRow& row) override {
    points.push_back(PointOf(row));
    return true;
  }
};

/// \throws CallError with what is wrong
void Parse(std::string_view line, RowReader& reader) {
  json::sax_parse(line.begin(), line.end(), &reader);
  if (reader.error.empty()) return;
  throw CallError(OneLine(reader.error) + ": " + Excerpt(std::string(line.substr(0, 80))));
}

/// The samples of a line in plain spelling. Of any other, sound or not, the parser has the word.
std::optional<std::vector<RawDataPoint>> PlainSamples(std::string_view line) {
  std::vector<RawDataPoint> samples;
  const bool plain = ReadPlainRows(line, "samples", 5, [&samples](const PlainRow& row) {
    if (!HasStatus(row) || samples.size() >= kMostSamples) return false;
    samples.push_back(SampleOf(row));
    return true;
  });
  return plain ? std::optional(std::move(samples)) : std::nullopt;
}

/// The same of drive points.
std::optional<std::vector<Position>> PlainPoints(std::string_view line) {
  std::vector<Position> points;
  const bool plain = ReadPlainRows(line, "drive", 4, [&points](const PlainRow& row) {
    if (points.size() >= kMostSamples) return false;
    points.push_back(PointOf(row));
    return true;
  });
  return plain ? std::optional(std::move(points)) : std::nullopt;
}

}  // namespace

std::string DriveLine(const std::vector<Position>& points, const std::string& step) {
  std::string text = "{\"drive\":[";
  text.reserve(points.size() * 80 + 64);
  for (const Position& p : points) {
    if (text.back() == ']') text += ',';
    AppendRow(text, {p.azimuth, p.elevation, p.range, p.point_spacing});
    text += ']';
  }
  return text + "],\"step\":\"" + step + "\"}";
}

std::string SamplesLine(const std::vector<RawDataPoint>& samples) {
  std::string text = "{\"samples\":[";
  text.reserve(samples.size() * 80 + 64);
  for (const RawDataPoint& s : samples) {
    if (text.back() == ']') text += ',';
    AppendRow(text, {s.azimuth, s.elevation, s.range, s.quality});
    text += ',';
    AppendNumber(text, static_cast<long long>(s.status));
    text += ']';
  }
  return text + "]}";
}

Answer ReadAnswer(std::string_view line) {
  if (auto samples = PlainSamples(line)) return {*std::move(samples), std::nullopt};
  SampleReader reader;
  Parse(line, reader);
  if (reader.error_text) return {{}, std::move(reader.error_text)};
  if (!reader.has_rows) {
    throw CallError("it has neither \"samples\" nor \"error\": " +
                    Excerpt(std::string(line.substr(0, 80))));
  }
  return {std::move(reader.samples), std::nullopt};
}

std::vector<Position> ReadDrive(std::string_view line) {
  if (auto points = PlainPoints(line)) return *std::move(points);
  PositionReader reader;
  Parse(line, reader);
  if (!reader.has_rows) {
    throw CallError("it has no \"drive\": " + Excerpt(std::string(line.substr(0, 80))));
  }
  return std::move(reader.points);
}

}  // namespace libmfx::host
