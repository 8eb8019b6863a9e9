#include "host/schema.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/schema_files.h"
#include "libmfx/win32_support/exports.h"

namespace libmfx::host {
namespace {

using namespace win32_support;
using nlohmann::ordered_json;

constexpr const char* kDraft = "http://json-schema.org/draft-07/schema#";

ordered_json ArrayOf(ordered_json items) {
  return {{"type", "array"}, {"items", std::move(items)}};
}

ordered_json Triple() {
  ordered_json triple = ArrayOf({{"type", "number"}});
  triple["minItems"] = 3;
  triple["maxItems"] = 3;
  return triple;
}

/// What a value of a kind has to be.
ordered_json ValueSchema(int kind) {
  switch (kind) {
    case REQUEST_WHOLE:
      return {{"type", "integer"}};
    case REQUEST_COUNT:
      return {{"type", "integer"}, {"minimum", 0}};
    case REQUEST_BOOL:
      return {{"type", "boolean"}};
    case REQUEST_SWITCH:
      return {{"type", {"integer", "boolean"}}};
    case REQUEST_TEXT:
      return {{"type", "string"}};
    case REQUEST_POINT:
    case REQUEST_DIRECTION:
      return Triple();
    case REQUEST_SPACINGS: {
      const ordered_json number = {{"type", "number"}, {"minimum", 0}};
      ordered_json list = ArrayOf({{"anyOf", {number, ArrayOf(number)}}});
      list["minItems"] = 1;
      return {{"anyOf", {number, list}}};
    }
    case REQUEST_SEGMENTS:
      return ArrayOf(ArrayOf(Triple()));
    case REQUEST_OBJECT:
      return {{"type", "object"}};
    default:
      return {{"type", "number"}};
  }
}

/// What holds where the key is absent, if that is a plain value.
ordered_json DefaultOf(const RequestKey& key) {
  // A threshold at the end of the doubles is a way to say never.
  constexpr double kNever = 1e300;
  if (key.required || std::abs(key.default_number) > kNever) return nullptr;
  switch (key.kind) {
    case REQUEST_NUMBER:
      return key.default_number;
    case REQUEST_WHOLE:
    case REQUEST_COUNT:
    case REQUEST_SWITCH:
      return static_cast<long long>(key.default_number);
    case REQUEST_BOOL:
      return key.default_number != 0.0;
    default:
      return nullptr;
  }
}

ordered_json KeySchema(const RequestKey& key) {
  ordered_json schema = ValueSchema(key.kind);
  if (key.rule == REQUEST_POSITIVE) schema["exclusiveMinimum"] = 0;
  schema["description"] = key.meaning + (key.unit.empty() ? "" : ", " + key.unit);
  ordered_json fallback = DefaultOf(key);
  if (!fallback.is_null()) schema["default"] = std::move(fallback);
  return schema;
}

/// The schema of one of the objects that hold keys.
ordered_json ObjectSchema(const FeatureDescriptor& type, int place) {
  ordered_json properties = ordered_json::object();
  ordered_json required = ordered_json::array();
  if (place == REQUEST_ROOT) {
    properties["$schema"] = {{"type", "string"}};
    properties["$type"] = {{"type", "string"}, {"description", "the type of the message"}};
  }
  properties["$comment"] = {{"description", "is not read"}};
  for (const RequestKey& key : type._request) {
    if (key.place != place) continue;
    properties[key.key] =
        key.kind == REQUEST_OBJECT ? ObjectSchema(type, REQUEST_PATH) : KeySchema(key);
    if (key.required) required.push_back(key.key);
  }
  if (place == REQUEST_FEATURE) properties["$type"] = {{"const", type._request_type}};
  if (place == REQUEST_ROOT) {
    properties["Feature"] = ObjectSchema(type, REQUEST_FEATURE);
    required.push_back("Feature");
  }
  return {{"type", "object"},
          {"properties", std::move(properties)},
          {"required", std::move(required)},
          {"additionalProperties", false}};
}

}  // namespace

std::string RequestSchemaName(const FeatureDescriptor& type) {
  std::string name = "request";
  constexpr std::string_view kEnd = "Feature";
  const std::string_view told = type._request_type;
  for (const char c : told.substr(0, told.size() - kEnd.size())) {
    const bool capital = c >= 'A' && c <= 'Z';
    if (capital) name += '-';
    name += capital ? static_cast<char>(c + ('a' - 'A')) : c;
  }
  return name;
}

std::string RequestSchema(const FeatureDescriptor& type) {
  ordered_json schema = {
      {"$schema", kDraft},
      {"title", "A request of the type " + type._request_type},
      {"description",
       "Lengths are metres, angles radians, coordinates those of the instrument. The library takes "
       "more than this: see what mfx check tells."}};
  schema.update(ObjectSchema(type, REQUEST_ROOT));
  return schema.dump(2);
}

namespace {

/// The types that a request can ask for, by the name of their schema.
std::vector<std::pair<std::string, const FeatureDescriptor*>> Requests() {
  std::vector<std::pair<std::string, const FeatureDescriptor*>> requests;
  for (const auto& type : *GetFeatureDescriptors()) {
    if (!type->_request_type.empty()) requests.emplace_back(RequestSchemaName(*type), type.get());
  }
  return requests;
}

}  // namespace

std::vector<std::string> SchemaNames() {
  std::vector<std::string> names;
  for (const auto& [name, type] : Requests()) names.push_back(name);
  for (const SchemaFile& file : SchemaFiles()) names.emplace_back(file.name);
  std::sort(names.begin(), names.end());
  return names;
}

std::optional<std::string> SchemaText(std::string_view name) {
  for (const auto& [known, type] : Requests()) {
    if (known == name) return RequestSchema(*type);
  }
  for (const SchemaFile& file : SchemaFiles()) {
    if (file.name == name) return std::string(file.text);
  }
  return std::nullopt;
}

}  // namespace libmfx::host
