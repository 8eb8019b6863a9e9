#include "geometry/sweep/tie_queue.h"

#include <algorithm>
#include <bit>

namespace libmfx::geometry::sweep {
namespace {

constexpr std::size_t kBits = 64;

std::uint64_t Bit(std::size_t number) { return std::uint64_t{1} << (number % kBits); }

}  // namespace

/// Lengthens the levels as far as the number needs them.
void NumberSet::Reach(std::size_t number) {
  if (_levels.empty()) _levels.emplace_back(1, 0);
  for (std::size_t level = 0;; ++level) {
    number /= kBits;
    if (number >= _levels[level].size()) {
      _levels[level].resize(std::max(number + 1, 2 * _levels[level].size()), 0);
    }
    if (_levels[level].size() == 1) return;
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
  if (_crowd.Empty()) {
    _y = tie.y;
    _y_low = tie.y_low;
  }
  const bool in_crowd = tie.y == _y && tie.y_low == _y_low;
  if (in_crowd) {
    _crowd.Insert(tie.circle);
  } else {
    _others.push_back(tie);
    std::push_heap(_others.begin(), _others.end());
  }
  if (is_only || _first < tie) {
    _first = tie;
    _first_in_crowd = in_crowd;
  }
}

void TieQueue::Pop() {
  if (_first_in_crowd) {
    _crowd.Remove(_first.circle);
  } else {
    std::pop_heap(_others.begin(), _others.end());
    _others.pop_back();
  }
  _first_in_crowd = !_crowd.Empty();
  if (_first_in_crowd) _first = {_y, _y_low, _crowd.First()};
  if (!_others.empty() && (!_first_in_crowd || _first < _others.front())) {
    _first = _others.front();
    _first_in_crowd = false;
  }
}

}  // namespace libmfx::geometry::sweep
