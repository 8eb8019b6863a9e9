#pragma once

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "sim/scene.h"

namespace libmfx::sim {

/// One object of a scene file, or of one like it, with the path of keys that leads to it. Every
/// reader checks what it reads and throws a SceneError that names the path and the value; `Finish`
/// finds the keys that nobody read.
class SceneSection {
 public:
  /// \param root what the whole file is called where the path is empty
  /// \throws SceneError if `value` is no object
  SceneSection(const nlohmann::json& value, std::string path, const char* root = "scene");

  bool Has(const char* key) const { return _value.contains(key); }
  /// The same of a key that may be absent and is known all the same.
  bool Tells(const char* key) {
    _known.insert(key);
    return Has(key);
  }
  /// The value of a required key.
  const nlohmann::json& At(const char* key);
  SceneSection Child(const char* key) { return {At(key), PathOf(key)}; }
  /// The objects of an array, from none to `most`.
  std::vector<SceneSection> Children(const char* key, std::size_t most);

  /// A number within [low, high]. An absent key gives `fallback`; without fallback it is required.
  double Number(const char* key, double low, double high);
  double Number(const char* key, double low, double high, double fallback);
  /// A length in metres from 1e-6 to 1000.
  double Length(const char* key) { return Number(key, 1e-6, 1000.0); }
  double Length(const char* key, double fallback) { return Number(key, 1e-6, 1000.0, fallback); }
  /// A length in metres that may be 0.
  double LengthOrZero(const char* key, double fallback) {
    return Number(key, 0.0, 1000.0, fallback);
  }
  /// An angle that the file tells in degrees, in radians.
  double Degrees(const char* key, double low, double high, double fallback) {
    return Number(key, low, high, fallback * 180.0 / kPi) * kPi / 180.0;
  }
  std::int64_t Integer(const char* key, std::int64_t low, std::int64_t high);
  std::int64_t Integer(const char* key, std::int64_t low, std::int64_t high, std::int64_t fallback);
  bool Flag(const char* key, bool fallback);
  std::string Text(const char* key);
  /// One of the listed words.
  std::string Choice(const char* key, std::initializer_list<std::string_view> words);
  /// Three finite numbers, each within +-`limit`.
  Vec3 Vector(const char* key, double limit);

  /// \throws SceneError for the first key that was not read
  void Finish() const;

  /// Ends the reading: "<path>: <value> <why>".
  [[noreturn]] void Refuse(const char* key, const std::string& why) const;

 private:
  std::string PathOf(const char* key) const { return _path.empty() ? key : _path + "." + key; }

  const nlohmann::json& _value;
  std::string _path;
  std::set<std::string> _known;
};

/// A short text for a value in an error line; arrays and objects that are long are only named.
std::string ValueText(const nlohmann::json& value);

}  // namespace libmfx::sim
