#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/check.h"
#include "inspection/plan.h"

/// \file
/// Values of a plan's text. Each reader here tells what is wrong with a value, at its place, and
/// then returns nothing.

namespace libmfx::inspection {

/// A value of a plan, and where it stands.
struct PlanValue {
  const json* value = nullptr;
  std::size_t at = 0;  ///< bytes from the start of the text
  std::string path;    ///< JSON pointer
  std::string label;   ///< what people call it: "\"position\""
};

/// What there is to say about a plan.
class PlanFindings {
 public:
  /// \param text of a plan without a fault; outlives this
  explicit PlanFindings(std::string_view text) : _text(text) {}

  std::string_view text() const { return _text; }
  /// How many errors were told, those that are not listed among them.
  std::size_t errors() const { return _errors; }

  void Error(const PlanValue& value, const std::string& text);
  void Warning(const PlanValue& value, const std::string& text);
  /// The same words at the same place are listed once, and no more than 500 of each severity.
  void Tell(host::Severity severity, std::size_t at, const std::string& path,
            const std::string& text);
  /// "; "x" may be meant" where a candidate is near; of the first few mistaken words only.
  std::string Meant(std::string_view word, const std::vector<std::string>& candidates);

  /// In the order of the text.
  std::vector<host::Finding> Take();

 private:
  struct Told {
    std::size_t at = 0;
    host::Finding finding;
  };
  std::string_view _text;
  std::vector<Told> _told;
  std::size_t _errors = 0;
  std::size_t _warnings = 0;
  int _looked_up = 0;
};

std::string Quoted(std::string_view text);

/// The value under a key of an object; nothing where it is absent.
std::optional<PlanValue> MemberOf(const PlanFindings& findings, const PlanValue& object,
                                  std::string_view key);
/// An element of an array that has it.
PlanValue ElementOf(const PlanFindings& findings, const PlanValue& array, std::size_t index);

/// An object of a plan and the keys that are known in it, besides remarks ("$schema" and
/// "$comment"). Tells what is no object, a key that is not known and one that stands twice.
class PlanObject {
 public:
  /// \param what it is, for people: "a station"
  /// \param elsewhere what there is to say of some keys that are not known here
  PlanObject(PlanFindings& findings, const PlanValue& value, const std::string& what,
             const std::vector<std::string>& known,
             const std::map<std::string, std::string>& elsewhere = {});

  /// Whether it is an object at all.
  bool is_sound() const { return _is_object; }
  const PlanValue& self() const { return _self; }
  std::optional<PlanValue> Get(std::string_view key) const;
  /// The same of a key that has to be there.
  std::optional<PlanValue> Need(std::string_view key, std::string_view meaning) const;
  /// All that are known, in the order of the text.
  const std::vector<std::pair<std::string, PlanValue>>& members() const { return _members; }

 private:
  PlanFindings& _findings;
  PlanValue _self;
  bool _is_object = false;
  std::vector<std::pair<std::string, PlanValue>> _members;
};

/// In which unit a number is told.
struct ToldIn {
  double unit = 1.0;  ///< what the library has for one of it
  std::string name;   ///< for people
};
ToldIn InLengths(const Units& units);
ToldIn InAngles(const Units& units);

/// Limits of a number, in the library's units.
struct Limits {
  double low = 0.0;
  double high = 0.0;
};
/// No coordinate and no length of a plan is beyond this, m.
inline constexpr double kFarthest = 1000.0;
/// What has to be above 0 is at least this: a nanometre, or a nanoradian.
inline constexpr double kLeast = 1e-9;
inline constexpr Limits kAnyPlace{-kFarthest, kFarthest};
inline constexpr Limits kAnyExtent{kLeast, kFarthest};

/// A number in the library's units.
std::optional<double> ReadNumber(PlanFindings& findings, const PlanValue& value, const ToldIn& in,
                                 const Limits& limits);
/// An array of so many numbers.
std::optional<std::vector<double>> ReadNumbers(PlanFindings& findings, const PlanValue& value,
                                               std::size_t count, const ToldIn& in,
                                               const Limits& limits);
/// A point, m.
std::optional<Vector3d> ReadPoint(PlanFindings& findings, const PlanValue& value,
                                  const Units& units);
/// A unit vector.
std::optional<Vector3d> ReadDirection(PlanFindings& findings, const PlanValue& value);

/// A text for people without control characters.
std::optional<std::string> ReadText(PlanFindings& findings, const PlanValue& value);
/// The same that is not empty: a name.
std::optional<std::string> ReadName(PlanFindings& findings, const PlanValue& value);
/// One of some words.
std::optional<std::string> ReadChoice(PlanFindings& findings, const PlanValue& value,
                                      const std::vector<std::string>& words);
/// The elements of an array.
std::optional<std::vector<PlanValue>> ReadList(PlanFindings& findings, const PlanValue& value,
                                               std::size_t least, std::size_t most);

}  // namespace libmfx::inspection
