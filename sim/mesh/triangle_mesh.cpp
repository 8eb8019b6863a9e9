#include "sim/mesh/triangle_mesh.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace libmfx::sim {

namespace {

bool Less(const Vec3& a, const Vec3& b) {
  if (a.x() != b.x()) return a.x() < b.x();
  if (a.y() != b.y()) return a.y() < b.y();
  return a.z() < b.z();
}

}  // namespace

void TriangleMesh::Weld() {
  std::vector<std::uint32_t> order(vertices.size());
  std::iota(order.begin(), order.end(), 0U);
  std::sort(order.begin(), order.end(), [this](std::uint32_t a, std::uint32_t b) {
    if (Less(vertices[a], vertices[b])) return true;
    return !Less(vertices[b], vertices[a]) && a < b;
  });
  std::vector<std::uint32_t> welded(vertices.size());
  std::vector<Vec3> unique;
  for (const std::uint32_t index : order) {
    if (unique.empty() || Less(unique.back(), vertices[index])) unique.push_back(vertices[index]);
    welded[index] = static_cast<std::uint32_t>(unique.size() - 1);
  }
  vertices = std::move(unique);
  for (auto& triangle : triangles) {
    for (auto& corner : triangle) corner = welded[corner];
  }
  std::erase_if(triangles,
                [](const auto& t) { return t[0] == t[1] || t[1] == t[2] || t[2] == t[0]; });
}

std::optional<OpenEdges> FindOpenEdges(const TriangleMesh& mesh) {
  std::vector<std::pair<std::uint32_t, std::uint32_t>> edges;
  edges.reserve(3 * mesh.triangles.size());
  for (const auto& t : mesh.triangles) {
    for (std::size_t i = 0; i < 3; ++i) edges.push_back(std::minmax({t[i], t[(i + 1) % 3]}));
  }
  std::sort(edges.begin(), edges.end());
  OpenEdges open;
  for (std::size_t i = 0; i < edges.size();) {
    std::size_t next = i;
    while (next < edges.size() && edges[next] == edges[i]) ++next;
    if ((next - i) % 2 == 1) {
      ++open.count;
      open.example = 0.5 * (mesh.vertices[edges[i].first] + mesh.vertices[edges[i].second]);
    }
    i = next;
  }
  if (open.count == 0) return std::nullopt;
  return open;
}

}  // namespace libmfx::sim
