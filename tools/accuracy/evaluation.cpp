#include "tools/accuracy/evaluation.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <istream>
#include <map>
#include <numeric>
#include <ostream>
#include <regex>
#include <set>
#include <stdexcept>

#include "sim/scene.h"

namespace libmfx::accuracy {
namespace {

constexpr std::uint64_t kSeed = 20260101;

/// What the runs of one condition came to.
struct Tally {
  int runs = 0;
  int successes = 0;
  int warned = 0;                           ///< successes that carry a warning
  std::vector<std::vector<double>> errors;  ///< of all successes, by quantity, absolute values
  std::vector<int> wrong;                   ///< errors beyond the limit without a warning
  std::map<std::string, int> failures;      ///< by their text
  std::map<std::string, int> warnings;      ///< successes that carry one, by its kind
};

std::string IdOf(const Campaign& campaign, std::size_t condition, int run) {
  return campaign.name + "/" + std::to_string(condition) + "/" + std::to_string(run);
}

/// Three significant digits, for a table.
std::string Cell(double value) {
  if (!std::isfinite(value)) return "not finite";
  const double size = std::abs(value);
  const int decimals = size >= 100.0 ? 0 : size >= 10.0 ? 1 : size >= 1.0 ? 2 : 3;
  char buffer[400];
  const auto end =
      std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
  return {buffer, end.ptr};
}

std::size_t ConditionOf(const json& job) {
  const std::string id = job.at("id").get<std::string>();
  const std::size_t begin = id.find('/') + 1;
  return static_cast<std::size_t>(std::stoul(id.substr(begin, id.find('/', begin) - begin)));
}

/// The text of a warning without its figures, by which warnings of one kind are counted together.
std::string KindOf(const std::string& warning) {
  // A digit within a word is part of a name.
  static const std::regex number(R"((^|[^\w.])[-+]?\d+(\.\d+)?(e[-+]?\d+)?)", std::regex::icase);
  return std::regex_replace(warning, number, "$1…");
}

/// Counts the warnings of a success; a kind that it carries several times counts once.
/// \returns whether there is one
bool CountWarnings(const json& result, Tally& tally) {
  std::set<std::string> kinds;
  for (const json& warning : result.value("Warnings", json::array())) {
    kinds.insert(KindOf(warning.get<std::string>()));
  }
  for (const std::string& kind : kinds) ++tally.warnings[kind];
  if (!kinds.empty()) ++tally.warned;
  return !kinds.empty();
}

void Count(const Campaign& campaign, const json& job, const json& answer, Tally& tally) {
  ++tally.runs;
  if (answer.contains("error")) {
    ++tally.failures[answer["error"].get<std::string>()];
    return;
  }
  const json& result = answer.at("result");
  if (result.value("Success", json()) != json(true)) {
    ++tally.failures[result.value("ErrorMessage", "(no text)")];
    return;
  }
  ++tally.successes;
  const bool warned = CountWarnings(result, tally);
  const json truth = sim::Scene::FromJson(job.at("scene")).TruthJson();
  const std::vector<double> errors = campaign.errors({job.at("request"), result, truth});
  std::size_t at = 0;
  for (std::size_t q = 0; q < campaign.quantities.size(); ++q) {
    for (int k = 0; k < campaign.quantities[q].values && at < errors.size(); ++k) {
      // What is not a number is as wrong as can be, and sorts last.
      const double size = std::abs(errors[at++]);
      tally.errors[q].push_back(std::isnan(size) ? INFINITY : size);
      if (!warned && tally.errors[q].back() > campaign.quantities[q].limit) ++tally.wrong[q];
    }
  }
  const auto wanted =
      std::accumulate(campaign.quantities.begin(), campaign.quantities.end(), 0,
                      [](int sum, const Quantity& quantity) { return sum + quantity.values; });
  if (static_cast<int>(errors.size()) != wanted) {
    throw std::runtime_error(campaign.name + ": an error for each quantity is wanted");
  }
}

void AppendRows(const Campaign& campaign, const Condition& condition, Tally& tally,
                std::string& text) {
  for (std::size_t q = 0; q < campaign.quantities.size(); ++q) {
    const Quantity& quantity = campaign.quantities[q];
    std::vector<double>& errors = tally.errors[q];
    std::sort(errors.begin(), errors.end());
    const auto cell = [&](double share) {
      return errors.empty() ? std::string("–") : Cell(quantity.scale * Quantile(errors, share));
    };
    text +=
        "| " + (q == 0 ? condition.label : std::string()) + " | " +
        (q == 0 ? std::to_string(tally.runs) : std::string()) + " | " +
        (q == 0 ? Cell(100.0 * tally.successes / std::max(tally.runs, 1)) + " %" : std::string()) +
        " | " + (q == 0 ? std::to_string(tally.warned) : std::string()) + " | " + quantity.name +
        ", " + quantity.unit + " | " + cell(0.5) + " | " + cell(0.95) + " | " + cell(1.0) + " | " +
        Cell(quantity.scale * quantity.limit) + " | " + std::to_string(tally.wrong[q]) + " |\n";
  }
}

/// Lists texts below the table, with the number of runs that had each.
/// \param texts one of the tallies' counts by text
void AppendTexts(const std::string& heading, std::map<std::string, int> Tally::*texts,
                 const std::vector<Tally>& tallies, const Campaign& campaign, std::string& text) {
  bool any = false;
  for (std::size_t c = 0; c < tallies.size(); ++c) {
    for (const auto& [what, count] : tallies[c].*texts) {
      if (!any) text += "\n" + heading + ":\n\n";
      any = true;
      text += "- " + campaign.conditions[c].label + ": " + std::to_string(count) + " times `" +
              what + "`\n";
    }
  }
}

}  // namespace

double Quantile(const std::vector<double>& sorted, double share) {
  const double rank = std::ceil(share * static_cast<double>(sorted.size()));
  const std::size_t index = static_cast<std::size_t>(std::max(rank, 1.0)) - 1;
  return sorted.at(std::min(index, sorted.size() - 1));
}

void WriteJobs(const Campaign& campaign, int runs, std::ostream& out) {
  for (std::size_t c = 0; c < campaign.conditions.size(); ++c) {
    for (int run = 0; run < runs; ++run) {
      const std::string id = IdOf(campaign, c, run);
      sim::Rng rng(sim::DeriveSeed(kSeed, id));
      Job job = campaign.draw(campaign.conditions[c], rng);
      job.scene["noise"] = job.scene.value("noise", json(campaign.conditions[c].noise));
      out << json{{"id", id}, {"request", job.request}, {"scene", job.scene}}.dump() << '\n';
    }
  }
}

std::string Section(const Campaign& campaign, std::istream& jobs, std::istream& answers,
                    const std::string& command) {
  Tally empty;
  empty.errors.resize(campaign.quantities.size());
  empty.wrong.resize(campaign.quantities.size());
  std::vector<Tally> tallies(campaign.conditions.size(), empty);
  std::string job_line;
  std::string answer_line;
  while (std::getline(jobs, job_line)) {
    if (!std::getline(answers, answer_line)) throw std::runtime_error("an answer is missing");
    const json job = json::parse(job_line);
    const json answer = json::parse(answer_line);
    if (answer.at("id") != job.at("id")) {
      throw std::runtime_error("the answer to " + job.at("id").dump() + " is one to " +
                               answer.at("id").dump());
    }
    Count(campaign, job, answer, tallies.at(ConditionOf(job)));
  }
  std::string text = "## " + campaign.title + "\n\n" + campaign.what + "\n\n`" + command + "`\n\n";
  text +=
      "| condition | runs | measured | warned | error of | median | 95 % | largest | limit | wrong "
      "|\n";
  text += "|---|--:|--:|--:|---|--:|--:|--:|--:|--:|\n";
  for (std::size_t c = 0; c < tallies.size(); ++c) {
    AppendRows(campaign, campaign.conditions[c], tallies[c], text);
  }
  AppendTexts("Runs that were not measured", &Tally::failures, tallies, campaign, text);
  AppendTexts("Runs that were measured with a warning", &Tally::warnings, tallies, campaign, text);
  return text;
}

}  // namespace libmfx::accuracy
