#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "features/shared/member.h"
#include "libmfx/win32_support/request_key.h"

/// \file
/// What a class reads from its request.

namespace libmfx::messages {
class Request;
}

namespace libmfx::features::shared {

/// The unit of a key's value, and what it is for.
struct KeyText {
  std::string_view unit;  ///< "m", "rad", "quality", or empty
  std::string_view meaning;
};

/// The text for people of a key: one source has them all.
/// \param feature key of the class
/// \throws std::logic_error if there is none
KeyText TextOfKey(std::string_view feature, std::string_view key);

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
    return Add(win32_support::REQUEST_ROOT, keys...);
  }
  /// Members of its "Feature".
  template <typename... Keys>
  RequestKeys& Nominal(const Keys&... keys) {
    return Add(win32_support::REQUEST_FEATURE, keys...);
  }
  /// A direction of its "Feature", made unit.
  /// \param refusal of one that is zero; empty: it stays
  RequestKeys& Unit(std::string_view key, Member member, std::string_view refusal = {});
  /// The nominal of an oblong opening: "Location", "Normal", "Tangent", "Length" and "Width".
  RequestKeys& Oblong(Member point, Member normal, Member tangent, Member length, Member width);
  /// A key that a class reads with code of its own.
  /// \param kind of win32_support::RequestKind
  RequestKeys& Own(win32_support::RequestPlace place, std::string_view key,
                   win32_support::RequestKind kind);
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
  std::string Read(const messages::Request& request, Feature& feature) const;

  /// What is read here, as a host sees it. "$type" in "Feature", by which a request chooses its
  /// class, comes first.
  /// \param feature key of the class
  /// \param probe a new instance of it, to take the defaults from
  std::vector<win32_support::RequestKey> Described(const std::string& feature,
                                                   Feature& probe) const;

 private:
  struct Row {
    win32_support::RequestPlace place;
    std::vector<std::string_view> needed;  ///< all that have to be there, or
    std::vector<RequestKey> read;          ///< the one that is read,
    std::string_view key = {};             ///< under this key
    bool unit = false;
    std::string_view refusal = {};
    win32_support::RequestGroup group = win32_support::REQUEST_OWN;
    int own_kind = -1;  ///< of a key that the class reads itself
  };

  RequestKeys& Add(win32_support::RequestPlace) { return *this; }
  template <typename... Rest>
  RequestKeys& Add(win32_support::RequestPlace place, std::string_view key, const RequestKey& row,
                   const Rest&... rest) {
    _rows.push_back({place, {}, {row}, key, false, row.refusal, _group});
    return Add(place, rest...);
  }
  std::string_view _unreadable = "Unable to parse JSON message!";
  win32_support::RequestGroup _group = win32_support::REQUEST_OWN;  ///< of the rows that come next
  std::vector<Row> _rows;
};

}  // namespace libmfx::features::shared
