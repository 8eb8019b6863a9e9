#include "host/check_context.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

#include "host/json_places.h"
#include "libmfx/win32_support/exports.h"

namespace libmfx::host::check {
namespace {

using win32_support::REQUEST_FEATURE;
using win32_support::REQUEST_PATH;
using win32_support::REQUEST_ROOT;

/// A key as a part of a JSON pointer.
std::string Escaped(std::string_view key) {
  std::string part;
  for (const char c : key) {
    if (c == '~') {
      part += "~0";
    } else if (c == '/') {
      part += "~1";
    } else {
      part += c;
    }
  }
  return part;
}

}  // namespace

std::string PlaceText(int place) {
  if (place == REQUEST_ROOT) return "the request";
  return place == REQUEST_FEATURE ? "\"Feature\"" : "\"Path\"";
}

std::string PathOf(int place, std::string_view key) {
  const char* const object = place == REQUEST_PATH ? "/Feature/Path/" : "/Feature/";
  return (place == REQUEST_ROOT ? "/" : object) + Escaped(key);
}

std::vector<const FeatureDescriptor*> RequestedTypes() {
  std::vector<const FeatureDescriptor*> types;
  for (const auto& descriptor : *GetFeatureDescriptors()) {
    if (!descriptor->_request_type.empty()) types.push_back(descriptor.get());
  }
  return types;
}

std::optional<double> SpelledNumber(const json& value) {
  if (value.is_number()) return value.get<double>();
  if (!value.is_string()) return std::nullopt;
  std::string_view text = value.get_ref<const std::string&>();
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return std::nullopt;
  text = text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  double number = 0.0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  if (read.ptr != text.data() + text.size()) return std::nullopt;
  if (read.ec == std::errc()) return std::isfinite(number) ? std::optional(number) : std::nullopt;
  if (read.ec != std::errc::result_out_of_range) return std::nullopt;
  // Too small for a double, or too large: the latter reads as infinite.
  if (text.find("e-") != text.npos || text.find("E-") != text.npos) return 0.0;
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  return text.starts_with('-') ? -kInfinity : kInfinity;
}

std::optional<Eigen::Vector3d> TripleOfValue(const json& value) {
  if (!value.is_array() || value.size() < 3) return std::nullopt;
  Eigen::Vector3d triple;
  for (int i = 0; i < 3; ++i) {
    const std::optional<double> number = SpelledNumber(value[static_cast<std::size_t>(i)]);
    if (!number || !std::isfinite(*number)) return std::nullopt;
    triple[i] = *number;
  }
  return triple;
}

Context::Context(std::string_view text, json values, const CheckOptions& options)
    : _text(text), _values(std::move(values)), _options(options) {
  AddMembers(REQUEST_ROOT, RootOf(text));
  if (const Member* feature = MemberOf(REQUEST_ROOT, "Feature")) {
    AddMembers(REQUEST_FEATURE, feature->at);
  }
  if (const Member* path = MemberOf(REQUEST_FEATURE, "Path")) AddMembers(REQUEST_PATH, path->at);
  const std::string name = type_name();
  for (const FeatureDescriptor* type : RequestedTypes()) {
    if (type->_request_type == name) _type = type;
  }
}

void Context::AddMembers(int place, std::size_t object) {
  for (const MemberPlace& member : MembersAt(_text, object)) {
    _members.push_back({place, KeyAt(_text, member.key), member.key, member.value});
  }
}

std::string Context::type_name() const {
  const json* type = ValueOf(REQUEST_FEATURE, "$type");
  return type != nullptr && type->is_string() ? type->get<std::string>() : std::string();
}

const json* Context::ObjectOf(int place) const {
  const json* object = &_values;
  for (const char* key : {"Feature", "Path"}) {
    if (place-- == REQUEST_ROOT) break;
    const auto member = object->find(key);
    if (member == object->end() || !member->is_object()) return nullptr;
    object = &*member;
  }
  return object;
}

const RequestKey* Context::RowOf(int place, std::string_view key) const {
  if (_type == nullptr) return nullptr;
  for (const RequestKey& row : _type->_request) {
    if (row.place == place && row.key == key) return &row;
  }
  return nullptr;
}

const json* Context::ValueOf(int place, std::string_view key) const {
  const json* object = ObjectOf(place);
  if (object == nullptr) return nullptr;
  const auto member = object->find(key);
  return member == object->end() ? nullptr : &*member;
}

const Member* Context::MemberOf(int place, std::string_view key) const {
  const auto last = std::find_if(_members.rbegin(), _members.rend(), [&](const Member& member) {
    return member.place == place && member.key == key;
  });
  return last == _members.rend() ? nullptr : &*last;
}

namespace {

const RequestKey* RowNamed(const FeatureDescriptor* type, std::string_view key) {
  if (type == nullptr) return nullptr;
  for (const RequestKey& row : type->_request) {
    if (row.key == key) return &row;
  }
  return nullptr;
}

}  // namespace

std::optional<double> Context::NumberOf(std::string_view key) const {
  const RequestKey* row = RowNamed(_type, key);
  if (row == nullptr) return std::nullopt;
  const json* value = ValueOf(row->place, key);
  if (value == nullptr) return row->required ? std::nullopt : std::optional(row->default_number);
  const std::optional<double> number = SpelledNumber(*value);
  const bool whole = row->kind != win32_support::REQUEST_NUMBER;
  return number && whole ? std::trunc(*number) : number;
}

bool Context::FlagOf(std::string_view key) const {
  const RequestKey* row = RowNamed(_type, key);
  const json* value = row == nullptr ? nullptr : ValueOf(row->place, key);
  if (value == nullptr) return false;
  if (value->is_boolean()) return value->get<bool>();
  if (value->is_string() && *value == "true") return true;
  const std::optional<double> number = SpelledNumber(*value);
  return number && *number != 0.0;
}

std::optional<Eigen::Vector3d> Context::TripleOf(std::string_view key) const {
  const RequestKey* row = RowNamed(_type, key);
  const json* value = row == nullptr ? nullptr : ValueOf(row->place, key);
  if (value == nullptr && row != nullptr && !row->required) return row->default_point.xyz();
  return value == nullptr ? std::nullopt : TripleOfValue(*value);
}

void Context::Tell(Severity severity, int place, std::string_view key, const std::string& text) {
  if (const Member* member = MemberOf(place, key)) {
    return TellAt(severity, member->at, PathOf(place, key), text);
  }
  const Member* object = nullptr;
  if (place == REQUEST_PATH) object = MemberOf(REQUEST_FEATURE, "Path");
  if (place != REQUEST_ROOT && object == nullptr) object = MemberOf(REQUEST_ROOT, "Feature");
  if (object == nullptr) return TellAt(severity, RootOf(_text), "", text);
  TellAt(severity, object->at, PathOf(object->place, object->key), text);
}

void Context::Tell(Severity severity, std::string_view key, const std::string& text) {
  const RequestKey* row = RowNamed(_type, key);
  Tell(severity, row == nullptr ? REQUEST_ROOT : row->place, key, text);
}

void Context::TellAt(Severity severity, std::size_t at, const std::string& path,
                     const std::string& text) {
  const TextPlace place = PlaceOf(_text, at);
  _findings.push_back({severity, place.line, place.column, path, text});
}

std::vector<Finding> Context::TakeFindings() {
  std::stable_sort(_findings.begin(), _findings.end(), [](const Finding& a, const Finding& b) {
    return std::pair(a.line, a.column) < std::pair(b.line, b.column);
  });
  return std::move(_findings);
}

}  // namespace libmfx::host::check
