#include "sim/mesh/mesh_shapes.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <string>

#include "sim/portable_math.h"

namespace libmfx::sim::mesh_shapes {

namespace {

using Index = std::uint32_t;

/// Two triangles for the quadrilateral a, b, c, d.
void AddQuad(TriangleMesh& mesh, Index a, Index b, Index c, Index d) {
  mesh.triangles.push_back({a, b, c});
  mesh.triangles.push_back({a, c, d});
}

void AppendBytes(std::string& bytes, const void* data, std::size_t size) {
  bytes.append(static_cast<const char*>(data), size);
}

void AppendVector(std::string& bytes, const Vec3& v) {
  for (int i = 0; i < 3; ++i) {
    const auto f = static_cast<float>(v[i]);
    AppendBytes(bytes, &f, sizeof f);
  }
}

}  // namespace

TriangleMesh Box(const Vec3& size) {
  TriangleMesh mesh;
  for (int i = 0; i < 8; ++i) {
    mesh.vertices.emplace_back((i & 1 ? 0.5 : -0.5) * size.x(), (i & 2 ? 0.5 : -0.5) * size.y(),
                               (i & 4 ? 0.5 : -0.5) * size.z());
  }
  AddQuad(mesh, 4, 5, 7, 6);
  AddQuad(mesh, 0, 2, 3, 1);
  AddQuad(mesh, 0, 1, 5, 4);
  AddQuad(mesh, 2, 6, 7, 3);
  AddQuad(mesh, 0, 4, 6, 2);
  AddQuad(mesh, 1, 3, 7, 5);
  return mesh;
}

TriangleMesh Sphere(double radius, int levels) {
  TriangleMesh mesh;
  mesh.vertices = {{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}};
  mesh.triangles = {{0, 2, 4}, {2, 1, 4}, {1, 3, 4}, {3, 0, 4},
                    {2, 0, 5}, {1, 2, 5}, {3, 1, 5}, {0, 3, 5}};
  for (int level = 0; level < levels; ++level) {
    TriangleMesh finer;
    for (const auto& t : mesh.triangles) {
      const auto base = static_cast<Index>(finer.vertices.size());
      for (std::size_t i = 0; i < 3; ++i) finer.vertices.push_back(mesh.vertices[t[i]]);
      for (std::size_t i = 0; i < 3; ++i) {
        // The sum is the same from both sides of an edge, so the middles weld.
        finer.vertices.push_back(
            (mesh.vertices[t[i]] + mesh.vertices[t[(i + 1) % 3]]).normalized());
      }
      finer.triangles.push_back({base, base + 3, base + 5});
      finer.triangles.push_back({base + 3, base + 1, base + 4});
      finer.triangles.push_back({base + 5, base + 4, base + 2});
      finer.triangles.push_back({base + 3, base + 4, base + 5});
    }
    finer.Weld();
    mesh = std::move(finer);
  }
  for (Vec3& v : mesh.vertices) v *= radius;
  return mesh;
}

TriangleMesh PlateWithHole(double radius, double side, double thickness, int segments) {
  TriangleMesh mesh;
  const auto n = static_cast<Index>(segments);
  // Four rings of n vertices: rim and border of the front, rim and border of the back.
  for (const double z : {0.0, -thickness}) {
    for (const bool border : {false, true}) {
      for (Index i = 0; i < n; ++i) {
        const auto [s, c] = portable::SinCos(2.0 * kPi * i / n);
        const double to_border = 0.5 * side / std::max(std::fabs(s), std::fabs(c));
        const double r = border ? to_border : radius;
        mesh.vertices.emplace_back(r * c, r * s, z);
      }
    }
  }
  for (Index i = 0; i < n; ++i) {
    const Index j = (i + 1) % n;
    AddQuad(mesh, i, n + i, n + j, j);                          // front
    AddQuad(mesh, 2 * n + i, 2 * n + j, 3 * n + j, 3 * n + i);  // back
    AddQuad(mesh, i, j, 2 * n + j, 2 * n + i);                  // the hole's wall
    AddQuad(mesh, n + i, 3 * n + i, 3 * n + j, n + j);          // the border
  }
  return mesh;
}

TriangleMesh WavyBlock(double side, double wave_height, int cells) {
  TriangleMesh mesh;
  const auto n = static_cast<Index>(cells);
  const auto at = [n](Index i, Index j) { return j * (n + 1) + i; };
  for (Index j = 0; j <= n; ++j) {
    for (Index i = 0; i <= n; ++i) {
      const double x = side * (static_cast<double>(i) / n - 0.5);
      const double y = side * (static_cast<double>(j) / n - 0.5);
      const double wave =
          portable::SinCos(40.0 * x / side).sine * portable::SinCos(30.0 * y / side).cosine;
      mesh.vertices.emplace_back(x, y, 0.5 * wave_height * wave);
    }
  }
  for (Index j = 0; j < n; ++j) {
    for (Index i = 0; i < n; ++i)
      AddQuad(mesh, at(i, j), at(i + 1, j), at(i + 1, j + 1), at(i, j + 1));
  }
  // The border, once around; below each of its vertices one of the bottom, and the bottom's middle.
  std::vector<Index> border;
  for (Index i = 0; i < n; ++i) border.push_back(at(i, 0));
  for (Index i = 0; i < n; ++i) border.push_back(at(n, i));
  for (Index i = 0; i < n; ++i) border.push_back(at(n - i, n));
  for (Index i = 0; i < n; ++i) border.push_back(at(0, n - i));
  const auto middle = static_cast<Index>(mesh.vertices.size());
  mesh.vertices.emplace_back(0.0, 0.0, -side);
  for (const Index top : border) {
    const Vec3 above = mesh.vertices[top];
    mesh.vertices.emplace_back(above.x(), above.y(), -side);
  }
  const auto around = static_cast<Index>(border.size());
  for (Index k = 0; k < around; ++k) {
    const Index next = (k + 1) % around;
    const Index below = middle + 1 + k;
    const Index below_next = middle + 1 + next;
    AddQuad(mesh, border[k], below, below_next, border[next]);
    mesh.triangles.push_back({below, middle, below_next});
  }
  return mesh;
}

bool WriteStl(const TriangleMesh& mesh, double scale, const std::filesystem::path& file) {
  std::string bytes(80, '\0');
  const auto count = static_cast<std::uint32_t>(mesh.triangles.size());
  AppendBytes(bytes, &count, sizeof count);
  for (const auto& t : mesh.triangles) {
    const Vec3& a = mesh.vertices[t[0]];
    const Vec3& b = mesh.vertices[t[1]];
    const Vec3& c = mesh.vertices[t[2]];
    AppendVector(bytes, (b - a).cross(c - a).normalized());
    for (const Vec3* corner : {&a, &b, &c}) AppendVector(bytes, scale * *corner);
    bytes.append(2, '\0');
  }
  std::ofstream stream(file, std::ios::binary);
  stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  stream.flush();
  return stream.good();
}

}  // namespace libmfx::sim::mesh_shapes
