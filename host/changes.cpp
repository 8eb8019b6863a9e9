#include "host/changes.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>

#include "host/errors.h"
#include "host/json_text.h"
#include "host/numbers.h"
#include "libmfx/features/request_text.h"

namespace libmfx::host {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

/// The values of an object by their keys, objects within it taken apart. A result nests no deeper
/// than a request: see ObjectOf.
void Collect(const ordered_json& object, const std::string& before,
             std::map<std::string, const ordered_json*>& values, std::vector<std::string>& order) {
  for (const auto& [key, value] : object.items()) {
    if (value.is_object()) {
      Collect(value, before + key + ".", values, order);
    } else if (values.emplace(before + key, &value).second) {
      order.push_back(before + key);
    }
  }
}

std::optional<ordered_json> ObjectOf(const std::string& text) {
  const std::optional<std::string> strict = features::StrictJson(text, kLineNesting);
  if (!strict) return std::nullopt;
  return ordered_json::parse(*strict);
}

/// A value as it is shown.
ordered_json Shown(const ordered_json& value) {
  constexpr std::size_t kLongest = 1000;
  const std::string text = Dump(value);
  if (text.size() <= kLongest) return value;
  if (value.is_array()) return std::to_string(value.size()) + " values";
  return std::to_string(text.size()) + " bytes";
}

/// The distance between two numbers or two rows of numbers; of rows of rows the largest.
std::optional<double> Distance(const ordered_json& was, const ordered_json& is) {
  if (was.is_number() && is.is_number()) {
    return std::abs(is.get<double>() - was.get<double>());
  }
  if (!was.is_array() || !is.is_array() || was.size() != is.size() || was.empty()) {
    return std::nullopt;
  }
  double squares = 0.0;
  double largest = 0.0;
  for (std::size_t i = 0; i < was.size(); ++i) {
    const std::optional<double> one = Distance(was[i], is[i]);
    if (!one) return std::nullopt;
    squares += *one * *one;
    largest = std::max(largest, *one);
  }
  return was[0].is_array() ? largest : std::sqrt(squares);
}

bool Failed(const ordered_json& result) {
  const auto success = result.find("Success");
  return success == result.end() || *success != true;
}

void Merge(ordered_json& into, const json& changes, bool deep) {
  for (const auto& [key, value] : changes.items()) {
    ordered_json& place = into[key];
    if (deep && place.is_object() && value.is_object()) {
      Merge(place, value, true);
    } else {
      place = ordered_json(value);
    }
  }
}

std::string Number(double value) {
  std::string text;
  AppendNumber(text, value);
  return text;
}

}  // namespace

Changes ChangesBetween(const std::string& was_text, const std::string& is_text) {
  Changes changes;
  const std::optional<ordered_json> was = ObjectOf(was_text);
  const std::optional<ordered_json> is = ObjectOf(is_text);
  if (!was || !is) return changes;
  changes.compared = true;
  changes.failed_then = Failed(*was);
  changes.failed_now = Failed(*is);
  if (was_text == is_text) return changes;

  std::map<std::string, const ordered_json*> then;
  std::map<std::string, const ordered_json*> now;
  std::vector<std::string> order;
  Collect(*was, "", then, order);
  std::vector<std::string> present;
  Collect(*is, "", now, present);
  std::copy_if(present.begin(), present.end(), std::back_inserter(order),
               [&](const std::string& key) { return !then.contains(key); });

  ordered_json values = ordered_json::object();
  for (const std::string& key : order) {
    const auto old_value = then.find(key);
    const auto new_value = now.find(key);
    if (old_value == then.end()) {
      values[key]["is"] = Shown(*new_value->second);
    } else if (new_value == now.end()) {
      values[key]["was"] = Shown(*old_value->second);
    } else if (*old_value->second != *new_value->second) {
      values[key]["was"] = Shown(*old_value->second);
      values[key]["is"] = Shown(*new_value->second);
      const auto by = Distance(*old_value->second, *new_value->second);
      if (by && std::isfinite(*by)) changes.by[key] = *by;
    }
  }
  if (!values.empty()) changes.values = Dump(values);
  return changes;
}

std::string ComparisonText(const Changes& changes) {
  return Dump(json{{"compared", changes.compared},
                   {"changed", !changes.values.empty()},
                   {"failed_then", changes.failed_then},
                   {"failed_now", changes.failed_now},
                   {"by", changes.by}});
}

void ComparisonSummary::Take(std::size_t job, const std::string& comparison) {
  if (comparison.empty()) return;
  const json told = json::parse(comparison);
  if (told["compared"] == false) {
    ++_not_compared;
    return;
  }
  ++(told["changed"] == true ? _changed : _same);
  if (told["failed_then"] == true) ++_failed_then;
  if (told["failed_now"] == true) ++_failed_now;
  for (const auto& [key, by] : told["by"].items()) {
    Largest& largest = _largest[key];
    if (by.get<double>() > largest.by) largest = {by.get<double>(), job};
  }
}

std::vector<std::string> ComparisonSummary::Lines() const {
  std::vector<std::string> lines = {
      "compared " + std::to_string(_same + _changed) + " recordings: " + std::to_string(_same) +
      " same, " + std::to_string(_changed) + " changed; failed then " +
      std::to_string(_failed_then) + ", failed now " + std::to_string(_failed_now) +
      "; not compared " + std::to_string(_not_compared)};
  for (const auto& [key, largest] : _largest) {
    lines.push_back("largest change of " + key + ": " + Number(largest.by) + ", job on line " +
                    std::to_string(largest.job));
  }
  return lines;
}

std::string RequestWithChanges(const std::string& request, const json& changes) {
  if (!changes.is_object()) throw CallError("\"request\" beside a recording is no object");
  const std::optional<std::string> strict = features::StrictJson(request);
  if (!strict) throw CallError("the recorded request is no JSON object, its keys have no places");
  ordered_json merged = ordered_json::parse(*strict);
  for (const auto& [key, value] : changes.items()) {
    Merge(merged, json{{key, value}}, key == "Feature");
  }
  return Dump(merged);
}

}  // namespace libmfx::host
