#include "sim/scene_section.h"

#include <cmath>

#include "sim/number_text.h"

namespace libmfx::sim {

using nlohmann::json;

namespace {

constexpr std::size_t kLongestText = 60;

std::string Shortened(std::string text) {
  if (text.size() > kLongestText) text = text.substr(0, kLongestText) + "...";
  return text;
}

std::string ScalarText(const json& value) {
  return Shortened(value.dump(-1, ' ', true, json::error_handler_t::replace));
}

}  // namespace

std::string ValueText(const json& value) {
  if (value.is_object()) return "an object";
  if (!value.is_array()) return ScalarText(value);
  // Not dumped as a whole: an array may be nested as deep as the file is long.
  std::string text = "[";
  for (const json& item : value) {
    if (text.size() > kLongestText) return "an array of " + std::to_string(value.size());
    if (text.size() > 1) text += ", ";
    text += item.is_structured() ? "..." : ScalarText(item);
  }
  return text + "]";
}

SceneSection::SceneSection(const json& value, std::string path, const char* root)
    : _value(value), _path(std::move(path)) {
  if (!value.is_object()) {
    throw SceneError((_path.empty() ? root : _path) + ": " + ValueText(value) +
                     " is not an object");
  }
}

void SceneSection::Refuse(const char* key, const std::string& why) const {
  const auto found = _value.find(key);
  throw SceneError(PathOf(key) + ": " + (found == _value.end() ? "" : ValueText(*found) + " ") +
                   why);
}

const json& SceneSection::At(const char* key) {
  _known.insert(key);
  const auto found = _value.find(key);
  if (found == _value.end()) throw SceneError(PathOf(key) + ": missing");
  return *found;
}

std::vector<SceneSection> SceneSection::Children(const char* key, std::size_t most) {
  const json& value = At(key);
  if (!value.is_array()) Refuse(key, "is not an array");
  if (value.size() > most) Refuse(key, "has more than " + std::to_string(most) + " entries");
  std::vector<SceneSection> children;
  for (std::size_t i = 0; i < value.size(); ++i) {
    children.emplace_back(value[i], PathOf(key) + "[" + std::to_string(i) + "]");
  }
  return children;
}

double SceneSection::Number(const char* key, double low, double high) {
  const json& value = At(key);
  if (!value.is_number()) Refuse(key, "is not a number");
  const double number = value.get<double>();
  if (!(number >= low && number <= high)) {
    Refuse(key, "is not between " + NumberText(low) + " and " + NumberText(high));
  }
  return number;
}

double SceneSection::Number(const char* key, double low, double high, double fallback) {
  _known.insert(key);
  return Has(key) ? Number(key, low, high) : fallback;
}

std::int64_t SceneSection::Integer(const char* key, std::int64_t low, std::int64_t high) {
  const double number = Number(key, static_cast<double>(low), static_cast<double>(high));
  if (number != std::floor(number)) Refuse(key, "is not a whole number");
  return static_cast<std::int64_t>(number);
}

std::int64_t SceneSection::Integer(const char* key, std::int64_t low, std::int64_t high,
                                   std::int64_t fallback) {
  _known.insert(key);
  return Has(key) ? Integer(key, low, high) : fallback;
}

bool SceneSection::Flag(const char* key, bool fallback) {
  _known.insert(key);
  if (!Has(key)) return fallback;
  const json& value = At(key);
  if (!value.is_boolean()) Refuse(key, "is neither true nor false");
  return value.get<bool>();
}

std::string SceneSection::Text(const char* key) {
  const json& value = At(key);
  if (!value.is_string()) Refuse(key, "is not a text");
  return value.get<std::string>();
}

std::string SceneSection::Choice(const char* key, std::initializer_list<std::string_view> words) {
  const std::string text = Text(key);
  std::string listed;
  for (const std::string_view word : words) {
    if (text == word) return text;
    listed += (listed.empty() ? "" : ", ") + std::string(word);
  }
  Refuse(key, "is not one of: " + listed);
}

Vec3 SceneSection::Vector(const char* key, double limit) {
  const json& value = At(key);
  if (!value.is_array() || value.size() != 3) Refuse(key, "is not an array of three numbers");
  Vec3 v;
  for (int i = 0; i < 3; ++i) {
    const json& item = value[static_cast<std::size_t>(i)];
    if (!item.is_number()) Refuse(key, "is not an array of three numbers");
    v[i] = item.get<double>();
    if (!(std::fabs(v[i]) <= limit)) {
      Refuse(key, "has a component that is not between " + NumberText(-limit) + " and " +
                      NumberText(limit));
    }
  }
  return v;
}

void SceneSection::Finish() const {
  for (const auto& [key, value] : _value.items()) {
    if (_known.contains(key)) continue;
    std::string listed;
    for (const std::string& known : _known) listed += (listed.empty() ? "" : ", ") + known;
    throw SceneError((_path.empty() ? "" : _path + ".") + Shortened(key) +
                     ": unknown key with the value " + ValueText(value) +
                     " (known here: " + listed + ")");
  }
}

}  // namespace libmfx::sim
