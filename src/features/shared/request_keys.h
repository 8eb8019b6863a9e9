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

/// What a row of a request's table says beside its key.
struct RequestKey {
  Member member;
  Rule rule = Rule::kAny;
  std::string_view refusal = {};  ///< of a value that breaks the rule

  template <typename M>
  RequestKey(M place) : member(place) {}
  template <typename M>
  RequestKey(M place, Rule own_rule, std::string_view own_refusal = {})
      : member(place), rule(own_rule), refusal(own_refusal) {}
};

/// The keys of a class's request, in reading order: where each goes, and when it is refused. The
/// first refusal ends the reading; what was read before it stays.
class RequestKeys {
 public:
  RequestKeys() = default;
  /// Begins with what all features share but the free path and the unknown one: "$id", the name,
  /// and where the instrument stands.
  explicit RequestKeys(Member scan_origin);

  /// Members of the request itself: key and place in turn.
  template <typename... Keys>
  RequestKeys& Root(const Keys&... keys) {
    return Add(false, keys...);
  }
  /// Members of its "Feature".
  template <typename... Keys>
  RequestKeys& Nominal(const Keys&... keys) {
    return Add(true, keys...);
  }
  /// A direction of its "Feature", made unit.
  /// \param refusal of one that is zero; empty: it stays
  RequestKeys& Unit(std::string_view key, Member member, std::string_view refusal = {});
  /// The nominal of an oblong opening: "Location", "Normal", "Tangent", "Length" and "Width".
  RequestKeys& Oblong(Member point, Member normal, Member tangent, Member length, Member width);
  /// Members that its "Feature" has to have.
  RequestKeys& Need(std::initializer_list<std::string_view> keys, std::string_view refusal);
  /// Keys that several classes have, as one function adds them.
  RequestKeys& With(void (*add)(RequestKeys&)) {
    add(*this);
    return *this;
  }
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
    std::vector<std::string_view> needed;  ///< all that have to be there, or
    std::vector<RequestKey> read;          ///< the one that is read,
    std::string_view key = {};             ///< under this key
    bool unit = false;
    std::string_view refusal = {};
  };

  RequestKeys& Add(bool) { return *this; }
  template <typename... Rest>
  RequestKeys& Add(bool of_feature, std::string_view key, const RequestKey& row,
                   const Rest&... rest) {
    _rows.push_back({of_feature, {}, {row}, key, false, row.refusal});
    return Add(of_feature, rest...);
  }

  std::string_view _unreadable = "Unable to parse JSON message!";
  std::vector<Row> _rows;
};

}  // namespace libmfx::features::shared
