#include "tools/accuracy/jobs.h"

#include <charconv>
#include <cstdint>
#include <ostream>
#include <stdexcept>

#include "sim/rng.h"
#include "tools/accuracy/disturbances.h"

namespace libmfx::accuracy {
namespace {

constexpr std::uint64_t kSeed = 20260101;

std::string IdOf(const Campaign& campaign, std::size_t condition, int run) {
  return campaign.name + "/" + std::to_string(condition) + "/" + std::to_string(run);
}

json DrawJob(const Campaign& campaign, std::size_t condition, int run) {
  const std::string id = IdOf(campaign, condition, run);
  sim::Rng rng(sim::DeriveSeed(kSeed, id));
  const Condition& told = campaign.conditions[condition];
  const std::size_t turn = static_cast<std::size_t>(run);
  const Condition& drawn = told.plain.empty() ? told : told.plain[turn % told.plain.size()];
  Job job = campaign.draw(drawn, rng);
  if (!told.spoilt.empty()) Spoil(told, job, rng);
  job.scene["noise"] = job.scene.value("noise", json(drawn.noise));
  // The seed that a batch gives a job by its id.
  return {{"id", id},
          {"request", job.request},
          {"scene", job.scene},
          {"seed", sim::DeriveSeed(0, json(id).dump())}};
}

bool IsWanted(const Condition& condition, std::size_t number, const std::string& wanted) {
  if (const auto index = NumberOf(wanted)) return static_cast<std::size_t>(*index) == number;
  return condition.label.find(wanted) != std::string::npos;
}

}  // namespace

std::optional<int> NumberOf(std::string_view text) {
  int number = 0;
  const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (status != std::errc() || end != text.data() + text.size() || number < 0) return std::nullopt;
  return number;
}

Run RunOf(const std::string& id) {
  const std::size_t first = id.find('/');
  const std::size_t second = id.find('/', first + 1);
  if (first != std::string::npos && second != std::string::npos) {
    const std::string_view rest(id);
    const auto condition = NumberOf(rest.substr(first + 1, second - first - 1));
    const auto number = NumberOf(rest.substr(second + 1));
    if (condition && number) {
      return {id.substr(0, first), static_cast<std::size_t>(*condition), *number};
    }
  }
  throw std::runtime_error("a run is wanted as in hole/0/12, not '" + id + "'");
}

void WriteJobs(const Campaign& campaign, const Runs& runs, std::ostream& out) {
  bool any = false;
  for (std::size_t c = 0; c < campaign.conditions.size(); ++c) {
    if (!runs.condition.empty() && !IsWanted(campaign.conditions[c], c, runs.condition)) continue;
    any = true;
    for (int k = 0; k < runs.count; ++k) {
      out << DrawJob(campaign, c, runs.first + k).dump() << '\n';
    }
  }
  if (!any) {
    throw std::runtime_error(campaign.name + " has no condition '" + runs.condition + "'");
  }
}

json JobOf(const std::string& id) {
  const Run run = RunOf(id);
  const Campaign& campaign = CampaignOf(run.campaign);
  if (run.condition >= campaign.conditions.size()) {
    throw std::runtime_error(campaign.name + " has no condition " + std::to_string(run.condition));
  }
  return DrawJob(campaign, run.condition, run.number);
}

}  // namespace libmfx::accuracy
