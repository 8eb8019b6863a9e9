#include "messages/json_tree.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <type_traits>

namespace libmfx::messages {

// The blocks are dropped without a look at what stands in them.
static_assert(std::is_trivially_destructible_v<JsonNode>);
static_assert(std::is_trivially_destructible_v<JsonMember>);

const JsonNode* JsonObject::Find(std::string_view name) const {
  const JsonMember* const end = first + size;
  const JsonMember* const found = std::lower_bound(
      first, end, name, [](const JsonMember& m, std::string_view key) { return m.name < key; });
  return found != end && found->name == name ? &found->node : nullptr;
}

void JsonTree::CloseArray() {
  const JsonNode* const elements = _values.data() + _open.back();
  const std::size_t size = _values.size() - _open.back();
  std::pmr::polymorphic_allocator<> blocks(&_blocks);
  auto* const kept = blocks.allocate_object<JsonNode>(size);
  std::uninitialized_copy_n(elements, size, kept);
  Close({JsonArray{kept, size}});
}

void JsonTree::CloseObject() {
  const JsonNode* const pairs = _values.data() + _open.back();
  const std::size_t size = (_values.size() - _open.back()) / 2;
  std::pmr::polymorphic_allocator<> blocks(&_blocks);
  auto* const kept = blocks.allocate_object<JsonMember>(size);
  for (std::size_t i = 0; i < size; ++i) {
    const auto* const name = pairs[2 * i].As<std::string_view>();
    std::construct_at(kept + i, JsonMember{*name, pairs[2 * i + 1]});
  }
  std::stable_sort(kept, kept + size,
                   [](const JsonMember& a, const JsonMember& b) { return a.name < b.name; });
  JsonMember* end = kept;
  for (std::size_t i = 0; i < size; ++i) {
    const bool replaced = i + 1 < size && kept[i].name == kept[i + 1].name;
    if (!replaced) *end++ = kept[i];
  }
  Close({JsonObject{kept, static_cast<std::size_t>(end - kept)}});
}

std::string_view JsonTree::Kept(std::string_view text) {
  std::pmr::polymorphic_allocator<> blocks(&_blocks);
  auto* const kept = blocks.allocate_object<char>(text.size());
  std::copy(text.begin(), text.end(), kept);
  return {kept, text.size()};
}

void JsonTree::Close(const JsonNode& container) {
  _values.resize(_open.back());
  _open.pop_back();
  _values.push_back(container);
}

}  // namespace libmfx::messages
