#include "line_windows.h"

#include <algorithm>

#include "lanes.h"
#include "libmfx/math/gaussian_window.h"

namespace libmfx::geometry {
namespace {

/// Windows of more samples are rare, and many of them would take more room than the samples do.
constexpr Eigen::Index kLongestKept = 1024;

/// The windows that a thread keeps, of the widths that it used last. To make them takes 5 to 6 % of
/// the analysis of an opening, and one line's window is the next feature's too.
class KeptWindows {
 public:
  /// GaussianWindow(samples, sigma), until the next call.
  /// \param samples at most kLongestKept
  const std::vector<double>& Of(Eigen::Index samples, double sigma) {
    std::vector<std::vector<double>>& windows = WidthOf(sigma).windows;
    const auto place = static_cast<std::size_t>(samples);
    if (windows.size() <= place) windows.resize(place + 1);
    std::vector<double>& window = windows[place];
    if (window.empty()) {
      _elements += samples;
      window = math::GaussianWindow(static_cast<unsigned>(samples), sigma);
    }
    return window;
  }

 private:
  static constexpr std::size_t kMostWidths = 4;
  static constexpr Eigen::Index kMostElements = 65536;  // half a megabyte

  struct Width {
    double sigma;
    std::vector<std::vector<double>> windows;  ///< by the number of samples; empty until needed
  };

  Width& WidthOf(double sigma) {
    const auto found = std::find_if(_widths.begin(), _widths.end(),
                                    [sigma](const Width& width) { return width.sigma == sigma; });
    const bool known = found != _widths.end();
    if (known && _elements <= kMostElements) return *found;
    if (_elements > kMostElements || _widths.size() == kMostWidths) {
      _widths.clear();
      _elements = 0;
    }
    return _widths.emplace_back(Width{sigma, {}});
  }

  std::vector<Width> _widths;
  Eigen::Index _elements = 0;  ///< of all windows
};

bool AllInUse(const double* weights, Eigen::Index columns) {
  PairMask out{};
  Eigen::Index i = 0;
  for (; i + 1 < columns; i += 2) out |= Load(weights + i) == 0.0;
  return out[0] == 0 && out[1] == 0 && (i == columns || weights[i] != 0.0);
}

}  // namespace

const std::vector<double>& LineWindows::Window(Eigen::Index samples) {
  if (samples <= kLongestKept) {
    thread_local KeptWindows kept;
    return kept.Of(samples, _sigma);
  }
  if (_long.size() != static_cast<std::size_t>(samples)) {
    _long = math::GaussianWindow(static_cast<unsigned>(samples), _sigma);
  }
  return _long;
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
