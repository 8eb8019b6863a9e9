#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "features/shared/member.h"

/// \file
/// What a class reads from its request.

namespace libmfx::features::shared {

/// What a value of a request has to be.
enum class Rule {
  kAny,           ///< is read if it is there
  kValue,         ///< is read whether it is there or not: what is missing reads like null
  kSwitch,        ///< a number that is not 0; a string that says "true" is 0
  kIfPositive,    ///< is taken if it is above 0
  kPositive,      ///< above 0 once it has been read
  kGivenPositive  ///< there, and above 0
};

/// The keys of a class's request, in reading order: where each goes, and when it is refused. The
/// first refusal ends the reading; what was read before it stays.
class RequestKeys {
 public:
  RequestKeys() = default;
  /// Begins with what all features share but the free path and the unknown one: "$id", the name,
  /// and where the instrument stands.
  explicit RequestKeys(Member scan_origin);

  /// A member of the request itself.
  RequestKeys& Root(std::string_view key, Member member, Rule rule = Rule::kAny,
                    std::string_view refusal = {});
  /// A member of its "Feature".
  RequestKeys& Nominal(std::string_view key, Member member, Rule rule = Rule::kAny,
                       std::string_view refusal = {});
  /// A direction of its "Feature", made unit. \param refusal of one that is zero; empty: it stays
  RequestKeys& Unit(std::string_view key, Member member, std::string_view refusal = {});
  /// The nominal of an oblong opening: "Location", "Normal", "Tangent", "Length" and "Width".
  RequestKeys& Oblong(Member point, Member normal, Member tangent, Member length, Member width);
  /// Members that its "Feature" has to have.
  RequestKeys& Need(std::initializer_list<std::string_view> keys, std::string_view refusal);
  /// "RescanThreshold".
  RequestKeys& Rescan();
  /// "RescanThreshold" and the three keys of the search.
  RequestKeys& SearchAndRescan();
  /// Refuses a text that is no request with other words than most classes have.
  RequestKeys& Unreadable(std::string_view refusal);

  /// Reads a request into `feature`.
  /// \returns why it is refused, or an empty text
  std::string Read(const std::string& json, Feature& feature) const;

 private:
  struct Row {
    bool of_feature;
    std::vector<std::string_view> keys;  ///< one that is read, or all that have to be there
    std::vector<Member> member;          ///< none or one
    bool unit;
    Rule rule;
    std::string_view refusal;
  };

  std::string_view _unreadable = "Unable to parse JSON message!";
  std::vector<Row> _rows;
};

}  // namespace libmfx::features::shared
