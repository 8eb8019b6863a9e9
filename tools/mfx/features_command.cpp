#include <algorithm>
#include <array>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "host/utf8.h"
#include "libmfx/win32_support/exports.h"
#include "options.h"

namespace libmfx::host {
namespace {

using nlohmann::ordered_json;
using win32_support::FeatureDescriptor;
using win32_support::FeatureSetting;
using win32_support::RequestKey;

std::string NameIn(std::initializer_list<const char*> names, int number) {
  const bool known = number >= 0 && static_cast<std::size_t>(number) < names.size();
  return known ? names.begin()[number] : "unknown";
}

std::string TypeName(int type) {
  return NameIn({"double", "int", "bool", "enum", "PointXYZ", "PointAER", "VectorXYZ"}, type);
}

std::string KindName(int kind) { return NameIn({"nominal", "parameter", "result"}, kind); }

/// The object of a request in which a key stands.
std::string PlaceName(int place) { return NameIn({"root", "Feature", "Path"}, place); }

std::string ValueName(int kind) {
  return NameIn({"number", "whole number", "count", "boolean", "switch", "text", "point",
                 "direction", "spacings", "segments", "object"},
                kind);
}

std::string RuleName(int rule) {
  return NameIn({"any", "positive", "if positive", "not zero"}, rule);
}

std::string GroupName(int group) { return NameIn({"own", "common", "search"}, group); }

ordered_json DefaultOf(const FeatureSetting& row) {
  const auto triple = [](double a, double b, double c) { return ordered_json::array({a, b, c}); };
  switch (row.type) {
    case win32_support::SETTING_DOUBLE:
      return row.default_double;
    case win32_support::SETTING_INT:
    case win32_support::SETTING_ENUM:
      return row.default_int;
    case win32_support::SETTING_BOOL:
      return row.default_bool;
    case win32_support::SETTING_POINT_XYZ:
      return triple(row.default_point.x(), row.default_point.y(), row.default_point.z());
    case win32_support::SETTING_POINT_AER:
      return triple(row.default_aer.azimuth, row.default_aer.elevation, row.default_aer.range);
    case win32_support::SETTING_VECTOR_XYZ:
      return triple(row.default_vector.x(), row.default_vector.y(), row.default_vector.z());
    default:
      return nullptr;
  }
}

/// What holds where the key is absent; null where that is refused.
ordered_json DefaultOf(const RequestKey& key) {
  if (key.required) return nullptr;
  switch (key.kind) {
    case win32_support::REQUEST_NUMBER:
      return key.default_number;
    case win32_support::REQUEST_BOOL:
      return key.default_number != 0.0;
    case win32_support::REQUEST_TEXT:
      return "";
    case win32_support::REQUEST_POINT:
    case win32_support::REQUEST_DIRECTION:
      return {key.default_point.x(), key.default_point.y(), key.default_point.z()};
    default:
      return static_cast<std::int64_t>(key.default_number);
  }
}

ordered_json Described(const RequestKey& key) {
  return {
      {"key", key.key},           {"place", PlaceName(key.place)}, {"kind", ValueName(key.kind)},
      {"unit", key.unit},         {"rule", RuleName(key.rule)},    {"group", GroupName(key.group)},
      {"required", key.required}, {"default", DefaultOf(key)},     {"meaning", key.meaning}};
}

ordered_json Described(const FeatureDescriptor& descriptor) {
  ordered_json settings = ordered_json::array();
  for (const FeatureSetting& row : descriptor._settings) {
    settings.push_back({{"name", Utf8Of(row.name.c_str())},
                        {"label", Utf8Of(row.label.c_str())},
                        {"type", TypeName(row.type)},
                        {"kind", KindName(row.kind)},
                        {"default", DefaultOf(row)}});
  }
  ordered_json keys = ordered_json::array();
  for (const RequestKey& key : descriptor._request) keys.push_back(Described(key));
  return {{"name", Utf8Of(descriptor._name.c_str())},
          {"label", Utf8Of(descriptor._label.c_str())},
          {"settings", std::move(settings)},
          {"request_type", descriptor._request_type},
          {"request", std::move(keys)}};
}

/// Cells of a table, the last one of each row a text of any length.
template <std::size_t columns>
using Rows = std::vector<std::array<std::string, columns>>;

std::string Cell(const ordered_json& value) {
  if (value.is_null()) return "required";
  return value.is_string() ? value.get<std::string>() : value.dump();
}

/// Appends rows for people: a line of aligned columns each, and a text at its end.
template <std::size_t columns>
void AppendAligned(const Rows<columns>& rows, std::string& text) {
  std::array<std::size_t, columns - 1> widths{};
  for (const auto& row : rows) {
    for (std::size_t c = 0; c < widths.size(); ++c) widths[c] = std::max(widths[c], row[c].size());
  }
  for (const auto& row : rows) {
    text += "\n ";
    for (std::size_t c = 0; c < widths.size(); ++c) {
      text += ' ';
      text += row[c];
      text.append(widths[c] - row[c].size() + 1, ' ');
    }
    text += ' ';
    text += row.back();
  }
}

/// Appends one type for people: a line of its own, its settings, and what its requests hold.
void AppendListed(const FeatureDescriptor& descriptor, std::string& text) {
  text += Utf8Of(descriptor._name.c_str());
  text += ": ";
  text += Utf8Of(descriptor._label.c_str());
  Rows<5> settings;
  settings.reserve(descriptor._settings.size());
  for (const FeatureSetting& row : descriptor._settings) {
    settings.push_back({Utf8Of(row.name.c_str()), TypeName(row.type), KindName(row.kind),
                        Cell(DefaultOf(row)), Utf8Of(row.label.c_str())});
  }
  AppendAligned(settings, text);
  if (descriptor._request_type.empty()) return;
  Rows<6> keys;
  keys.reserve(descriptor._request.size());
  for (const RequestKey& key : descriptor._request) {
    keys.push_back({key.key, PlaceName(key.place), ValueName(key.kind), key.unit,
                    Cell(DefaultOf(key)), key.meaning});
  }
  text += "\n  Keys of a request with the \"$type\" \"";
  text += descriptor._request_type;
  text += "\":";
  AppendAligned(keys, text);
}

int RunFeatures(bool as_json, Console& console) {
  const auto& descriptors = *GetFeatureDescriptors();
  if (as_json) {
    ordered_json types = ordered_json::array();
    for (const auto& descriptor : descriptors) types.push_back(Described(*descriptor));
    console.Result(types.dump());
    return kMeasured;
  }
  std::string text;
  for (const auto& descriptor : descriptors) {
    if (!text.empty()) text += "\n\n";
    AppendListed(*descriptor, text);
  }
  console.Result(text);
  return kMeasured;
}

}  // namespace

void AddFeatures(CLI::App& program, Execute& execute) {
  const auto as_json = std::make_shared<bool>(false);
  CLI::App& command = Call::Add(
      program, "features",
      {.summary = "List the feature types and settings",
       .about = "Each type is listed with its settings: name, type, kind, default and label.",
       .examples = {{"mfx features", "Lists them for people."},
                    {"mfx features --json | python3 -m json.tool", "Lists them for a program."}},
       .statuses = {{kMeasured, "they were listed"}, FailedStatus()}});
  command.add_flag("--json", *as_json, "As one line of JSON");
  command.callback([&execute, as_json] {
    execute = [as_json](Console& console) { return RunFeatures(*as_json, console); };
  });
}

}  // namespace libmfx::host
