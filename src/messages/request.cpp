#include "messages/request.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "messages/json_reader.h"
#include "messages/json_tree.h"
#include "messages/mended_json.h"

namespace libmfx::messages {
namespace {

using data_structures::PointXYZW;
using data_structures::VectorXYZW;

/// The number that a string spells, space around it allowed; 0 if it spells none. Digits beyond
/// the largest double are infinite with their sign: so a number spelled that large reads, which
/// reaches this place as a string.
double NumberOfText(std::string_view text) {
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  double value = 0.0;
  const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (end != text.data() + text.size()) return 0.0;
  if (status == std::errc::result_out_of_range && Overflows(text)) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    return text.starts_with('-') ? -kInfinity : kInfinity;
  }
  return status == std::errc() && std::isfinite(value) ? value : 0.0;
}

}  // namespace

template <typename T>
const T* Value::As() const {
  return _node != nullptr ? _node->As<T>() : nullptr;
}

Request::Request(const std::string& text) : _document(ReadObject(text)) {}

Request::~Request() = default;

Value Request::root() const { return ok() ? Value(&_document->root()) : Value(); }

bool Value::Has(std::string_view key) const { return (*this)[key]._node != nullptr; }

Value Value::operator[](std::string_view key) const {
  const auto* const object = As<JsonObject>();
  return object != nullptr ? Value(object->Find(key)) : Value();
}

Value Value::At(std::size_t index) const {
  const auto* const array = As<JsonArray>();
  return array != nullptr && index < array->size ? Value(array->first + index) : Value();
}

std::size_t Value::Size() const {
  if (const auto* const array = As<JsonArray>()) return array->size;
  const auto* const object = As<JsonObject>();
  return object != nullptr ? object->size : 0;
}

bool Value::IsNumber() const {
  const auto* const text = As<std::string_view>();
  return As<double>() != nullptr || (text != nullptr && std::isinf(NumberOfText(*text)));
}

bool Value::IsArray() const { return As<JsonArray>() != nullptr; }

double Value::AsDouble() const {
  if (const auto* const number = As<double>()) return *number;
  if (const auto* const truth = As<bool>()) return *truth ? 1.0 : 0.0;
  const auto* const text = As<std::string_view>();
  return text != nullptr ? NumberOfText(*text) : 0.0;
}

int Value::AsInt() const {
  const double value = AsDouble();
  constexpr double kLowest = std::numeric_limits<int>::min();
  constexpr double kHighest = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(value, kLowest, kHighest));
}

unsigned int Value::AsUnsigned() const {
  constexpr double kHighest = std::numeric_limits<unsigned int>::max();
  return static_cast<unsigned int>(std::clamp(AsDouble(), 0.0, kHighest));
}

bool Value::AsBool() const {
  if (const auto* const text = As<std::string_view>()) {
    return *text == "true" || std::trunc(NumberOfText(*text)) != 0.0;
  }
  return AsDouble() != 0.0;
}

std::string Value::AsString() const {
  const auto* const text = As<std::string_view>();
  return text != nullptr ? std::string(*text) : std::string();
}

PointXYZW Value::AsPoint() const { return {At(0).AsDouble(), At(1).AsDouble(), At(2).AsDouble()}; }

VectorXYZW Value::AsVector() const {
  return {At(0).AsDouble(), At(1).AsDouble(), At(2).AsDouble()};
}

namespace {

template <typename T, typename Convert>
bool ReadMember(const Value& object, std::string_view key, T& target, Convert convert) {
  if (!object.Has(key)) return false;
  target = (object[key].*convert)();
  return true;
}

}  // namespace

bool Value::Read(std::string_view key, double& target) const {
  return ReadMember(*this, key, target, &Value::AsDouble);
}
bool Value::Read(std::string_view key, int& target) const {
  return ReadMember(*this, key, target, &Value::AsInt);
}
bool Value::Read(std::string_view key, unsigned int& target) const {
  return ReadMember(*this, key, target, &Value::AsUnsigned);
}
bool Value::Read(std::string_view key, bool& target) const {
  return ReadMember(*this, key, target, &Value::AsBool);
}
bool Value::Read(std::string_view key, std::string& target) const {
  return ReadMember(*this, key, target, &Value::AsString);
}
bool Value::Read(std::string_view key, PointXYZW& target) const {
  return ReadMember(*this, key, target, &Value::AsPoint);
}
bool Value::Read(std::string_view key, VectorXYZW& target) const {
  return ReadMember(*this, key, target, &Value::AsVector);
}

}  // namespace libmfx::messages
