#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "libmfx/data_structures/block_allocator.h"

namespace libmfx::geometry {

/// Hash of a directed edge (from, to): the 64-bit FNV-1a of each index over its four bytes, low
/// byte first; the two are combined as (first without its top bit) xor (second shifted right by 1).
struct EdgeHash {
  static constexpr std::uint64_t Fnv1a(std::uint32_t value) {
    std::uint64_t hash = 0xcbf29ce484222325u;
    for (int byte = 0; byte < 4; ++byte) {
      hash = (hash ^ ((value >> (8 * byte)) & 0xffu)) * 0x100000001b3u;
    }
    return hash;
  }
  constexpr std::size_t operator()(const std::pair<int, int>& edge) const {
    const std::uint64_t first = Fnv1a(static_cast<std::uint32_t>(edge.first));
    const std::uint64_t second = Fnv1a(static_cast<std::uint32_t>(edge.second));
    return (first & 0x7fffffffffffffffu) ^ (second >> 1);
  }
};

/// An unordered map from a directed edge to a value, with the operations of the standard one that a
/// mesh needs. The entries stand in one array in the order of their insertion, 24 bytes each for a
/// shared pointer, so that building and walking a map of millions of edges stays within memory that
/// is read in order. The hash index over them is made by the first look-up: a map that is only
/// filled and walked never pays for it. Removing an entry moves the last one into its place.
///
/// A map may leave even its entries to its first use: see Defer.
///
/// Look-ups are not const-thread-safe for these reasons: no two threads may use one map at a time.
template <typename Value>
class EdgeMap {
 public:
  using key_type = std::pair<int, int>;
  using mapped_type = Value;
  using value_type = std::pair<key_type, Value>;
  using hasher = EdgeHash;
  using Entries = std::vector<value_type, data_structures::BlockAllocator<value_type>>;
  using iterator = typename Entries::iterator;
  using const_iterator = typename Entries::const_iterator;

  EdgeMap() = default;
  EdgeMap(const EdgeMap& other) : _entries(other.Filled()), _index(other._index) {}
  EdgeMap(EdgeMap&& other) : _entries(std::move(other.Filled())), _index(std::move(other._index)) {
    other.clear();
  }
  EdgeMap& operator=(EdgeMap other) {
    Filled().swap(other._entries);
    _index.swap(other._index);
    return *this;
  }
  ~EdgeMap() = default;

  /// Leaves the filling to `source`. Whatever is done first with the map, but for Defer and the
  /// end of its life, calls it once; it enters what belongs into the map through the map's own
  /// operations. What it throws passes on, and the map is then an empty one unless it was deferred
  /// again. An empty function ends the waiting.
  void Defer(std::function<void()> source) { _source = std::move(source); }

  std::size_t size() const { return Filled().size(); }
  bool empty() const { return Filled().empty(); }
  iterator begin() { return Filled().begin(); }
  iterator end() { return Filled().end(); }
  const_iterator begin() const { return Filled().begin(); }
  const_iterator end() const { return Filled().end(); }
  hasher hash_function() const { return {}; }

  void reserve(std::size_t n) { Filled().reserve(n); }
  void clear() {
    Entries().swap(Filled());
    std::vector<std::uint32_t>().swap(_index);
  }
  iterator find(const key_type& key) { return begin() + Position(key); }
  const_iterator find(const key_type& key) const { return begin() + Position(key); }
  bool contains(const key_type& key) const { return find(key) != end(); }
  std::size_t count(const key_type& key) const { return contains(key) ? 1 : 0; }
  Value& at(const key_type& key) { return const_cast<Value&>(std::as_const(*this).at(key)); }
  const Value& at(const key_type& key) const {
    const auto found = find(key);
    if (found == end()) throw std::out_of_range("no such edge");
    return found->second;
  }
  Value& operator[](const key_type& key) {
    const auto found = find(key);
    if (found != end()) return found->second;
    _entries.emplace_back(key, Value());
    if (2 * _entries.size() > _index.size()) {
      BuildIndex();
    } else {
      _index[FreeSlot(key)] = static_cast<std::uint32_t>(_entries.size());
    }
    return _entries.back().second;
  }
  std::pair<iterator, bool> insert_or_assign(const key_type& key, Value value) {
    const std::size_t before = size();
    (*this)[key] = std::move(value);
    return {find(key), size() != before};
  }
  /// Adds an entry whose key the caller knows to be new; no look-up is made.
  void append(const key_type& key, Value value) {
    Filled().emplace_back(key, std::move(value));
    _index.clear();
  }
  std::size_t erase(const key_type& key) {
    const auto found = find(key);
    if (found == end()) return 0;
    erase(found);
    return 1;
  }
  iterator erase(const_iterator where) {
    const auto position = where - _entries.begin();
    if (!_index.empty()) Forget(SlotOf(where->first));
    if (position + 1 != static_cast<std::ptrdiff_t>(_entries.size())) {
      if (!_index.empty()) {
        _index[SlotOf(_entries.back().first)] = static_cast<std::uint32_t>(position + 1);
      }
      _entries[static_cast<std::size_t>(position)] = std::move(_entries.back());
    }
    _entries.pop_back();
    return _entries.begin() + position;
  }

 private:
  static constexpr std::size_t kMinimumSlots = 16;

  /// The entries, once a source that waits has entered them.
  Entries& Filled() {
    std::as_const(*this).Filled();
    return _entries;
  }
  const Entries& Filled() const {
    if (_source) std::exchange(_source, nullptr)();
    return _entries;
  }

  std::size_t Home(const key_type& key) const { return EdgeHash()(key) & (_index.size() - 1); }
  std::size_t After(std::size_t slot) const { return (slot + 1) & (_index.size() - 1); }

  /// Index of the entry with this key, or the number of entries.
  std::ptrdiff_t Position(const key_type& key) const {
    if (_index.empty()) {
      if (Filled().empty()) return 0;
      BuildIndex();
    }
    const std::uint32_t entry = _index[SlotOf(key)];
    return entry == 0 ? static_cast<std::ptrdiff_t>(_entries.size())
                      : static_cast<std::ptrdiff_t>(entry) - 1;
  }
  /// The slot that refers to this key, or the free slot at which a search for it ends.
  std::size_t SlotOf(const key_type& key) const {
    std::size_t slot = Home(key);
    while (_index[slot] != 0 && _entries[_index[slot] - 1].first != key) slot = After(slot);
    return slot;
  }
  std::size_t FreeSlot(const key_type& key) const {
    std::size_t slot = Home(key);
    while (_index[slot] != 0) slot = After(slot);
    return slot;
  }
  void BuildIndex() const {
    std::size_t slots = kMinimumSlots;
    while (slots < 3 * _entries.size()) slots *= 2;
    _index.assign(slots, 0);
    for (std::size_t i = 0; i < _entries.size(); ++i) {
      _index[FreeSlot(_entries[i].first)] = static_cast<std::uint32_t>(i + 1);
    }
  }
  /// Frees a slot and moves those behind it up, so that no search meets a gap.
  void Forget(std::size_t slot) {
    std::size_t gap = slot;
    for (std::size_t s = After(slot); _index[s] != 0; s = After(s)) {
      const std::size_t home = Home(_entries[_index[s] - 1].first);
      const bool stays = gap < s ? (gap < home && home <= s) : (gap < home || home <= s);
      if (stays) continue;
      _index[gap] = _index[s];
      gap = s;
    }
    _index[gap] = 0;
  }

  Entries _entries;
  mutable std::function<void()> _source;  ///< empty once the entries stand
  /// Open addressing with linear probing: 0 is free, else the number of an entry plus 1. Empty when
  /// it has yet to be made. Its size is a power of two.
  mutable std::vector<std::uint32_t> _index;
};

}  // namespace libmfx::geometry
