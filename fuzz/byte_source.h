#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

/// Reads values off the front of a fuzzer's bytes. Past the end every value is zero, so that a
/// short input is a small case and not a refused one.
class ByteSource {
 public:
  ByteSource(const std::uint8_t* data, std::size_t size) : _data(data), _size(size) {}

  std::size_t remaining() const { return _size; }

  template <typename T>
  T Take() {
    T value{};
    const std::size_t count = std::min(sizeof(T), _size);
    if (count > 0) std::memcpy(&value, _data, count);
    _data += count;
    _size -= count;
    return value;
  }

  /// All that is left, as text.
  std::string Rest() {
    const std::string text(reinterpret_cast<const char*>(_data), _size);
    _data += _size;
    _size = 0;
    return text;
  }

 private:
  const std::uint8_t* _data;
  std::size_t _size;
};
