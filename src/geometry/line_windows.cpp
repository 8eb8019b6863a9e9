#include "line_windows.h"

#include <algorithm>

#include "lanes.h"
#include "libmfx/math/gaussian_window.h"

namespace libmfx::geometry {
namespace {

/// Windows of more samples are rare, and many of them would take more room than the samples do.
constexpr Eigen::Index kLongestKept = 1024;

Eigen::Index CountInUse(const double* weights, Eigen::Index columns) {
  PairMask in_use{};
  Eigen::Index i = 0;
  for (; i + 1 < columns; i += 2) in_use += Pair{weights[i], weights[i + 1]} > 0.0;
  Eigen::Index count = -(in_use[0] + in_use[1]);
  if (i < columns && weights[i] > 0.0) ++count;
  return count;
}

}  // namespace

const std::vector<double>& LineWindows::Window(Eigen::Index samples) {
  const auto make = [&] { return math::GaussianWindow(static_cast<unsigned>(samples), _sigma); };
  if (samples > kLongestKept) {
    if (_long.size() != static_cast<std::size_t>(samples)) _long = make();
    return _long;
  }
  const auto place = static_cast<std::size_t>(samples);
  if (_kept.size() <= place) _kept.resize(place + 1);
  if (_kept[place].empty()) _kept[place] = make();
  return _kept[place];
}

Eigen::Index LineWindows::Apply(double* weights, Eigen::Index columns, bool reversed) {
  const Eigen::Index samples = CountInUse(weights, columns);
  if (samples == 0) return 0;
  const std::vector<double>& window = Window(samples);
  double* const end = weights + columns;
  double* first = std::find(weights, end, 1.0);
  if (CountInUse(first, std::min(samples, end - first)) == samples) {
    // One unbroken run, as most lines have.
    reversed ? std::copy(window.rbegin(), window.rend(), first)
             : std::copy(window.begin(), window.end(), first);
    return samples;
  }
  const Eigen::Index step = reversed ? -1 : 1;
  const double* next = reversed ? &window.back() : &window.front();
  for (; first < end; ++first) {
    if (*first == 0.0) continue;
    *first = *next;
    next += step;
  }
  return samples;
}

}  // namespace libmfx::geometry
