// Sweep, mesh and loops: any doubles as points, small lattices full of ties, and the families of
// the tests at any seed. Whatever the points, the sweep comes to its end, and the mesh is a
// Delaunay triangulation of them.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>

#include "byte_source.h"
#include "check.h"
#include "delaunay_check.h"
#include "libmfx/geometry/mesh.h"
#include "point_families.h"

namespace {

using namespace delaunay_check;

constexpr std::size_t kMostPoints = 2000;

Points TakeDoubles(ByteSource& bytes) {
  Points points;
  while (bytes.remaining() > 0 && points.size() < kMostPoints) {
    const double x = bytes.Take<double>();
    points.emplace_back(x, bytes.Take<double>());
  }
  return points;
}

Points TakeLattice(ByteSource& bytes) {
  const double pitch = std::ldexp(1.0, bytes.Take<std::int8_t>());
  Points points;
  while (bytes.remaining() > 0 && points.size() < kMostPoints) {
    const double x = pitch * bytes.Take<std::int8_t>();
    points.emplace_back(x, pitch * bytes.Take<std::int8_t>());
  }
  return points;
}

Points TakeFamily(ByteSource& bytes) {
  const auto family = static_cast<Family>(bytes.Take<std::uint8_t>() % kFamilies);
  const int n = 1 + bytes.Take<std::uint16_t>() % 500;
  return MakeFamily(family, n, bytes.Take<std::uint64_t>());
}

Points FiniteOf(const Points& points) {
  Points finite;
  for (const auto& [x, y] : points) {
    if (std::isfinite(x) && std::isfinite(y)) finite.emplace_back(x, y);
  }
  return finite;
}

/// Whether the validator's exact arithmetic holds for the points: no coordinate may be smaller than
/// 2^-140 of the largest unless it is 0.
bool AreComparable(const Points& points) {
  double largest = 0.0;
  for (const auto& [x, y] : points) largest = std::max({largest, std::abs(x), std::abs(y)});
  const double smallest = std::ldexp(largest, -140);
  const auto fits = [smallest](double v) { return v == 0.0 || std::abs(v) >= smallest; };
  return smallest > 0.0 && std::all_of(points.begin(), points.end(), [&](const auto& point) {
           return fits(point.first) && fits(point.second);
         });
}

void CheckLoops(Mesh& mesh, double limit) {
  double before = std::numeric_limits<double>::infinity();
  for (const PointCloud& loop : mesh.InteriorBoundaries(limit, false)) {
    FUZZ_CHECK(loop.rows() == 3 && loop.cols() > 0 && loop.data().allFinite());
    const double perimeter = Perimeter(loop);
    FUZZ_CHECK(!(perimeter > before * (1.0 + 1e-12)));
    before = perimeter;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ByteSource bytes(data, size);
  const int kind = bytes.Take<std::uint8_t>() % 3;
  const double limit = std::ldexp(1.0, bytes.Take<std::int8_t>() / 4);
  const Points points = kind == 0   ? TakeDoubles(bytes)
                        : kind == 1 ? TakeLattice(bytes)
                                    : TakeFamily(bytes);
  std::shared_ptr<Mesh> whole;
  const std::string stop = EarlyStop(points, whole);
  if (!stop.empty()) std::fprintf(stderr, "%s\n", stop.c_str());
  FUZZ_CHECK(stop.empty());

  // Points that are not finite take no part, wherever they stand.
  const Points finite = FiniteOf(points);
  const auto mesh = MeshOf(finite);
  FUZZ_CHECK(whole->faces().rows() == mesh->faces().rows());
  for (const std::string& message : BrokenLinks(*mesh)) {
    std::fprintf(stderr, "%s\n", message.c_str());
    FUZZ_CHECK(message.empty());
  }
  if (AreComparable(finite)) {
    for (const std::string& message : BrokenInvariants(finite, mesh->faces())) {
      std::fprintf(stderr, "%s\n", message.c_str());
      FUZZ_CHECK(message.empty());
    }
  }
  CheckLoops(*mesh, limit);
  return 0;
}
