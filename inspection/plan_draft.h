#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "inspection/plan.h"
#include "inspection/plan_values.h"
#include "libmfx/win32_support/request_key.h"

/// \file
/// A plan while it is read, part by part. Every part tells what is wrong with it and leaves the
/// rest to the others.

namespace libmfx::inspection {

/// Names of one kind, each of its own.
class PlanNames {
 public:
  /// Reads the name of the next one.
  /// \param what it is, for people: "feature"
  std::string Add(PlanFindings& findings, const PlanObject& object, const std::string& what);
  /// The one that a value names.
  std::optional<std::size_t> Find(PlanFindings& findings, const PlanValue& value,
                                  const std::string& what) const;
  /// Those that an array names, each once; nothing where one of them is wrong.
  std::optional<std::vector<std::size_t>> FindAll(PlanFindings& findings, const PlanValue& value,
                                                  const std::string& what, std::size_t least,
                                                  std::size_t most) const;

 private:
  std::vector<std::string> _names;
  std::unordered_map<std::string, std::size_t> _places;
};

/// Where the values of a feature's request stand.
struct RequestSource {
  PlanValue self;                         ///< the feature
  std::map<std::string, PlanValue> own;   ///< "name", "type", "nominal"
  std::map<std::string, PlanValue> root;  ///< keys of the request's root
};

struct PlanDraft {
  explicit PlanDraft(std::string_view text) : findings(text) {}

  PlanFindings findings;
  Plan plan;
  PlanNames station_names;
  PlanNames feature_names;
  bool stations_are_sound = false;  ///< all of them could be read
  std::vector<RequestSource> sources;
  /// Of each feature, whether its request could be read; the others have no geometry.
  std::vector<bool> is_sound;
  bool tells_expansion = false;

  bool AllSound(const std::vector<std::size_t>& features) const;
};

/// Keys of a request as a plan tells them: known ones, in the library's units.
struct ReadKeys {
  json values = json::object();
  std::map<std::string, PlanValue> sources;
};

/// The values of the root of a type's requests.
/// \param value an object: "options", or what "defaults" has for the type
ReadKeys ReadOptions(PlanFindings& findings, const Units& units, std::string_view type,
                     const PlanValue& value);
/// The value of "Feature" but "$type" and "Name". Tells what is missing, too.
ReadKeys ReadNominal(PlanFindings& findings, const Units& units, std::string_view type,
                     const PlanValue& value);

void ReadStations(PlanDraft& draft, const PlanValue& value);
/// \param defaults null: there are none
void ReadFeatures(PlanDraft& draft, const PlanValue& value, const PlanValue* defaults);
void ReadReferences(PlanDraft& draft, const PlanValue& value);
void ReadDatums(PlanDraft& draft, const PlanValue& value);
void ReadAlignment(PlanDraft& draft, const PlanValue& value);
void ReadCharacteristics(PlanDraft& draft, const PlanValue& value);

/// Tells of each feature that could be read what a check of its request tells.
void CheckFeatures(PlanDraft& draft);

}  // namespace libmfx::inspection
