#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

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

/// Rows for people: a line of aligned columns each, and a text at its end.
std::string Aligned(const ordered_json& rows, const std::vector<const char*>& columns,
                    const char* last) {
  const auto cell = [](const ordered_json& value) {
    if (value.is_null()) return std::string("required");
    return value.is_string() ? value.get<std::string>() : value.dump();
  };
  std::vector<std::size_t> widths(columns.size());
  for (const ordered_json& row : rows) {
    for (std::size_t c = 0; c < columns.size(); ++c) {
      widths[c] = std::max(widths[c], cell(row[columns[c]]).size());
    }
  }
  std::string text;
  for (const ordered_json& row : rows) {
    text += "\n ";
    for (std::size_t c = 0; c < columns.size(); ++c) {
      const std::string shown = cell(row[columns[c]]);
      text += ' ' + shown + std::string(widths[c] - shown.size() + 1, ' ');
    }
    text += ' ' + row[last].get<std::string>();
  }
  return text;
}

/// One type for people: a line of its own, its settings, and what its requests hold.
std::string Listed(const ordered_json& type) {
  std::string text = type["name"].get<std::string>() + ": " + type["label"].get<std::string>();
  text += Aligned(type["settings"], {"name", "type", "kind", "default"}, "label");
  if (type["request_type"] == "") return text;
  text += "\n  Keys of a request with the \"$type\" \"" + type["request_type"].get<std::string>() +
          "\":";
  return text + Aligned(type["request"], {"key", "place", "kind", "unit", "default"}, "meaning");
}

int RunFeatures(bool as_json, Console& console) {
  ordered_json types = ordered_json::array();
  for (const auto& descriptor : *GetFeatureDescriptors()) types.push_back(Described(*descriptor));
  if (as_json) {
    console.Result(types.dump());
    return kMeasured;
  }
  std::string text;
  for (const ordered_json& type : types) text += (text.empty() ? "" : "\n\n") + Listed(type);
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
