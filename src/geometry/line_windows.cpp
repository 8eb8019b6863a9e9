#include "line_windows.h"

#include <algorithm>

#include "lanes.h"
#include "libmfx/math/gaussian_window.h"

namespace libmfx::geometry {
namespace {

/// Windows of more samples are rare, and many of them would take more room than the samples do.
constexpr Eigen::Index kLongestKept = 1024;

bool AllInUse(const double* weights, Eigen::Index columns) {
  PairMask out{};
  Eigen::Index i = 0;
  for (; i + 1 < columns; i += 2) out |= Load(weights + i) == 0.0;
  return out[0] == 0 && out[1] == 0 && (i == columns || weights[i] != 0.0);
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

void LineWindows::Apply(double* weights, Eigen::Index columns, Eigen::Index samples,
                        bool reversed) {
  if (samples == 0) return;
  const std::vector<double>& window = Window(samples);
  double* const end = weights + columns;
  double* first = std::find(weights, end, 1.0);
  if (samples <= end - first && AllInUse(first, samples)) {
    // One unbroken run, as most lines have.
    reversed ? std::copy(window.rbegin(), window.rend(), first)
             : std::copy(window.begin(), window.end(), first);
    return;
  }
  const Eigen::Index step = reversed ? -1 : 1;
  const double* next = reversed ? &window.back() : &window.front();
  for (; first < end; ++first) {
    if (*first == 0.0) continue;
    *first = *next;
    next += step;
  }
}

}  // namespace libmfx::geometry
