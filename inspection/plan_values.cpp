#include "inspection/plan_values.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

#include "host/check_context.h"
#include "host/json_places.h"
#include "host/nearest.h"
#include "host/numbers.h"
#include "libmfx/win32_support/request_key.h"
#include "sim/scene_section.h"

namespace libmfx::inspection {
namespace {

using host::Severity;

/// No object of a plan has more keys, remarks among them.
constexpr std::size_t kMostKeys = 100;

/// A key as a part of a JSON pointer, with its slash.
std::string PartOf(std::string_view key) {
  return host::check::PathOf(win32_support::REQUEST_ROOT, key);
}

bool IsRemark(std::string_view key) { return key == "$schema" || key == "$comment"; }

/// A number that no double holds is read as a text of its digits.
bool IsBeyond(const PlanFindings& findings, const PlanValue& value) {
  return value.value->is_string() && findings.text().substr(value.at, 1) != "\"";
}

std::string Shown(const PlanFindings& findings, const PlanValue& value) {
  if (!IsBeyond(findings, value)) return sim::ValueText(*value.value);
  return value.value->get<std::string>().substr(0, 40);
}

std::string InUnit(double number, const ToldIn& in) { return host::Rounded(number / in.unit, 6); }

/// What is told of texts: their control characters, also those of two bytes.
bool HasControls(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c < 0x20 || c == 0x7f) return true;
    if (c == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0) {
      return true;
    }
  }
  return false;
}

std::size_t CharactersOf(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

}  // namespace

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

void PlanFindings::Error(const PlanValue& value, const std::string& text) {
  Tell(Severity::kError, value.at, value.path, text);
}

void PlanFindings::Warning(const PlanValue& value, const std::string& text) {
  Tell(Severity::kWarning, value.at, value.path, text);
}

void PlanFindings::Tell(Severity severity, std::size_t at, const std::string& path,
                        const std::string& text) {
  constexpr std::size_t kMostListed = 500;
  std::size_t& count = severity == Severity::kError ? _errors : _warnings;
  if (count >= kMostListed) {
    ++count;
    return;
  }
  for (const Told& told : _told) {
    if (told.at == at && told.finding.text == text) return;
  }
  ++count;
  _told.push_back({at, {severity, 1, 1, path, text}});
}

std::string PlanFindings::Meant(std::string_view word, const std::vector<std::string>& candidates) {
  constexpr int kMostLookedUp = 20;
  if (++_looked_up > kMostLookedUp) return {};
  const std::string nearest = host::Nearest(word, candidates);
  return nearest.empty() ? std::string() : "; " + Quoted(nearest) + " may be meant";
}

std::vector<host::Finding> PlanFindings::Take() {
  std::stable_sort(_told.begin(), _told.end(),
                   [](const Told& a, const Told& b) { return a.at < b.at; });
  std::vector<host::Finding> findings;
  // Each place is counted on from the one before it, so that the text is walked through once.
  host::TextPlace place;
  std::size_t from = 0;
  for (Told& told : _told) {
    const host::TextPlace step = host::PlaceOf(_text.substr(from), told.at - from);
    place.column = step.line == 1 ? place.column + step.column - 1 : step.column;
    place.line += step.line - 1;
    from = told.at;
    told.finding.line = place.line;
    told.finding.column = place.column;
    findings.push_back(std::move(told.finding));
  }
  _told.clear();
  return findings;
}

std::optional<PlanValue> MemberOf(const PlanFindings& findings, const PlanValue& object,
                                  std::string_view key) {
  if (!object.value->is_object()) return std::nullopt;
  const auto member = object.value->find(key);
  if (member == object.value->end()) return std::nullopt;
  PlanValue value{&*member, object.at, object.path + PartOf(key), Quoted(key)};
  for (const host::MemberPlace& place : host::MembersAt(findings.text(), object.at)) {
    if (host::KeyAt(findings.text(), place.key) == key) value.at = place.value;
  }
  return value;
}

PlanValue ElementOf(const PlanFindings& findings, const PlanValue& array, std::size_t index) {
  return {&(*array.value)[index], host::ElementAt(findings.text(), array.at, index),
          array.path + "/" + std::to_string(index),
          "element " + std::to_string(index + 1) + " of " + array.label};
}

PlanObject::PlanObject(PlanFindings& findings, const PlanValue& value, const std::string& what,
                       const std::vector<std::string>& known,
                       const std::map<std::string, std::string>& elsewhere)
    : _findings(findings), _self(value), _is_object(value.value->is_object()) {
  if (!_is_object) {
    findings.Error(value,
                   value.label + " is " + Shown(findings, value) + ": " + what + " is an object");
    return;
  }
  const std::vector<host::MemberPlace> places = host::MembersAt(findings.text(), value.at);
  if (places.size() > kMostKeys) {
    findings.Error(value, value.label + " has " + std::to_string(places.size()) + " keys, and " +
                              what + " has no more than " + std::to_string(kMostKeys));
    return;
  }
  std::set<std::string> seen;
  for (const host::MemberPlace& place : places) {
    const std::string key = host::KeyAt(findings.text(), place.key);
    const std::string path = value.path + PartOf(key);
    if (!seen.insert(key).second) {
      findings.Tell(Severity::kError, place.key, path,
                    Quoted(key) + " stands twice in " + what + ", and only one can count");
      // The value that was parsed is that of the last one, and its place has to be, too.
      for (auto& [name, member] : _members) {
        if (name == key) member.at = place.value;
      }
    } else if (std::find(known.begin(), known.end(), key) != known.end()) {
      _members.emplace_back(key, PlanValue{&value.value->at(key), place.value, path, Quoted(key)});
    } else if (const auto told = elsewhere.find(key); told != elsewhere.end()) {
      findings.Tell(Severity::kError, place.key, path, Quoted(key) + " " + told->second);
    } else if (!IsRemark(key)) {
      findings.Tell(Severity::kError, place.key, path,
                    Quoted(key) + " is no key of " + what + findings.Meant(key, known));
    }
  }
}

std::optional<PlanValue> PlanObject::Get(std::string_view key) const {
  for (const auto& [name, value] : _members) {
    if (name == key) return value;
  }
  return std::nullopt;
}

std::optional<PlanValue> PlanObject::Need(std::string_view key, std::string_view meaning) const {
  std::optional<PlanValue> value = Get(key);
  if (!value && _is_object) {
    _findings.Error(_self, Quoted(key) + " is missing: " + std::string(meaning));
  }
  return value;
}

ToldIn InLengths(const Units& units) { return {units.Length(), units.length}; }
ToldIn InAngles(const Units& units) { return {units.Angle(), units.angle}; }

std::optional<double> ReadNumber(PlanFindings& findings, const PlanValue& value, const ToldIn& in,
                                 const Limits& limits) {
  const std::string is = value.label + " is " + Shown(findings, value);
  if (!value.value->is_number()) {
    findings.Error(
        value, is + (IsBeyond(findings, value) ? ", which is not finite" : ", which is no number"));
    return std::nullopt;
  }
  const double number = in.unit * value.value->get<double>();
  // A limit that the unit turned into a decimal fraction belongs to what is allowed.
  constexpr double kRounding = 1e-12;
  if (std::isfinite(number) && number >= limits.low - kRounding * std::abs(limits.low) &&
      number <= limits.high + kRounding * std::abs(limits.high)) {
    return number;
  }
  findings.Error(value, is + ": it has to lie between " + InUnit(limits.low, in) + " and " +
                            InUnit(limits.high, in) + (in.name.empty() ? "" : " ") + in.name);
  return std::nullopt;
}

std::optional<std::vector<double>> ReadNumbers(PlanFindings& findings, const PlanValue& value,
                                               std::size_t count, const ToldIn& in,
                                               const Limits& limits) {
  if (!value.value->is_array() || value.value->size() != count) {
    findings.Error(value, value.label + " is " + Shown(findings, value) + ", and has to be " +
                              std::to_string(count) + " numbers in an array");
    return std::nullopt;
  }
  std::vector<double> numbers;
  for (std::size_t i = 0; i < count; ++i) {
    const auto number = ReadNumber(findings, ElementOf(findings, value, i), in, limits);
    if (!number) return std::nullopt;
    numbers.push_back(*number);
  }
  return numbers;
}

std::optional<Vector3d> ReadPoint(PlanFindings& findings, const PlanValue& value,
                                  const Units& units) {
  const auto numbers = ReadNumbers(findings, value, 3, InLengths(units), kAnyPlace);
  if (!numbers) return std::nullopt;
  return Vector3d((*numbers)[0], (*numbers)[1], (*numbers)[2]);
}

std::optional<Vector3d> ReadDirection(PlanFindings& findings, const PlanValue& value) {
  constexpr double kLongest = 1e9;
  const auto numbers = ReadNumbers(findings, value, 3, {}, {-kLongest, kLongest});
  if (!numbers) return std::nullopt;
  const Vector3d direction((*numbers)[0], (*numbers)[1], (*numbers)[2]);
  if (!(direction.norm() > kLeast)) {
    findings.Error(value, value.label + " is a direction without a length");
    return std::nullopt;
  }
  return direction.normalized();
}

std::optional<std::string> ReadText(PlanFindings& findings, const PlanValue& value) {
  constexpr std::size_t kLongest = 100;
  if (!value.value->is_string() || IsBeyond(findings, value)) {
    findings.Error(value, value.label + " is " + Shown(findings, value) + ", which is no text");
    return std::nullopt;
  }
  const auto& text = value.value->get_ref<const std::string&>();
  if (HasControls(text)) {
    findings.Error(value, value.label + " holds a control character");
    return std::nullopt;
  }
  if (CharactersOf(text) > kLongest) {
    findings.Error(value,
                   value.label + " has more than " + std::to_string(kLongest) + " characters");
    return std::nullopt;
  }
  return text;
}

std::optional<std::string> ReadName(PlanFindings& findings, const PlanValue& value) {
  std::optional<std::string> name = ReadText(findings, value);
  if (!name || name->find_first_not_of(' ') != std::string::npos) return name;
  findings.Error(value, value.label + " is empty");
  return std::nullopt;
}

std::optional<std::string> ReadChoice(PlanFindings& findings, const PlanValue& value,
                                      const std::vector<std::string>& words) {
  std::string listed;
  for (const std::string& word : words) {
    if (*value.value == word) return word;
    listed += (listed.empty() ? "" : ", ") + word;
  }
  const std::string meant =
      value.value->is_string() ? findings.Meant(value.value->get<std::string>(), words) : "";
  findings.Error(
      value, value.label + " is " + Shown(findings, value) + ", and not one of: " + listed + meant);
  return std::nullopt;
}

std::optional<std::vector<PlanValue>> ReadList(PlanFindings& findings, const PlanValue& value,
                                               std::size_t least, std::size_t most) {
  if (!value.value->is_array()) {
    findings.Error(value, value.label + " is " + Shown(findings, value) + ", which is no array");
    return std::nullopt;
  }
  const std::size_t count = value.value->size();
  if (count < least || count > most) {
    const std::string needed = least == most   ? "has to have " + std::to_string(most)
                               : count < least ? "needs at least " + std::to_string(least)
                                               : "can have no more than " + std::to_string(most);
    findings.Error(value, value.label + " has " + std::to_string(count) +
                              (count == 1 ? " element, and " : " elements, and ") + needed);
    return std::nullopt;
  }
  const std::vector<std::size_t> places = host::ElementsAt(findings.text(), value.at);
  std::vector<PlanValue> elements;
  for (std::size_t i = 0; i < count; ++i) {
    elements.push_back({&(*value.value)[i], places[i], value.path + "/" + std::to_string(i),
                        "element " + std::to_string(i + 1) + " of " + value.label});
  }
  return elements;
}

}  // namespace libmfx::inspection
