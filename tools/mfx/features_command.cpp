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

std::string TypeName(int type) {
  static constexpr const char* kNames[] = {"double",   "int",      "bool",     "enum",
                                           "PointXYZ", "PointAER", "VectorXYZ"};
  return type >= 0 && type < 7 ? kNames[type] : "unknown";
}

std::string KindName(int kind) {
  static constexpr const char* kNames[] = {"nominal", "parameter", "result"};
  return kind >= 0 && kind < 3 ? kNames[kind] : "unknown";
}

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

ordered_json Described(const FeatureDescriptor& descriptor) {
  ordered_json settings = ordered_json::array();
  for (const FeatureSetting& row : descriptor._settings) {
    settings.push_back({{"name", Utf8Of(row.name.c_str())},
                        {"label", Utf8Of(row.label.c_str())},
                        {"type", TypeName(row.type)},
                        {"kind", KindName(row.kind)},
                        {"default", DefaultOf(row)}});
  }
  return {{"name", Utf8Of(descriptor._name.c_str())},
          {"label", Utf8Of(descriptor._label.c_str())},
          {"settings", std::move(settings)}};
}

/// One type for people: a line of its own, and a line of aligned columns for each setting.
std::string Listed(const ordered_json& type) {
  std::string text = type["name"].get<std::string>() + ": " + type["label"].get<std::string>();
  static constexpr const char* kColumns[] = {"name", "type", "kind", "default"};
  const auto cell = [](const ordered_json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
  };
  std::size_t widths[4] = {};
  for (const ordered_json& row : type["settings"]) {
    for (int c = 0; c < 4; ++c) widths[c] = std::max(widths[c], cell(row[kColumns[c]]).size());
  }
  for (const ordered_json& row : type["settings"]) {
    text += "\n ";
    for (int c = 0; c < 4; ++c) {
      const std::string shown = cell(row[kColumns[c]]);
      text += ' ' + shown + std::string(widths[c] - shown.size() + 1, ' ');
    }
    text += ' ' + row["label"].get<std::string>();
  }
  return text;
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
