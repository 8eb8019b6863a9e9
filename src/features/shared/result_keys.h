#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "features/shared/member.h"
#include "libmfx/features/result_value.h"

namespace libmfx::features::shared {

/// The result message of a class: "$type", its own keys when the measurement succeeded or
/// "ErrorMessage" when it failed, "ScanData", and what every result ends with.
class ResultKeys {
 public:
  ResultKeys() = default;
  /// \param type "$type" of the message
  explicit ResultKeys(std::string_view type) : _type(type) {}

  /// Keys of a success, each with its member.
  ResultKeys& Add() { return *this; }
  template <typename M, typename... Rest>
  ResultKeys& Add(std::string_view key, M member, const Rest&... rest) {
    _keys.push_back({key, member});
    return Add(rest...);
  }
  /// "ScanData" has the columns of this cloud, in "LR_XYZ"; without it the samples as they were
  /// taken, in "LR_AER".
  ResultKeys& Cloud(Member cloud) {
    _cloud = {std::move(cloud)};
    return *this;
  }

  bool empty() const { return _type.empty(); }
  std::string Write(const Feature& feature) const;
  /// The keys of a success with their values.
  std::vector<ResultValue> Values(const Feature& feature) const;

 private:
  struct Key {
    std::string_view key;
    Member member;
  };

  std::string_view _type;
  std::vector<Key> _keys;
  std::vector<Member> _cloud = {};  ///< none or one
};

}  // namespace libmfx::features::shared
