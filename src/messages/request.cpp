#include "messages/request.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>

#include "messages/json_reader.h"
#include "messages/mended_json.h"

namespace libmfx::messages {
namespace {

using data_structures::PointXYZW;
using data_structures::VectorXYZW;
using nlohmann::json;

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

Request::Request(const std::string& text) {
  if (std::optional<json> document = ReadObject(text)) {
    _document = std::make_unique<json>(*std::move(document));
  }
}

Request::~Request() = default;

bool Value::Has(std::string_view key) const {
  return _node != nullptr && _node->is_object() && _node->find(key) != _node->end();
}

Value Value::operator[](std::string_view key) const {
  if (_node == nullptr || !_node->is_object()) return {};
  const auto member = _node->find(key);
  return member == _node->end() ? Value() : Value(&*member);
}

Value Value::At(std::size_t index) const {
  if (!IsArray() || index >= _node->size()) return {};
  return Value(&(*_node)[index]);
}

std::size_t Value::Size() const {
  return _node != nullptr && _node->is_structured() ? _node->size() : 0;
}

bool Value::IsNumber() const {
  if (_node == nullptr) return false;
  return _node->is_number() ||
         (_node->is_string() && std::isinf(NumberOfText(_node->get_ref<const std::string&>())));
}

bool Value::IsArray() const { return _node != nullptr && _node->is_array(); }

double Value::AsDouble() const {
  if (_node == nullptr) return 0.0;
  if (_node->is_number()) return _node->get<double>();
  if (_node->is_boolean()) return _node->get<bool>() ? 1.0 : 0.0;
  if (_node->is_string()) return NumberOfText(_node->get_ref<const std::string&>());
  return 0.0;
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
  if (_node == nullptr) return false;
  if (_node->is_string()) {
    const std::string& text = _node->get_ref<const std::string&>();
    return text == "true" || std::trunc(NumberOfText(text)) != 0.0;
  }
  return AsDouble() != 0.0;
}

std::string Value::AsString() const {
  return _node != nullptr && _node->is_string() ? _node->get<std::string>() : std::string();
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
