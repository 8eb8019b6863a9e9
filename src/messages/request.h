#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "libmfx/data_structures/point.h"

/// \file
/// Reading of requests. The conversion rules hold for every value in every place: nothing about a
/// request's content throws.

namespace libmfx::messages {

struct JsonNode;
class JsonTree;

/// A view of one value of a request; a missing value reads like null. Valid as long as its Request.
class Value {
 public:
  Value() = default;
  explicit Value(const JsonNode* node) : _node(node) {}

  /// Whether an object has this member, whatever its value.
  bool Has(std::string_view key) const;
  /// The member of an object; missing if there is none, or this is no object.
  Value operator[](std::string_view key) const;
  /// The element of an array; missing past the end, or if this is no array.
  Value At(std::size_t index) const;
  /// Elements of an array or members of an object; 0 for anything else.
  std::size_t Size() const;
  /// A number, also one beyond the largest double.
  bool IsNumber() const;
  bool IsArray() const;

  /// A number as it stands, infinite beyond the largest double; a boolean as 0 or 1; a string that
  /// is a decimal number as that number; anything else 0.
  double AsDouble() const;
  /// As AsDouble, truncated, and held at the limits of int.
  int AsInt() const;
  /// The same for a count: below 0 it is held at 0.
  unsigned int AsUnsigned() const;
  /// True and false; a number that is not zero; the string "true", or one that converts to an
  /// integer that is not zero.
  bool AsBool() const;
  /// The characters of a string, anything else the empty string.
  std::string AsString() const;
  /// The first three elements as x, y, z with `w` 1; a missing one reads 0.
  data_structures::PointXYZW AsPoint() const;
  /// The same as a direction, `w` 0, not normalised.
  data_structures::VectorXYZW AsVector() const;

  /// Reads an optional member: an absent key leaves `target` alone.
  /// \return whether the key is there
  bool Read(std::string_view key, double& target) const;
  bool Read(std::string_view key, int& target) const;
  bool Read(std::string_view key, unsigned int& target) const;
  bool Read(std::string_view key, bool& target) const;
  bool Read(std::string_view key, std::string& target) const;
  bool Read(std::string_view key, data_structures::PointXYZW& target) const;
  bool Read(std::string_view key, data_structures::VectorXYZW& target) const;

 private:
  /// What stands here, if it is of this kind, or null.
  template <typename T>
  const T* As() const;

  const JsonNode* _node = nullptr;
};

/// A parsed request: one JSON object whose objects and arrays nest at most 50 deep, the root
/// counted. Comments are tolerated, and so are what follows the object and the values that
/// StrictJson mends.
class Request {
 public:
  explicit Request(const std::string& text);
  ~Request();
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;

  /// False if the text is no such object.
  bool ok() const { return _document != nullptr; }
  /// The root object.
  Value root() const;
  /// The object that describes the nominal; missing if there is none.
  Value feature() const { return root()["Feature"]; }

 private:
  std::unique_ptr<const JsonTree> _document;
};

}  // namespace libmfx::messages
