#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "features/shared/member.h"

namespace libmfx::features::shared {

/// The result message of a class: "$type", its own keys when the measurement succeeded or
/// "ErrorMessage" when it failed, "ScanData", and what every result ends with.
class ResultKeys {
 public:
  ResultKeys() = default;
  /// \param type "$type" of the message
  explicit ResultKeys(std::string_view type) : _type(type) {}

  ResultKeys& Add(std::string_view key, Member member) {
    _rows.push_back({key, std::move(member)});
    return *this;
  }
  /// "ScanData" has the columns of this cloud, in "LR_XYZ"; without it the samples as they were
  /// taken, in "LR_AER".
  ResultKeys& Cloud(Member cloud) {
    _cloud = {std::move(cloud)};
    return *this;
  }

  bool empty() const { return _type.empty(); }
  std::string Write(const Feature& feature) const;

 private:
  struct Row {
    std::string_view key;
    Member member;
  };

  std::string_view _type;
  std::vector<Row> _rows;
  std::vector<Member> _cloud;  ///< none or one
};

}  // namespace libmfx::features::shared
