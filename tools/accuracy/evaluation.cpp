#include "tools/accuracy/evaluation.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <istream>
#include <map>
#include <numeric>
#include <regex>
#include <set>
#include <stdexcept>

#include "sim/scene.h"
#include "tools/accuracy/jobs.h"

namespace libmfx::accuracy {
namespace {

constexpr double kCoverage = 2.0;  // standard uncertainties

/// What the runs of one condition came to.
struct Tally {
  int runs = 0;
  int successes = 0;
  int warned = 0;                           ///< successes that carry a warning
  std::vector<std::vector<double>> errors;  ///< of all successes, by quantity, absolute values
  std::vector<int> wrong;                   ///< errors beyond the limit without a warning
  int wrong_runs = 0;                       ///< with at least one of them
  int told = 0;                             ///< successes that tell their uncertainties
  std::vector<int> within;                  ///< of all errors, within kCoverage of them
  std::map<std::string, int> failures;      ///< by their text
  std::map<std::string, int> warnings;      ///< successes that carry one, by its kind
};

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

std::string Percent(int part, int whole) { return Cell(100.0 * part / std::max(whole, 1)) + " %"; }

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

/// Counts the errors within their uncertainties.
/// \param errors how many there are
void CountWithin(const Campaign& campaign, const Result& seen, std::size_t errors, Tally& tally) {
  const std::vector<double> shares = campaign.in_uncertainties(seen);
  if (shares.size() != errors) {
    throw std::runtime_error(campaign.name + ": an uncertainty for each error is wanted");
  }
  ++tally.told;
  std::size_t at = 0;
  for (std::size_t q = 0; q < campaign.quantities.size(); ++q) {
    for (int k = 0; k < campaign.quantities[q].values; ++k) {
      if (std::abs(shares[at++]) <= kCoverage) ++tally.within[q];
    }
  }
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
  const json uncertainty = answer.value("uncertainty", json());
  const Result seen{job.at("request"), result, truth, uncertainty};
  const std::vector<double> errors = campaign.errors(seen);
  bool is_wrong = false;
  std::size_t at = 0;
  for (std::size_t q = 0; q < campaign.quantities.size(); ++q) {
    for (int k = 0; k < campaign.quantities[q].values && at < errors.size(); ++k) {
      // What is not a number is as wrong as can be, and sorts last.
      const double size = std::abs(errors[at++]);
      tally.errors[q].push_back(std::isnan(size) ? INFINITY : size);
      const bool is_beyond = !std::isfinite(size) || size > campaign.quantities[q].limit;
      if (warned || !is_beyond) continue;
      ++tally.wrong[q];
      is_wrong = true;
    }
  }
  tally.wrong_runs += is_wrong ? 1 : 0;
  const auto wanted =
      std::accumulate(campaign.quantities.begin(), campaign.quantities.end(), 0,
                      [](int sum, const Quantity& quantity) { return sum + quantity.values; });
  if (static_cast<int>(errors.size()) != wanted) {
    throw std::runtime_error(campaign.name + ": an error for each quantity is wanted");
  }
  if (campaign.in_uncertainties != nullptr && !uncertainty.is_null()) {
    CountWithin(campaign, seen, errors.size(), tally);
  }
}

/// A row of a table from its cells.
std::string RowOf(const std::vector<std::string>& cells) {
  std::string row = "|";
  for (const std::string& cell : cells) row += " " + cell + " |";
  return row + "\n";
}

/// The head of the table: a text is aligned to the left.
std::string HeadOf(const Campaign& campaign) {
  std::vector<std::string> names = {"condition", "runs", "measured", "warned"};
  if (campaign.tells_runs) names.emplace_back("wrong runs");
  for (const char* name : {"error of", "median", "95 %", "largest", "limit", "wrong"}) {
    names.emplace_back(name);
  }
  if (campaign.in_uncertainties != nullptr) names.emplace_back("within 2 u");
  std::string rule = "|";
  for (const std::string& name : names) {
    rule += name == "condition" || name == "error of" ? "---|" : "--:|";
  }
  return RowOf(names) + rule + "\n";
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
    const bool is_limited = std::isfinite(quantity.limit);
    std::vector<std::string> cells(campaign.tells_runs ? 5 : 4);
    if (q == 0) {
      cells[0] = condition.label;
      cells[1] = std::to_string(tally.runs);
      cells[2] = Percent(tally.successes, tally.runs);
      cells[3] = campaign.tells_runs ? Percent(tally.warned, tally.successes)
                                     : std::to_string(tally.warned);
      if (campaign.tells_runs) cells[4] = std::to_string(tally.wrong_runs);
    }
    for (const std::string& more :
         {quantity.name + ", " + quantity.unit, cell(0.5), cell(0.95), cell(1.0),
          is_limited ? Cell(quantity.scale * quantity.limit) : std::string("–"),
          is_limited ? std::to_string(tally.wrong[q]) : std::string("–")}) {
      cells.push_back(more);
    }
    if (campaign.in_uncertainties != nullptr) {
      cells.push_back(tally.told == 0 ? "–"
                                      : Percent(tally.within[q], tally.told * quantity.values));
    }
    text += RowOf(cells);
  }
}

/// The head of a compact table.
std::string CompactHeadOf(const Campaign& campaign) {
  std::vector<std::string> names = {"condition", "measured", "warned", "wrong"};
  std::string rule = "|---|--:|--:|--:|";
  for (const Quantity& quantity : campaign.quantities) {
    names.push_back(quantity.name + ", " + quantity.unit);
    rule += "--:|";
  }
  return RowOf(names) + rule + "\n";
}

void AppendCompactRow(const Campaign& campaign, const Condition& condition, Tally& tally,
                      std::string& text) {
  std::vector<std::string> cells = {condition.label, Percent(tally.successes, tally.runs),
                                    Percent(tally.warned, tally.successes),
                                    std::to_string(tally.wrong_runs)};
  for (std::size_t q = 0; q < campaign.quantities.size(); ++q) {
    std::vector<double>& errors = tally.errors[q];
    std::sort(errors.begin(), errors.end());
    std::string cell = errors.empty() ? "–" : "";
    for (const double share : {0.5, 0.95, 1.0}) {
      if (errors.empty()) break;
      cell += (cell.empty() ? "" : " / ") +
              Cell(campaign.quantities[q].scale * Quantile(errors, share));
    }
    cells.push_back(cell);
  }
  text += RowOf(cells);
}

/// Lists each text once, with the runs that had it and the condition that has most of them; texts
/// that differ in figures alone are one.
void AppendCompactTexts(const std::string& heading, std::map<std::string, int> Tally::*texts,
                        const std::vector<Tally>& tallies, const Campaign& campaign,
                        std::string& text) {
  struct Told {
    int runs = 0;
    int most = 0;
    std::size_t where = 0;
  };
  std::map<std::string, Told> all;
  for (std::size_t c = 0; c < tallies.size(); ++c) {
    std::map<std::string, int> here;
    for (const auto& [what, count] : tallies[c].*texts) here[KindOf(what)] += count;
    for (const auto& [what, count] : here) {
      Told& told = all[what];
      told.runs += count;
      if (count > told.most) told.most = count, told.where = c;
    }
  }
  if (!all.empty()) text += "\n" + heading + ":\n\n";
  for (const auto& [what, told] : all) {
    text += "- " + std::to_string(told.runs) + " times `" + what + "`, " +
            std::to_string(told.most) + " of them with: " + campaign.conditions[told.where].label +
            "\n";
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

std::string Section(const Campaign& campaign, std::istream& jobs, std::istream& answers,
                    const std::string& command) {
  Tally empty;
  empty.errors.resize(campaign.quantities.size());
  empty.wrong.resize(campaign.quantities.size());
  empty.within.resize(campaign.quantities.size());
  std::vector<Tally> tallies(campaign.conditions.size(), empty);
  std::set<std::string> ids;
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
    const Run run = RunOf(job.at("id"));
    if (run.campaign != campaign.name || run.condition >= tallies.size()) {
      throw std::runtime_error(job.at("id").dump() + " is no run of " + campaign.name);
    }
    if (!ids.insert(job.at("id")).second) {
      throw std::runtime_error("the run " + job.at("id").dump() + " is there twice");
    }
    Count(campaign, job, answer, tallies[run.condition]);
  }
  if (std::getline(answers, answer_line)) throw std::runtime_error("a job is missing");
  std::string text = "## " + campaign.title + "\n\n" + campaign.what + "\n\n`" + command + "`\n\n";
  const auto append_row = campaign.is_compact ? AppendCompactRow : AppendRows;
  const auto append_texts = campaign.is_compact ? AppendCompactTexts : AppendTexts;
  text += campaign.is_compact ? CompactHeadOf(campaign) : HeadOf(campaign);
  for (std::size_t c = 0; c < tallies.size(); ++c) {
    if (tallies[c].runs > 0) append_row(campaign, campaign.conditions[c], tallies[c], text);
  }
  append_texts("Runs that were not measured", &Tally::failures, tallies, campaign, text);
  append_texts("Runs that were measured with a warning", &Tally::warnings, tallies, campaign, text);
  return text;
}

}  // namespace libmfx::accuracy
