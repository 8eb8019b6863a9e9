#include "host/nearest.h"

#include <algorithm>
#include <numeric>

namespace libmfx::host {
namespace {

std::string Lower(std::string_view text) {
  std::string lower(text);
  // Not std::tolower: names of calls, options and keys are ASCII, whatever the locale.
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

/// How many characters are missing, too many, wrong or swapped with the next.
std::size_t Mistypes(const std::string& a, const std::string& b) {
  std::vector<std::size_t> before_last;
  std::vector<std::size_t> last(b.size() + 1);
  std::iota(last.begin(), last.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::vector<std::size_t> row(b.size() + 1, i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t wrong = a[i - 1] == b[j - 1] ? 0 : 1;
      row[j] = std::min({row[j - 1] + 1, last[j] + 1, last[j - 1] + wrong});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        row[j] = std::min(row[j], before_last[j - 2] + 1);
      }
    }
    before_last = std::move(last);
    last = std::move(row);
  }
  return last.back();
}

bool Begins(const std::string& whole, const std::string& part) {
  const auto letters = std::count_if(part.begin(), part.end(), [](char c) { return c != '-'; });
  return letters >= 3 && whole.starts_with(part);
}

}  // namespace

std::string Nearest(std::string_view word, const std::vector<std::string>& candidates) {
  std::size_t longest = 0;
  for (const std::string& candidate : candidates) longest = std::max(longest, candidate.size());
  // What is longer than this can only begin with a candidate.
  const std::string typed = Lower(word.substr(0, 2 * longest + 2));
  std::string nearest;
  std::size_t fewest = 0;
  for (const std::string& candidate : candidates) {
    const std::string meant = Lower(candidate);
    const std::size_t most = std::max<std::size_t>(1, meant.size() / 3);
    std::size_t mistypes = Mistypes(typed, meant);
    if (mistypes > most) {
      if (!Begins(meant, typed) && !Begins(typed, meant)) continue;
      mistypes = most + 1;
    }
    if (nearest.empty() || mistypes < fewest) {
      nearest = candidate;
      fewest = mistypes;
    }
  }
  return nearest;
}

}  // namespace libmfx::host
