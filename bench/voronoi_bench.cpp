// From scattered samples to a mesh: the sweep and the extraction together, beside a Delaunay
// triangulation of the same points by CGAL. A mesh makes the elements of its halfedge graph when
// they are asked for, which is a case of its own.
//
// The counter bytes_per_point is the peak of resident memory over what the input takes, measured
// once in a child process of its own; a mesh whose points take more than 200 bytes fails its case.
// A small set that comes again and again is learnt by heart by the branch prediction of the
// processor, and 1,000 points then take one to two thirds of what new ones take. A scan is new, so
// the cases of up to 10,000 points take turns among sets. "The same" set again is a case of its
// own, without a limit.
//
// From 10,000 points on, the cost of a point may grow by at most 1.15 to ten times as many: a mesh
// is held to that multiple of ten meshes of a tenth of its points.

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "../tests/support/protected.h"
#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/geometry/voronoi_graph.h"

#ifdef LIBMFX_HAVE_CGAL
#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#endif

namespace {

using libmfx::data_structures::EMBEDDING_XY;
using libmfx::data_structures::PointCloud;
using libmfx::geometry::Mesh;
using libmfx::geometry::VoronoiGraph;

constexpr double kMostBytes = 200.0;
constexpr double kMostGrowth = 1.15;

enum Family { kUniform, kSpiral, kGrid };

/// Uniform in a square; a spiral as the search drives it, 1 mm pitch and about 1 mm between
/// samples; a raster of 1 mm with equal coordinates. Metres. Sets of other numbers have other
/// points at random, a spiral that begins elsewhere, a wider pitch of the raster.
PointCloud MakePoints(Family family, Eigen::Index n, int set) {
  Eigen::MatrixXd data(2, n);
  const auto side = static_cast<Eigen::Index>(std::lround(std::sqrt(static_cast<double>(n))));
  std::uint64_t state = 1 + (static_cast<std::uint64_t>(set) << 32);
  const double pitch = 0.001 * (1.0 + 0.01 * set);
  const auto uniform = [&state] {
    std::uint64_t z = (state += 0x9e3779b97f4a7c15u);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return static_cast<double>((z ^ (z >> 31)) >> 11) * 0x1p-53;
  };
  double angle = 0.0;
  for (Eigen::Index i = 0; i < n; ++i) {
    if (family == kUniform) {
      const double x = uniform();
      data.col(i) << x, uniform();
    } else if (family == kSpiral) {
      const double radius = 0.001 * (1.0 + angle / (2.0 * M_PI));
      data.col(i) << radius * std::cos(angle + set), radius * std::sin(angle + set);
      angle += 0.001 / radius;
    } else {
      data.col(i) << pitch * static_cast<double>(i % side), pitch * static_cast<double>(i / side);
    }
  }
  return PointCloud(std::move(data), {{EMBEDDING_XY, {0}}});
}

/// As many sets as no processor remembers the branches of, one where one is enough.
std::vector<PointCloud> MakeSets(Family family, Eigen::Index n) {
  constexpr Eigen::Index kPoints = 32000;
  const int count = std::clamp(static_cast<int>(kPoints / n), 1, 16);
  std::vector<PointCloud> sets;
  for (int set = 0; set < count; ++set) sets.push_back(MakePoints(family, n, set));
  return sets;
}

/// Resident memory now, bytes.
double ResidentBytes() {
  std::ifstream statm("/proc/self/statm");
  double total = 0.0, resident = 0.0;
  statm >> total >> resident;
  return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

/// Runs `work` in a child and returns by how much its peak exceeds what it started with.
template <typename Work>
double PeakBytes(Work work) {
  int ends[2];
  if (pipe(ends) != 0) return 0.0;
  const pid_t child = fork();
  if (child == 0) {
    malloc_trim(0);  // what earlier rounds left free would be used again, and not be seen
    std::ofstream("/proc/self/clear_refs") << 5;  // nor would a peak below that of earlier rounds
    const double before = ResidentBytes();
    work();
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const double peak = static_cast<double>(usage.ru_maxrss) * 1024.0 - before;
    _exit(write(ends[1], &peak, sizeof peak) == sizeof peak ? 0 : 1);
  }
  close(ends[1]);
  double peak = 0.0;
  if (read(ends[0], &peak, sizeof peak) != sizeof peak) peak = 0.0;
  close(ends[0]);
  waitpid(child, nullptr, 0);
  return peak;
}

/// Calls `work` with each of the sets in turn.
/// \param most_bytes what a point may take at the peak, where there is a limit
template <typename Set, typename Work>
void Run(benchmark::State& state, const std::vector<Set>& sets, Work work,
         double most_bytes = 0.0) {
  const auto n = static_cast<double>(state.range(0));
  std::size_t turn = 0;
  for (auto _ : state) work(sets[turn++ % sets.size()]);
  state.counters["ns_per_point"] = benchmark::Counter(
      n * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  if (n < 1e5) return;
  const double bytes = PeakBytes([&] { work(sets.front()); }) / n;
  state.counters["bytes_per_point"] = bytes;
  if (most_bytes > 0.0 && !(bytes > 0.0 && bytes <= most_bytes)) {
    state.SkipWithError("the peak of memory a point is above its limit");
  }
}

void MakeMesh(const PointCloud& points) {
  VoronoiGraph graph(points);
  const std::shared_ptr<Mesh> mesh = graph.ExtractPlanarMesh();
  benchmark::DoNotOptimize(mesh->faces().data());
}

template <Family family>
void Ours(benchmark::State& state) {
  Run(state, MakeSets(family, state.range(0)), MakeMesh, kMostBytes);
}

/// Memory that was freed stays the process's: none of a benchmark's has to be asked from the system
/// and cleared. By itself the C library keeps blocks of up to 32 MiB, and so all of a mesh of a
/// million points, but none of ten million.
const bool kWarmHeap = mallopt(M_MMAP_MAX, 0) == 1 && mallopt(M_TRIM_THRESHOLD, -1) == 1;

/// The first mesh of a process: all of its memory comes from the system.
template <Family family>
void First(benchmark::State& state) {
  constexpr int kUsual = 65536;
  const PointCloud points = MakePoints(family, state.range(0), 0);
  mallopt(M_MMAP_MAX, kUsual);
  malloc_trim(0);
  for (auto _ : state) MakeMesh(points);
  mallopt(M_MMAP_MAX, 0);
  state.counters["ns_per_point"] = benchmark::Counter(
      static_cast<double>(state.range(0)) * 1e-9,
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// Ten meshes of a tenth of the points: the ratio of ours to it is the growth of a point's cost.
template <Family family>
void Tenths(benchmark::State& state) {
  const std::vector<PointCloud> sets = MakeSets(family, state.range(0) / 10);
  std::size_t turn = 0;
  for (auto _ : state) {
    for (int i = 0; i < 10; ++i) MakeMesh(sets[turn++ % sets.size()]);
  }
  state.counters["max_ratio"] = kMostGrowth;
}

template <Family family>
void Same(benchmark::State& state) {
  Run(state, std::vector<PointCloud>{MakePoints(family, state.range(0), 0)}, MakeMesh);
}

/// The same, and the first look at a map of the mesh, which makes all elements.
template <Family family>
void WithElements(benchmark::State& state) {
  Run(state, MakeSets(family, state.range(0)), [](const PointCloud& points) {
    VoronoiGraph graph(points);
    const std::shared_ptr<Mesh> mesh = graph.ExtractPlanarMesh();
    benchmark::DoNotOptimize(PROTECTED(*mesh, _interior_edges).size());
  });
}

#ifdef LIBMFX_HAVE_CGAL
using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using PeerPoints = std::vector<Kernel::Point_2>;

PeerPoints OfPeer(const PointCloud& cloud) {
  PeerPoints points;
  for (Eigen::Index i = 0; i < cloud.cols(); ++i) {
    points.emplace_back(cloud.data()(0, i), cloud.data()(1, i));
  }
  return points;
}

void Triangulate(const PeerPoints& points) {
  CGAL::Delaunay_triangulation_2<Kernel> triangulation(points.begin(), points.end());
  benchmark::DoNotOptimize(triangulation.number_of_faces());
}

template <Family family>
void Cgal(benchmark::State& state) {
  std::vector<PeerPoints> sets;
  for (const PointCloud& set : MakeSets(family, state.range(0))) sets.push_back(OfPeer(set));
  Run(state, sets, Triangulate);
  state.counters["max_ratio"] = 1.0;
}

template <Family family>
void SameCgal(benchmark::State& state) {
  Run(state, std::vector<PeerPoints>{OfPeer(MakePoints(family, state.range(0), 0))}, Triangulate);
}
#endif

void Sizes(benchmark::internal::Benchmark* bench) {
  bench->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMillisecond);
}

void SmallSize(benchmark::internal::Benchmark* bench) {
  bench->Arg(1000)->Unit(benchmark::kMillisecond);
}

/// Of ten million points only ours, for its memory and its growth.
void MoreSizes(benchmark::internal::Benchmark* bench) {
  Sizes(bench);
  bench->Arg(10000000);
}

void LargestSize(benchmark::internal::Benchmark* bench) {
  bench->Arg(10000000)->Unit(benchmark::kMillisecond);
}

void GrownSizes(benchmark::internal::Benchmark* bench) {
  bench->RangeMultiplier(10)->Range(100000, 10000000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(Ours<kUniform>)->Name("Mesh of uniform points/ours")->Apply(MoreSizes);
BENCHMARK(Ours<kSpiral>)->Name("Mesh of a spiral/ours")->Apply(MoreSizes);
BENCHMARK(Ours<kGrid>)->Name("Mesh of a grid/ours")->Apply(MoreSizes);
BENCHMARK(Tenths<kUniform>)->Name("Mesh of uniform points/ten of a tenth")->Apply(GrownSizes);
BENCHMARK(Tenths<kSpiral>)->Name("Mesh of a spiral/ten of a tenth")->Apply(GrownSizes);
BENCHMARK(Tenths<kGrid>)->Name("Mesh of a grid/ten of a tenth")->Apply(GrownSizes);
BENCHMARK(First<kUniform>)->Name("First mesh of uniform points/ours")->Apply(LargestSize);
BENCHMARK(First<kSpiral>)->Name("First mesh of a spiral/ours")->Apply(LargestSize);
BENCHMARK(First<kGrid>)->Name("First mesh of a grid/ours")->Apply(LargestSize);
BENCHMARK(Same<kUniform>)->Name("Mesh of the same uniform points/ours")->Apply(SmallSize);
BENCHMARK(Same<kSpiral>)->Name("Mesh of the same spiral/ours")->Apply(SmallSize);
BENCHMARK(Same<kGrid>)->Name("Mesh of the same grid/ours")->Apply(SmallSize);
BENCHMARK(WithElements<kUniform>)->Name("Mesh of uniform points, elements/ours")->Apply(Sizes);
BENCHMARK(WithElements<kSpiral>)->Name("Mesh of a spiral, elements/ours")->Apply(Sizes);
BENCHMARK(WithElements<kGrid>)->Name("Mesh of a grid, elements/ours")->Apply(Sizes);
#ifdef LIBMFX_HAVE_CGAL
BENCHMARK(Cgal<kUniform>)->Name("Mesh of uniform points/CGAL")->Apply(Sizes);
BENCHMARK(Cgal<kSpiral>)->Name("Mesh of a spiral/CGAL")->Apply(Sizes);
BENCHMARK(Cgal<kGrid>)->Name("Mesh of a grid/CGAL")->Apply(Sizes);
BENCHMARK(SameCgal<kUniform>)->Name("Mesh of the same uniform points/CGAL")->Apply(SmallSize);
BENCHMARK(SameCgal<kSpiral>)->Name("Mesh of the same spiral/CGAL")->Apply(SmallSize);
BENCHMARK(SameCgal<kGrid>)->Name("Mesh of the same grid/CGAL")->Apply(SmallSize);
#endif

}  // namespace
