// What a request says that the library does not read, reads elsewhere, or reads as something else.

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <utility>

#include "host/check_context.h"
#include "host/errors.h"
#include "host/json_places.h"
#include "host/json_text.h"

namespace libmfx::host::check {
namespace {

using namespace win32_support;

/// More faults of one list are not told: they are the same one.
constexpr int kMostOfAList = 5;

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

/// A value for people.
std::string Shown(const json& value) {
  const std::string text = Dump(value);
  constexpr std::size_t kLongest = 40;
  return text.size() > kLongest ? OneLine(text.substr(0, kLongest)) + "..." : OneLine(text);
}

/// How many characters have to be put in, taken out or changed to make one name of another; upper
/// and lower case are alike.
std::size_t Distance(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t change = diagonal + (lower(a[i]) == lower(b[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({change, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

/// The name nearest to a mistaken one, if one is near enough to be meant: a third of its length
/// differs at most, or one is the end of the other.
std::string Nearest(std::string_view name, const std::set<std::string>& known) {
  constexpr std::size_t kLongestName = 64;
  if (name.size() > kLongestName) return {};
  std::string nearest;
  std::size_t least = std::numeric_limits<std::size_t>::max();
  for (const std::string& other : known) {
    const bool ends = other.ends_with(name) || name.ends_with(other);
    const std::size_t distance = ends && name.size() > 3 ? 1 : Distance(name, other);
    if (distance < least && distance <= std::max(name.size(), other.size()) / 3) {
      nearest = other;
      least = distance;
    }
  }
  return nearest;
}

std::string Meant(const std::string& nearest) {
  return nearest.empty() ? "" : "; " + Quoted(nearest) + " may be meant";
}

/// Keys that say something of the file and nothing to the library.
bool IsRemark(std::string_view key) { return key == "$schema" || key == "$comment"; }

/// What stands at the root besides the keys of the type: the object with the nominal, and the type
/// of the message.
bool IsFrame(const Member& member) {
  return member.place == REQUEST_ROOT && (member.key == "Feature" || member.key == "$type");
}

std::set<std::string> KeysOf(const FeatureDescriptor& type, int place) {
  std::set<std::string> keys;
  for (const RequestKey& row : type._request) {
    if (row.place == place) keys.insert(row.key);
  }
  return keys;
}

void TellUnknown(Context& context, const Member& member) {
  const auto tell = [&](const std::string& text) {
    context.TellAt(Severity::kWarning, member.key_at, PathOf(member.place, member.key), text);
  };
  for (const int place : {REQUEST_ROOT, REQUEST_FEATURE, REQUEST_PATH}) {
    if (place == member.place || context.RowOf(place, member.key) == nullptr) continue;
    return tell(Quoted(member.key) + " belongs in " + PlaceText(place) + ", and is ignored in " +
                PlaceText(member.place));
  }
  const std::string nearest = Nearest(member.key, KeysOf(*context.type(), member.place));
  std::string readers;
  for (const FeatureDescriptor* type : RequestedTypes()) {
    if (KeysOf(*type, member.place).contains(member.key) && readers.empty()) {
      readers = type->_request_type;
    }
  }
  if (!readers.empty()) {
    return tell(context.type_name() + " does not read " + Quoted(member.key) + ", as " + readers +
                " does" + Meant(nearest));
  }
  tell("no feature type reads " + Quoted(member.key) + " in " + PlaceText(member.place) +
       Meant(nearest));
}

void CheckMembers(Context& context) {
  constexpr int kMostKeys = 50;
  std::set<std::pair<int, std::string>> seen;
  int told = 0;
  for (const Member& member : context.members()) {
    const bool twice = !seen.insert({member.place, member.key}).second;
    const bool read = context.RowOf(member.place, member.key) != nullptr || IsFrame(member) ||
                      IsRemark(member.key);
    if ((read && !twice) || ++told > kMostKeys) continue;
    if (!twice) {
      TellUnknown(context, member);
      continue;
    }
    context.TellAt(Severity::kWarning, member.key_at, PathOf(member.place, member.key),
                   Quoted(member.key) + " stands twice in " + PlaceText(member.place) +
                       "; the last one counts");
  }
}

/// One value of a request.
struct Place {
  std::size_t at;
  std::string path;
};

class Kinds {
 public:
  explicit Kinds(Context& context) : _context(context) {}

  void Check(const RequestKey& row, const json& value, const Place& place) {
    _name = Quoted(row.key);
    switch (row.kind) {
      case REQUEST_BOOL:
        return CheckFlag(value, place);
      case REQUEST_TEXT:
        if (!value.is_string()) Reads(value, place, "an empty text", Severity::kWarning);
        return;
      case REQUEST_POINT:
      case REQUEST_DIRECTION:
        return CheckTriple(value, place);
      case REQUEST_SPACINGS:
        return CheckSpacings(value, place);
      case REQUEST_SEGMENTS:
        return CheckSegments(value, place);
      case REQUEST_OBJECT:
        if (!value.is_object()) Reads(value, place, "an empty object", Severity::kError);
        return;
      default:
        return CheckNumber(value, place, row.kind);
    }
  }

 private:
  void Tell(Severity severity, const Place& place, const std::string& text) {
    _context.TellAt(severity, place.at, place.path, text);
  }
  void Reads(const json& value, const Place& place, const std::string& as, Severity severity) {
    Tell(severity, place, _name + " is " + Shown(value) + ", which reads as " + as);
  }

  void CheckNumber(const json& value, const Place& place, int kind) {
    if (value.is_boolean() && kind != REQUEST_SWITCH) {
      return Reads(value, place, value.get<bool>() ? "1" : "0", Severity::kError);
    }
    if (value.is_boolean()) return;
    const std::optional<double> number = SpelledNumber(value);
    if (!number) return Reads(value, place, "0", Severity::kError);
    if (std::isinf(*number)) {
      return Tell(Severity::kError, place, _name + " is " + Shown(value) + ", which is not finite");
    }
    if (kind == REQUEST_NUMBER) return;
    constexpr double kHighest = std::numeric_limits<int>::max();
    if (std::abs(*number) > kHighest) {
      return Tell(Severity::kError, place,
                  _name + " is " + Shown(value) + ", which is more than 32 bits hold");
    }
    if (std::trunc(*number) != *number) {
      Reads(value, place, Dump(json(static_cast<int>(*number))), Severity::kWarning);
    }
    if (kind == REQUEST_COUNT && *number < 0.0) Reads(value, place, "0", Severity::kError);
  }

  void CheckFlag(const json& value, const Place& place) {
    if (value.is_boolean() || value == "true" || value == "false") return;
    const std::optional<double> number = SpelledNumber(value);
    if (number && (*number == 0.0 || *number == 1.0)) return;
    // A text counts by the whole part of its number.
    const bool on = number && (value.is_string() ? std::trunc(*number) : *number) != 0.0;
    Reads(value, place, on ? "true" : "false", Severity::kWarning);
  }

  Place Element(const Place& array, std::size_t index) {
    return {ElementAt(_context.text(), array.at, index), array.path + "/" + std::to_string(index)};
  }

  void CheckTriple(const json& value, const Place& place) {
    if (!value.is_array()) return Reads(value, place, "(0, 0, 0)", Severity::kError);
    if (value.size() < 3) {
      Tell(Severity::kError, place,
           _name + " has " + std::to_string(value.size()) + " of 3 numbers; the others read as 0");
    } else if (value.size() > 3) {
      Tell(Severity::kWarning, place,
           _name + " has " + std::to_string(value.size()) + " elements, of which 3 are read");
    }
    for (std::size_t i = 0; i < std::min<std::size_t>(value.size(), 3); ++i) {
      if (!IsSound(value[i])) CheckNumber(value[i], Element(place, i), REQUEST_NUMBER);
    }
  }
  static bool IsSound(const json& number) {
    return number.is_number() && std::isfinite(number.get<double>());
  }

  /// The library itself refuses what is neither a number nor an array, and one without elements.
  void CheckSpacings(const json& value, const Place& place) {
    if (!value.is_array()) return;
    int told = 0;
    const auto check = [&](const json& number, const auto& where) {
      if (!IsSound(number) && ++told <= kMostOfAList) CheckNumber(number, where(), REQUEST_NUMBER);
    };
    const bool by_segment = !value.empty() && value[0].is_number();
    for (std::size_t i = 0; i < value.size(); ++i) {
      if (!value[i].is_array() || by_segment) {
        check(value[i], [&] { return Element(place, i); });
        continue;
      }
      for (std::size_t j = 0; j < value[i].size(); ++j) {
        check(value[i][j], [&] { return Element(Element(place, i), j); });
      }
    }
  }

  void CheckSegments(const json& value, const Place& place) {
    if (!value.is_array()) return;
    int told = 0;
    for (std::size_t i = 0; i < value.size() && told < kMostOfAList; ++i) {
      if (!value[i].is_array()) {
        Reads(value[i], Element(place, i), "a segment without points", Severity::kError);
        ++told;
        continue;
      }
      for (std::size_t j = 0; j < value[i].size() && told < kMostOfAList; ++j) {
        const json& point = value[i][j];
        const bool sound = point.is_array() && point.size() == 3 &&
                           std::all_of(point.begin(), point.end(), IsSound);
        if (sound) continue;
        _name = "this point";
        CheckTriple(point, Element(Element(place, i), j));
        ++told;
      }
    }
  }

  Context& _context;
  std::string _name;
};

void CheckKinds(Context& context) {
  Kinds kinds(context);
  for (const RequestKey& row : context.type()->_request) {
    const json* value = context.ValueOf(row.place, row.key);
    if (value == nullptr) continue;
    const Member* member = context.MemberOf(row.place, row.key);
    kinds.Check(row, *value, {member->at, PathOf(row.place, row.key)});
  }
}

/// What the class refuses by its table.
void CheckRules(Context& context) {
  const auto refuse = [&](const RequestKey& row, const std::string& text) {
    context.Tell(Severity::kError, row.place, row.key, Quoted(row.key) + text);
    context.SetRefused();
  };
  for (const RequestKey& row : context.type()->_request) {
    const json* value = context.ValueOf(row.place, row.key);
    if (value == nullptr) {
      if (row.required) refuse(row, " is missing in " + PlaceText(row.place) + ": " + row.meaning);
      continue;
    }
    const std::optional<double> number = context.NumberOf(row.key);
    if (number && !(*number > 0.0) && row.rule == REQUEST_POSITIVE) {
      refuse(row, " has to be above 0, and is " + Shown(*value));
    }
    if (number && !(*number > 0.0) && row.rule == REQUEST_IF_POSITIVE) {
      context.Tell(Severity::kWarning, row.place, row.key,
                   Quoted(row.key) + " is not above 0, and counts as absent");
    }
    const std::optional<Eigen::Vector3d> triple = context.TripleOf(row.key);
    if (row.kind == REQUEST_DIRECTION && triple && triple->norm() <= 1e-12 &&
        (row.required || row.rule == REQUEST_NOT_ZERO)) {
      refuse(row, " is a direction without a length");
    }
  }
}

void TellType(Context& context) {
  if (context.ObjectOf(REQUEST_FEATURE) == nullptr) {
    return context.Tell(Severity::kError, REQUEST_ROOT, "Feature",
                        "the request has no object \"Feature\"");
  }
  std::set<std::string> types;
  for (const FeatureDescriptor* type : RequestedTypes()) types.insert(type->_request_type);
  const json* type = context.ValueOf(REQUEST_FEATURE, "$type");
  context.Tell(Severity::kError, REQUEST_FEATURE, "$type",
               type == nullptr ? "\"Feature\" has no \"$type\""
                               : "there is no feature type " + Shown(*type) +
                                     Meant(Nearest(context.type_name(), types)));
}

}  // namespace

void CheckKeys(Context& context) {
  if (context.type() == nullptr) return TellType(context);
  CheckMembers(context);
  CheckKinds(context);
  CheckRules(context);
}

}  // namespace libmfx::host::check
