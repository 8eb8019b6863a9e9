#pragma once

#include <Eigen/Core>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/check.h"
#include "libmfx/win32_support/feature_descriptor.h"

/// \file
/// What the checks of a request share: its values, where they stand, and where findings go. Each
/// check looks at one side of the request, and none needs another.

namespace libmfx::host::check {

using nlohmann::json;
using win32_support::FeatureDescriptor;
using win32_support::RequestKey;

/// A member of one of the objects that hold keys.
struct Member {
  int place = win32_support::REQUEST_ROOT;
  std::string key;
  std::size_t key_at = 0;  ///< bytes from the start of the text
  std::size_t at = 0;      ///< of the value
};

/// The object of a request in which keys of a place stand, for people and in a path.
std::string PlaceText(int place);
/// The path of a value, as a finding has it.
std::string PathOf(int place, std::string_view key);

class Context {
 public:
  /// \param text of a request, which begins with an object
  /// \param values the same, as the library reads it
  Context(std::string_view text, json values, const CheckOptions& options);

  std::string_view text() const { return _text; }
  const CheckOptions& options() const { return _options; }
  /// The class that the request asks for; null where none is known.
  const FeatureDescriptor* type() const { return _type; }
  std::string type_name() const;
  /// The members of the request, of "Feature" and of "Path", in order, equal keys among them.
  const std::vector<Member>& members() const { return _members; }

  /// The object of a place; null if there is none.
  const json* ObjectOf(int place) const;
  /// The row of the class's table; null if it does not read the key there.
  const RequestKey* RowOf(int place, std::string_view key) const;
  /// The value that counts of a key; null if it is absent.
  const json* ValueOf(int place, std::string_view key) const;
  /// Where it stands: the last of equal keys.
  const Member* MemberOf(int place, std::string_view key) const;

  /// What the library reads of a key that the class reads: of a number, its default where it is
  /// absent. Nothing where the value is of another kind, which is a finding of its own.
  std::optional<double> NumberOf(std::string_view key) const;
  bool FlagOf(std::string_view key) const;
  /// The same of a point or a direction, of three finite numbers.
  std::optional<Eigen::Vector3d> TripleOf(std::string_view key) const;

  /// A finding about a value; about its object where it is absent, and about the request where
  /// that is absent too.
  void Tell(Severity severity, int place, std::string_view key, const std::string& text);
  /// The same, of a key of the class's table.
  void Tell(Severity severity, std::string_view key, const std::string& text);
  void TellAt(Severity severity, std::size_t at, const std::string& path, const std::string& text);

  /// Says that the class refuses the request for what has just been told.
  void SetRefused() { _refused = true; }
  bool refused() const { return _refused; }
  bool has_errors() const { return HasErrors(_findings); }
  std::vector<Finding> TakeFindings();

 private:
  void AddMembers(int place, std::size_t object);

  std::string_view _text;
  json _values;
  CheckOptions _options;
  const FeatureDescriptor* _type = nullptr;
  std::vector<Member> _members;
  std::vector<Finding> _findings;
  bool _refused = false;
};

/// The number that a value reads as, if it is one in some spelling: a number, or a text of one.
std::optional<double> SpelledNumber(const json& value);

/// Three finite numbers of an array, if these are its first elements.
std::optional<Eigen::Vector3d> TripleOfValue(const json& value);

/// The types that a request can ask for.
std::vector<const FeatureDescriptor*> RequestedTypes();

/// Keys: unknown ones, misplaced ones, double ones, missing ones, and values of the wrong kind.
void CheckKeys(Context& context);
/// Values: sizes, spacings, angles, counts, and what has to fit together.
void CheckValues(Context& context);
/// The nominal in front of the instrument.
void CheckNominal(Context& context);
/// What the library says to the request, and to the plan that follows from it.
void CheckPlan(Context& context, const std::string& request);

}  // namespace libmfx::host::check
