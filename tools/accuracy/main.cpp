// mfx_accuracy: draws the jobs of a Monte-Carlo campaign, measures them and compares the answers
// with the truth. scripts/accuracy.sh holds the three together; campaign.h tells how a type gets
// its campaign.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/batch_run.h"
#include "tools/accuracy/answers.h"
#include "tools/accuracy/campaign.h"
#include "tools/accuracy/coverage.h"
#include "tools/accuracy/evaluation.h"
#include "tools/accuracy/inspections.h"
#include "tools/accuracy/jobs.h"

namespace {

using namespace libmfx::accuracy;

constexpr const char* kUsage =
    "usage: mfx_accuracy CALL\n"
    "  list [hostile]                      names of the campaigns, or of those that can be "
    "spoilt;\n"
    "                                      hostile-NAME is the campaign NAME, spoilt\n"
    "  conditions NAME                     number and label of each condition of a campaign\n"
    "  jobs NAME RUNS [--condition C] [--first-run N]\n"
    "                                      jobs, RUNS for each condition, one a line; C is the\n"
    "                                      number of a condition or a part of its label\n"
    "  answers JOBS                        measures jobs, one answer a line\n"
    "  section NAME JOBS ANSWERS COMMAND   the section of docs/accuracy.md\n"
    "  coverage NAME RUNS TRIALS [wrong]   how often the truth lies within the told 95 %: rows of\n"
    "                                      docs/uncertainty.md; wrong: with half of the noise\n"
    "  inspections PLAN SCENE RUNS TRIALS [unknown]\n"
    "                                      inspections of a part placed at random: rows of\n"
    "                                      docs/inspection.md; unknown: its pose is not told\n"
    "  show RUN FOLDER                     writes request.json and scene.json of one run, which "
    "is\n"
    "                                      named as in its answer: hole/0/12";

int CountOf(const std::string& text, const std::string& what, int least) {
  const auto number = NumberOf(text);
  if (!number || *number < least) {
    throw std::runtime_error(what + " is wanted, not '" + text + "'");
  }
  return *number;
}

std::ifstream Open(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path);
  return file;
}

/// Which runs the words behind a campaign's name ask for.
Runs RunsOf(const std::vector<std::string>& words) {
  Runs runs;
  runs.count = CountOf(words[2], "a count of runs", 1);
  for (std::size_t i = 3; i < words.size(); i += 2) {
    if (i + 1 == words.size()) throw std::runtime_error(words[i] + " wants a value");
    if (words[i] == "--condition") {
      runs.condition = words[i + 1];
    } else if (words[i] == "--first-run") {
      runs.first = CountOf(words[i + 1], "the number of a run", 0);
    } else {
      throw std::runtime_error("unknown option '" + words[i] + "'\n" + kUsage);
    }
  }
  if (runs.first > std::numeric_limits<int>::max() - runs.count) {
    throw std::runtime_error("no run has a number beyond " +
                             std::to_string(std::numeric_limits<int>::max()));
  }
  return runs;
}

void Answer(const std::string& path) {
  std::ifstream jobs = Open(path);
  for (std::string line; std::getline(jobs, line);) {
    std::cout << AnswerOf(line) << '\n' << std::flush;
  }
}

void Write(const std::filesystem::path& path, const json& value) {
  std::ofstream file(path);
  if (!(file << value.dump(2) << '\n' << std::flush)) {
    throw std::runtime_error("cannot write " + path.string());
  }
}

void Show(const std::string& run, const std::filesystem::path& folder) {
  const json job = JobOf(run);
  std::filesystem::create_directories(folder);
  Write(folder / "request.json", job.at("request"));
  Write(folder / "scene.json", job.at("scene"));
  std::cout << "mfx measure " << (folder / "request.json").string() << " --scene "
            << (folder / "scene.json").string() << " --seed " << job.at("seed")
            << (job.at("request").value("SearchEnabled", false) ? " --search" : "") << '\n';
}

void Carry(const std::vector<std::string>& words) {
  const std::string call = words.empty() ? "" : words[0];
  const bool hostile = words.size() == 2 && words[1] == "hostile";
  if (call == "list" && (words.size() == 1 || hostile)) {
    for (const Campaign& campaign : Campaigns()) {
      if (!hostile || !campaign.usual.empty()) std::cout << campaign.name << '\n';
    }
  } else if (call == "conditions" && words.size() == 2) {
    int number = 0;
    for (const Condition& condition : CampaignOf(words[1]).conditions) {
      std::cout << number++ << ' ' << condition.label << '\n';
    }
  } else if (call == "jobs" && words.size() >= 3) {
    WriteJobs(CampaignOf(words[1]), RunsOf(words), std::cout);
  } else if (call == "answers" && words.size() == 2) {
    Answer(words[1]);
  } else if (call == "section" && words.size() == 5) {
    std::ifstream jobs = Open(words[2]);
    std::ifstream answers = Open(words[3]);
    std::cout << Section(CampaignOf(words[1]), jobs, answers, words[4]);
  } else if (call == "coverage" &&
             (words.size() == 4 || (words.size() == 5 && words[4] == "wrong"))) {
    std::ostringstream rows;
    TryCoverage(words[1],
                {.runs = CountOf(words[2], "a count of runs", 1),
                 .trials = CountOf(words[3], "a count of trials", 2),
                 .is_wrong = words.size() == 5,
                 .processes = libmfx::host::ProcessorsToUse()},
                rows);
    std::cout << rows.str();
  } else if (call == "inspections" &&
             (words.size() == 5 || (words.size() == 6 && words[5] == "unknown"))) {
    std::ostringstream rows;
    TryInspections({.plan = words[1],
                    .scene = words[2],
                    .runs = CountOf(words[3], "a count of runs", 1),
                    .trials = CountOf(words[4], "a count of trials", 0),
                    .is_unknown = words.size() == 6,
                    .processes = libmfx::host::ProcessorsToUse()},
                   rows);
    std::cout << rows.str();
  } else if (call == "show" && words.size() == 3) {
    Show(words[1], words[2]);
  } else {
    throw std::runtime_error(kUsage);
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    Carry({argv + 1, argv + argc});
    return std::cout.flush() ? 0 : 2;
  } catch (const std::exception& error) {
    std::cerr << "mfx_accuracy: " << error.what() << '\n';
    return 2;
  }
}
