// The campaigns over parts and instruments that something spoils.

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/accuracy/disturbances.h"

namespace libmfx::accuracy {
namespace {

/// The conditions whose parts meet a disturbance.
std::vector<Condition> Meeting(const Disturbance& one, const Campaign& campaign,
                               const std::vector<Condition>& conditions) {
  std::vector<Condition> meeting;
  std::copy_if(conditions.begin(), conditions.end(), std::back_inserter(meeting),
               [&](const Condition& condition) {
                 sim::Rng rng(1);
                 const Job job = campaign.draw(condition, rng);
                 return one.meets({{"request", job.request}, {"scene", job.scene}});
               });
  return meeting;
}

double ReachOf(const json& request) {
  const json& feature = request.at("Feature");
  if (feature.contains("Radius")) return feature["Radius"];
  if (feature.contains("Length")) return 0.5 * feature["Length"].get<double>();
  if (feature.contains("EdgePoint")) return 0.01;  // the surface point lies 5 to 10 mm off
  if (feature.contains("Path")) return 0.05;
  return 0.003;  // to the corner of a surface point's box
}

}  // namespace

Campaign HostileOf(const Campaign& campaign) {
  Campaign hostile = campaign;
  hostile.name = "hostile-" + campaign.name;
  hostile.title = campaign.title + ", spoilt";
  hostile.conditions.clear();
  hostile.in_uncertainties = nullptr;
  hostile.is_compact = true;
  std::vector<Condition> usual;
  for (const std::string& label : campaign.usual) {
    const auto found = std::find_if(campaign.conditions.begin(), campaign.conditions.end(),
                                    [&](const Condition& c) { return c.label == label; });
    if (found == campaign.conditions.end()) {
      throw std::runtime_error(campaign.name + " has no condition '" + label + "'");
    }
    usual.push_back(*found);
  }
  if (usual.empty()) throw std::runtime_error(campaign.name + " is not spoilt");
  hostile.what = "Drawn as the condition";
  for (std::size_t i = 0; i < campaign.usual.size(); ++i) {
    hostile.what += (i == 0 ? " \"" : " and \"") + campaign.usual[i] + "\"";
  }
  hostile.what += campaign.usual.size() > 1 ? " in turn." : ".";
  static constexpr const char* kNames[kStrengths] = {"as met daily", "bad", "absurd"};
  Condition all;
  all.label = "all at once, as met daily";
  all.plain = usual;
  for (const Disturbance& one : Disturbances()) {
    const std::vector<Condition> meeting = Meeting(one, campaign, usual);
    if (meeting.empty()) continue;
    for (int strength = 0; strength < kStrengths; ++strength) {
      Condition& condition = hostile.conditions.emplace_back();
      condition.label = one.name + ", " + kNames[strength];
      condition.plain = meeting;
      condition.spoilt = {{&one, strength}};
    }
    all.spoilt.push_back({&one, 0});
  }
  hostile.conditions.push_back(all);
  return hostile;
}

void Spoil(const Condition& condition, Job& job, sim::Rng& rng) {
  const json& part = job.scene["part"];
  const double reach = ReachOf(job.request);
  const std::string type = part["type"];
  const double top = type == "stud"   ? part["height"].get<double>()
                     : type == "ball" ? part["radius"].get<double>()
                                      : 0.0;
  // Some exclude each other, a burr and a broken edge say: which comes first is drawn.
  std::vector<Spoiling> order = condition.spoilt;
  const auto first = static_cast<std::ptrdiff_t>(rng.Uniform() * static_cast<double>(order.size()));
  std::rotate(order.begin(), order.begin() + first, order.end());
  for (const Spoiling& spoiling : order) {
    if (!spoiling.by->meets({{"request", job.request}, {"scene", job.scene}})) continue;
    spoiling.by->spoil({job, reach, top, spoiling.strength, rng});
  }
}

}  // namespace libmfx::accuracy
