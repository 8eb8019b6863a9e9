#pragma once

#include <cstddef>
#include <memory_resource>
#include <string_view>
#include <variant>
#include <vector>

/// \file
/// An object of a JSON text in memory. What belongs together stands together, in few large blocks:
/// a scan path of many points is made, walked and dropped without an allocation for each.

namespace libmfx::messages {

struct JsonNode;
struct JsonMember;

/// The elements of an array, in order.
struct JsonArray {
  const JsonNode* first = nullptr;
  std::size_t size = 0;
};

/// The members of an object, sorted by name; of those with one name the last alone.
struct JsonObject {
  const JsonMember* first = nullptr;
  std::size_t size = 0;

  /// The value of a member, or null if there is none.
  const JsonNode* Find(std::string_view name) const;
};

/// One value: null, true or false, a number, a string, an array or an object. Every number is the
/// double next to it.
struct JsonNode {
  std::variant<std::monostate, bool, double, std::string_view, JsonArray, JsonObject> value;

  /// The value, if it is of this kind, or null.
  template <typename T>
  const T* As() const {
    return std::get_if<T>(&value);
  }
};

struct JsonMember {
  std::string_view name;
  JsonNode node;
};

/// Owns all values of a text. It is made in the order of the text: a scalar or a name as it comes,
/// a container by where it begins and where it ends.
class JsonTree {
 public:
  JsonTree() = default;
  JsonTree(const JsonTree&) = delete;
  JsonTree& operator=(const JsonTree&) = delete;

  /// The value that was made last. Valid once all that was opened is closed.
  const JsonNode& root() const { return _values.back(); }

  void Take(bool value) { _values.push_back({value}); }
  void Take(double value) { _values.push_back({value}); }
  void Take(std::string_view value) { _values.push_back({Kept(value)}); }
  void TakeNull() { _values.push_back({}); }
  /// A container begins; in an object each value comes after its name, which is taken like a value.
  void Open() { _open.push_back(_values.size()); }
  void CloseArray();
  void CloseObject();

 private:
  std::string_view Kept(std::string_view text);
  /// Puts a container in the place of what it holds.
  void Close(const JsonNode& container);

  std::pmr::monotonic_buffer_resource _blocks;
  std::vector<JsonNode> _values;   ///< that belong to no closed container yet
  std::vector<std::size_t> _open;  ///< where the open containers begin among them
};

}  // namespace libmfx::messages
