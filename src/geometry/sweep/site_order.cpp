#include "geometry/sweep/site_order.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "data_structures/large_pages.h"
#include "libmfx/data_structures/block_allocator.h"

namespace libmfx::geometry::sweep {
namespace {

struct Site {
  Vec2 at;
  int column;
};

/// Sites in memory that belongs to numbers, six of which are as long as a site.
class Dealt {
 public:
  explicit Dealt(Triangulation::Indices& numbers)
      : _bytes(std::as_writable_bytes(std::span(numbers))) {}
  Site At(std::size_t i) const {
    Site site;
    std::memcpy(&site, _bytes.data() + i * sizeof(Site), sizeof(Site));
    return site;
  }
  void Put(std::size_t i, const Site& site) {
    std::memcpy(_bytes.data() + i * sizeof(Site), &site, sizeof(Site));
  }

 private:
  static_assert(sizeof(Site) == 6 * sizeof(int));
  std::span<std::byte> _bytes;
};

/// Magnitudes below 2^-148 of the largest coordinate are rounded to multiples of 2^-200, which
/// larger doubles are anyway: products of five stay exact, see expansion.h.
double Quantised(double v) {
  if (std::abs(v) >= 0x1p-148) return v;
  return std::nearbyint(v * 0x1p200) * 0x1p-200;
}

/// The points that are finite, as sites.
class Source {
 public:
  Source(const Eigen::MatrixXd& points, Eigen::Index row) : _points(points), _row(row) {
    double largest = 0.0;
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    double low = kInfinity, high = -kInfinity;
    for (Eigen::Index i = 0; i < points.cols(); ++i) {
      const double x = points(row, i), y = points(row + 1, i);
      if (!std::isfinite(x) || !std::isfinite(y)) continue;
      largest = std::max({largest, std::abs(x), std::abs(y)});
      low = std::min(low, y);
      high = std::max(high, y);
      ++_size;
    }
    std::frexp(largest, &_exponent);
    _power = std::ldexp(1.0, -_exponent);
    _power_is_plain = std::isnormal(_power);
    _low = Scaled(low);
    _high = Scaled(high);
  }

  std::size_t size() const { return _size; }
  int exponent() const { return _exponent; }
  /// The range of y, in the sweep's unit.
  double low() const { return _low; }
  double high() const { return _high; }

  /// Calls `take` with each site, in the order of the columns.
  template <typename Take>
  void ForEach(Take take) const {
    for (Eigen::Index i = 0; i < _points.cols(); ++i) {
      const double x = _points(_row, i), y = _points(_row + 1, i);
      if (!std::isfinite(x) || !std::isfinite(y)) continue;
      take(Site{{Scaled(x), Scaled(y)}, static_cast<int>(i)});
    }
  }

 private:
  double Scaled(double v) const {
    // One product where the power of two is a number; it rounds as ldexp does.
    return Quantised(_power_is_plain ? v * _power : std::ldexp(v, -_exponent));
  }

  const Eigen::MatrixXd& _points;
  Eigen::Index _row;
  std::size_t _size = 0;
  int _exponent = 0;
  double _power = 1.0;
  bool _power_is_plain = true;
  double _low = 0.0, _high = 0.0;
};

/// Slices of equal height, from high to low, over a range of y.
class Slices {
 public:
  Slices(double low, double high, std::size_t count)
      : _high(high),
        _last(static_cast<double>(count - 1)),
        _a_unit(high > low ? _last / (high - low) : 0.0) {}
  std::size_t Of(const Site& site) const {
    // By way of an int, which is converted in one instruction.
    return static_cast<std::size_t>(
        static_cast<int>(std::min((_high - site.at.y) * _a_unit, _last)));
  }

 private:
  double _high, _last, _a_unit;
};

/// Whether `a` comes before `b` in the sweep: y falling, then x rising, then as they came.
bool Precedes(const Site& a, const Site& b) {
  if (a.at.y != b.at.y) return a.at.y > b.at.y;
  if (a.at.x != b.at.x) return a.at.x < b.at.x;
  return a.column < b.column;
}

/// Sorts a slice. Nearly all of them are so short that a call of the general sort costs more; the
/// rows of a raster, of equal heights, mostly come in order.
void SortSlice(Site* begin, Site* end) {
  constexpr std::ptrdiff_t kShort = 16;
  if (end - begin > kShort) {
    if (!std::is_sorted(begin, end, Precedes)) std::sort(begin, end, Precedes);
    return;
  }
  for (Site* next = begin + 1; next < end; ++next) {
    const Site site = *next;
    Site* hole = next;
    for (; hole != begin && Precedes(site, hole[-1]); --hole) *hole = hole[-1];
    *hole = site;
  }
}

using Places = std::vector<std::uint32_t, data_structures::BlockAllocator<std::uint32_t>>;

/// From the number of sites of each slice, which stands one place further, to where each begins.
void AddUp(Places& begin) {
  for (std::size_t i = 1; i < begin.size(); ++i) begin[i] += begin[i - 1];
}

/// Sorts the sites of one heap: dealt into slices, about one to a slice when they spread evenly,
/// which are sorted then.
class HeapSorter {
 public:
  /// \param largest the number of sites of the largest heap
  explicit HeapSorter(std::size_t largest) : _sites(largest) { _begin.reserve(largest + 2); }

  /// Sorts the sites from `first` on. Allocates nothing.
  /// \return the sites in order; they stay until the next call
  std::span<const Site> Sorted(const Dealt& dealt, std::size_t first, std::size_t size) {
    double low = dealt.At(first).at.y, high = low;
    for (std::size_t i = first; i < first + size; ++i) {
      const double y = dealt.At(i).at.y;
      low = std::min(low, y);
      high = std::max(high, y);
    }
    const Slices slices(low, high, size);
    _begin.assign(size + 2, 0);
    for (std::size_t i = first; i < first + size; ++i) ++_begin[slices.Of(dealt.At(i)) + 2];
    AddUp(_begin);
    // A slice's begin goes on to the next one's as it is filled.
    for (std::size_t i = first; i < first + size; ++i) {
      const Site site = dealt.At(i);
      _sites[_begin[slices.Of(site) + 1]++] = site;
    }
    for (std::size_t i = 0; i < size; ++i) {
      SortSlice(_sites.data() + _begin[i], _sites.data() + _begin[i + 1]);
    }
    return {_sites.data(), size};
  }

 private:
  std::vector<Site, data_structures::BlockAllocator<Site>> _sites;
  Places _begin;
};

/// Heaps that the processor's second cache holds while they are sorted: dealing 1e7 points at
/// random into as many slices at once took twice as long a point as dealing 1e5.
constexpr std::size_t kSitesAHeap = 4096;
/// More heaps than that, and the places where they end would not stay in the caches.
constexpr std::size_t kMostHeaps = 4096;

}  // namespace

void ReadSites(const Eigen::MatrixXd& points, Eigen::Index row, Diagram& diagram) {
  const Source source(points, row);
  diagram.exponent = source.exponent();
  if (source.size() == 0) return;
  const std::size_t heaps = std::min(source.size() / kSitesAHeap + 1, kMostHeaps);
  const Slices heap(source.low(), source.high(), heaps);
  Places begin(heaps + 2, 0);
  if (heaps == 1) {
    begin[2] = static_cast<std::uint32_t>(source.size());
  } else {
    source.ForEach([&](const Site& site) { ++begin[heap.Of(site) + 2]; });
  }
  const std::size_t largest = *std::max_element(begin.begin(), begin.end());
  AddUp(begin);
  HeapSorter sorter(largest);
  diagram.sites.reserve(source.size());
  diagram.column.reserve(source.size());
  data_structures::AdviseLargePages(diagram.sites.data(), source.size() * sizeof(Vec2));
  data_structures::AdviseLargePages(diagram.column.data(), source.size() * sizeof(int));

  // The sites are dealt in the memory that the corners of the triangles take afterwards. From here
  // on nothing is allocated.
  Triangulation::Indices& numbers = diagram.mesh.corner;
  numbers.resize(6 * source.size());
  Dealt dealt(numbers);
  source.ForEach([&](const Site& site) { dealt.Put(begin[heap.Of(site) + 1]++, site); });
  for (std::size_t i = 0; i < heaps; ++i) {
    const std::size_t size = begin[i + 1] - begin[i];
    if (size == 0) continue;
    const Site* before = nullptr;
    for (const Site& site : sorter.Sorted(dealt, begin[i], size)) {
      const Site* const last = std::exchange(before, &site);
      if (last && last->at.x == site.at.x && last->at.y == site.at.y) continue;
      diagram.sites.push_back(site.at);
      diagram.column.push_back(site.column);
    }
  }
  numbers.clear();
}

}  // namespace libmfx::geometry::sweep
