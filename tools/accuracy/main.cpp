// mfx_accuracy: draws the jobs of a Monte-Carlo campaign and compares the answers with the truth.
// scripts/accuracy.sh holds the two together; campaign.h tells how a type gets its campaign.
//
//   mfx_accuracy list                                  names of the campaigns
//   mfx_accuracy jobs NAME RUNS                        jobs for `mfx batch`, RUNS a condition
//   mfx_accuracy section NAME JOBS ANSWERS COMMAND     the section of docs/accuracy.md

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/accuracy/campaign.h"
#include "tools/accuracy/evaluation.h"

namespace {

using namespace libmfx::accuracy;

const Campaign& Find(const std::string& name) {
  const auto& campaigns = Campaigns();
  const auto found = std::find_if(campaigns.begin(), campaigns.end(),
                                  [&](const Campaign& c) { return c.name == name; });
  if (found == campaigns.end()) throw std::runtime_error("there is no campaign '" + name + "'");
  return *found;
}

int RunsOf(const std::string& text) {
  int runs = 0;
  const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), runs);
  if (status != std::errc() || end != text.data() + text.size() || runs < 1) {
    throw std::runtime_error("a count of runs is wanted, not '" + text + "'");
  }
  return runs;
}

std::ifstream Open(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path);
  return file;
}

void Carry(const std::vector<std::string>& words) {
  const std::string call = words.empty() ? "" : words[0];
  if (call == "list" && words.size() == 1) {
    for (const Campaign& campaign : Campaigns()) std::cout << campaign.name << '\n';
  } else if (call == "jobs" && words.size() == 3) {
    WriteJobs(Find(words[1]), RunsOf(words[2]), std::cout);
  } else if (call == "section" && words.size() == 5) {
    std::ifstream jobs = Open(words[2]);
    std::ifstream answers = Open(words[3]);
    std::cout << Section(Find(words[1]), jobs, answers, words[4]);
  } else {
    throw std::runtime_error(
        "usage: mfx_accuracy list | jobs NAME RUNS | section NAME JOBS ANSWERS COMMAND");
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
