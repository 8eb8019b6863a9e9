#include "geometry/sweep/tie_queue.h"

#include <algorithm>
#include <bit>
#include <cstddef>

namespace libmfx::geometry::sweep {
namespace {

constexpr std::size_t kBits = 64;
/// A raster of 1e8 points has no more than half as many bottoms in a row.
constexpr std::size_t kMostCrowds = 32;

std::uint64_t Bit(std::size_t number) { return std::uint64_t{1} << (number % kBits); }

}  // namespace

/// Lengthens the levels as far as the number needs them, and each as far as all words below it do.
void NumberSet::Reach(std::size_t number) {
  if (_levels.empty()) _levels.emplace_back(1, 0);
  for (std::size_t level = 0;; ++level) {
    const std::size_t needed = number / kBits + 1;
    if (needed > _levels[level].size()) {
      _levels[level].resize(std::max(needed, 2 * _levels[level].size()), 0);
    }
    if (_levels[level].size() == 1) return;
    number = _levels[level].size() - 1;
    if (level + 1 == _levels.size()) _levels.emplace_back(1, _levels[level].front() != 0 ? 1 : 0);
  }
}

void NumberSet::Insert(int number) {
  auto at = static_cast<std::size_t>(number);
  if (_levels.empty() || at / kBits >= _levels.front().size()) Reach(at);
  for (Words& words : _levels) {
    std::uint64_t& word = words[at / kBits];
    const bool is_known_above = word != 0;
    word |= Bit(at);
    if (is_known_above) return;
    at /= kBits;
  }
}

int NumberSet::First() const {
  std::size_t at = 0;
  for (auto words = _levels.rbegin(); words != _levels.rend(); ++words) {
    at = at * kBits + static_cast<std::size_t>(std::countr_zero((*words)[at]));
  }
  return static_cast<int>(at);
}

void NumberSet::Remove(int number) {
  auto at = static_cast<std::size_t>(number);
  for (Words& words : _levels) {
    std::uint64_t& word = words[at / kBits];
    word &= ~Bit(at);
    if (word != 0) return;
    at /= kBits;
  }
}

bool TieQueue::Tie::operator<(const Tie& other) const {
  if (y != other.y) return y < other.y;
  if (y_low != other.y_low) return y_low < other.y_low;
  return circle > other.circle;
}

void TieQueue::Push(const Tie& tie) {
  const bool is_only = Empty();
  // Most ties belong to one of the highest.
  std::size_t place = _crowds.size();
  const auto is_above = [&tie](const Crowd& crowd) {
    return crowd.y > tie.y || (crowd.y == tie.y && crowd.y_low > tie.y_low);
  };
  while (place > 0 && is_above(_crowds[place - 1])) --place;
  const bool is_known =
      place > 0 && _crowds[place - 1].y == tie.y && _crowds[place - 1].y_low == tie.y_low;
  const bool in_crowd = is_known || _crowds.size() < kMostCrowds;
  if (is_known) {
    NumbersOf(_crowds[place - 1]).Insert(tie.circle);
  } else if (in_crowd) {
    AddCrowd(place, tie);
  } else {
    _others.push_back(tie);
    std::push_heap(_others.begin(), _others.end());
  }
  if (is_only || _first < tie) {
    _first = tie;
    _first_in_crowd = in_crowd;
  }
}

void TieQueue::AddCrowd(std::size_t place, const Tie& tie) {
  if (_free_sets.empty()) {
    _free_sets.push_back(_sets.size());
    _sets.emplace_back();
  }
  const Crowd crowd = {tie.y, tie.y_low, _free_sets.back()};
  _free_sets.pop_back();
  NumbersOf(crowd).Insert(tie.circle);
  _crowds.insert(_crowds.begin() + static_cast<std::ptrdiff_t>(place), crowd);
}

void TieQueue::Pop() {
  if (_first_in_crowd) {
    const Crowd& crowd = _crowds.back();
    NumbersOf(crowd).Remove(_first.circle);
    if (NumbersOf(crowd).Empty()) {
      _free_sets.push_back(crowd.numbers);
      _crowds.pop_back();
    }
  } else {
    std::pop_heap(_others.begin(), _others.end());
    _others.pop_back();
  }
  FindFirst();
}

void TieQueue::FindFirst() {
  _first_in_crowd = !_crowds.empty();
  if (_first_in_crowd) {
    const Crowd& crowd = _crowds.back();
    _first = {crowd.y, crowd.y_low, NumbersOf(crowd).First()};
  }
  if (!_others.empty() && (!_first_in_crowd || _first < _others.front())) {
    _first = _others.front();
    _first_in_crowd = false;
  }
}

}  // namespace libmfx::geometry::sweep
