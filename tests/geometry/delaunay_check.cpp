#include "delaunay_check.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "../support/protected.h"
#include "geometry/sweep/predicates.h"

namespace delaunay_check {

using libmfx::geometry::VoronoiGraph;
namespace sweep = libmfx::geometry::sweep;

PointCloud CloudOf(const Points& points) {
  Eigen::MatrixXd data(2, static_cast<Eigen::Index>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i) {
    data.col(static_cast<Eigen::Index>(i)) << points[i].first, points[i].second;
  }
  return PointCloud(std::move(data), {{libmfx::data_structures::EMBEDDING_XY, {0}}});
}

std::shared_ptr<Mesh> MeshOf(const Points& points) {
  return VoronoiGraph(CloudOf(points)).ExtractPlanarMesh();
}

double Perimeter(const PointCloud& loop) {
  double sum = 0.0;
  for (Eigen::Index i = 0; i < loop.cols(); ++i) {
    sum += (loop.col(i) - loop.col((i + 1) % loop.cols())).norm();
  }
  return sum;
}

namespace {

using Messages = std::vector<std::string>;
using Edge = std::pair<int, int>;

/// Points brought to at most 1 by a power of two: the exact predicates hold there.
std::vector<sweep::Vec2> Scaled(const Points& points) {
  double largest = 0.0;
  for (const auto& [x, y] : points) largest = std::max({largest, std::abs(x), std::abs(y)});
  int exponent = 0;
  std::frexp(largest, &exponent);
  std::vector<sweep::Vec2> scaled;
  for (const auto& [x, y] : points) {
    scaled.push_back({std::ldexp(x, -exponent), std::ldexp(y, -exponent)});
  }
  return scaled;
}

/// For each point the first point with the same coordinates.
std::vector<int> Representatives(const Points& points) {
  std::map<std::pair<double, double>, int> first;
  std::vector<int> result;
  for (std::size_t i = 0; i < points.size(); ++i) {
    result.push_back(first.emplace(points[i], static_cast<int>(i)).first->second);
  }
  return result;
}

/// The convex hull with all points on its rim, counter-clockwise, by Andrew's monotone chain.
std::vector<int> HullWithCollinear(const std::vector<sweep::Vec2>& p, std::vector<int> order) {
  const auto at = [&p](int i) { return p[static_cast<std::size_t>(i)]; };
  std::sort(order.begin(), order.end(), [&](int a, int b) {
    return at(a).x != at(b).x ? at(a).x < at(b).x : at(a).y < at(b).y;
  });
  const auto chain = [&](const std::vector<int>& along) {
    std::vector<int> c;
    for (const int i : along) {
      while (c.size() > 1 && sweep::Orientation(at(c[c.size() - 2]), at(c.back()), at(i)) < 0) {
        c.pop_back();
      }
      c.push_back(i);
    }
    return c;
  };
  std::vector<int> lower = chain(order);
  std::reverse(order.begin(), order.end());
  const std::vector<int> upper = chain(order);
  lower.insert(lower.end(), upper.begin() + 1, upper.end() - 1);
  return lower;
}

struct Edges {
  std::map<Edge, int> opposite;  // directed edge -> the third corner of its triangle
  std::set<Edge> rim;
};

Edges CollectEdges(const Eigen::MatrixXi& faces, Messages& broken) {
  Edges edges;
  for (Eigen::Index f = 0; f < faces.rows(); ++f) {
    for (int c = 0; c < 3; ++c) {
      const Edge edge(faces(f, c), faces(f, (c + 1) % 3));
      if (!edges.opposite.emplace(edge, faces(f, (c + 2) % 3)).second) {
        broken.push_back("edge " + std::to_string(edge.first) + "-" + std::to_string(edge.second) +
                         " is used twice in one direction");
      }
    }
  }
  for (const auto& [edge, third] : edges.opposite) {
    if (!edges.opposite.count({edge.second, edge.first})) edges.rim.insert(edge);
  }
  return edges;
}

void CheckTriangles(const std::vector<sweep::Vec2>& p, const Eigen::MatrixXi& faces,
                    const std::vector<int>& first, Messages& broken) {
  std::set<int> used;
  const auto at = [&p](int i) { return p[static_cast<std::size_t>(i)]; };
  for (Eigen::Index f = 0; f < faces.rows(); ++f) {
    for (int c = 0; c < 3; ++c) {
      const int i = faces(f, c);
      if (first[static_cast<std::size_t>(i)] != i) {
        broken.push_back("face " + std::to_string(f) + " has a later twin of a coinciding point");
      }
      used.insert(i);
    }
    if (sweep::Orientation(at(faces(f, 0)), at(faces(f, 1)), at(faces(f, 2))) <= 0) {
      broken.push_back("face " + std::to_string(f) + " is not counter-clockwise");
    }
  }
  const std::set<int> all(first.begin(), first.end());
  if (used.size() != all.size()) {
    broken.push_back(std::to_string(all.size() - used.size()) + " points have no triangle");
  }
}

void CheckRim(const std::vector<int>& hull, const Edges& edges, Messages& broken) {
  std::set<Edge> expected;
  for (std::size_t i = 0; i < hull.size(); ++i) {
    expected.emplace(hull[i], hull[(i + 1) % hull.size()]);
  }
  if (expected != edges.rim) {
    broken.push_back("the rim of " + std::to_string(edges.rim.size()) +
                     " edges is not the convex hull of " + std::to_string(expected.size()));
  }
}

void CheckCircles(const std::vector<sweep::Vec2>& p, const Edges& edges, Messages& broken) {
  const auto at = [&p](int i) { return p[static_cast<std::size_t>(i)]; };
  for (const auto& [edge, third] : edges.opposite) {
    const auto other = edges.opposite.find({edge.second, edge.first});
    if (other == edges.opposite.end()) continue;
    if (sweep::InCircle(at(edge.first), at(edge.second), at(third), at(other->second)) > 0) {
      broken.push_back("point " + std::to_string(other->second) +
                       " lies in the circle of its neighbour");
    }
  }
}

void CheckArea(const std::vector<sweep::Vec2>& p, const std::vector<int>& hull,
               const Eigen::MatrixXi& faces, Messages& broken) {
  // The rounding of a sum of areas: every product errs by less than 4 roundings of a long double,
  // and the sum by one more an addend. Of flat sets, whose area cancels, nothing else is left.
  long double magnitudes = 0.0L;
  const auto area = [&](int a, int b, int c) {
    const auto &u = p[static_cast<std::size_t>(a)], &v = p[static_cast<std::size_t>(b)],
               &w = p[static_cast<std::size_t>(c)];
    const long double one =
        (static_cast<long double>(v.x) - u.x) * (static_cast<long double>(w.y) - u.y);
    const long double other =
        (static_cast<long double>(v.y) - u.y) * (static_cast<long double>(w.x) - u.x);
    magnitudes += 0.5L * (std::abs(one) + std::abs(other));
    return 0.5L * (one - other);
  };
  long double triangles = 0.0L, polygon = 0.0L;
  for (Eigen::Index f = 0; f < faces.rows(); ++f) {
    triangles += area(faces(f, 0), faces(f, 1), faces(f, 2));
  }
  for (std::size_t i = 2; i < hull.size(); ++i) polygon += area(hull[0], hull[i - 1], hull[i]);
  const long double rounding = magnitudes * static_cast<long double>(4 + faces.rows()) * 0x1p-64L;
  if (!(std::abs(triangles - polygon) <= 0x1p-51L * std::abs(polygon) + rounding)) {
    broken.push_back("the triangles do not add up to the area of the hull");
  }
}

}  // namespace

std::vector<std::string> BrokenInvariants(const Points& points, const Eigen::MatrixXi& faces) {
  Messages broken;
  if (faces.size() > 0 && (faces.cols() != 3 || faces.minCoeff() < 0 ||
                           faces.maxCoeff() >= static_cast<int>(points.size()))) {
    return {"the faces are not triangles over the points"};
  }
  const std::vector<sweep::Vec2> p = Scaled(points);
  const std::vector<int> first = Representatives(points);
  std::vector<int> distinct;
  for (std::size_t i = 0; i < first.size(); ++i) {
    if (first[i] == static_cast<int>(i)) distinct.push_back(static_cast<int>(i));
  }
  bool flat = true;
  for (std::size_t i = 2; i < distinct.size() && flat; ++i) {
    flat = sweep::Orientation(p[static_cast<std::size_t>(distinct[0])],
                              p[static_cast<std::size_t>(distinct[1])],
                              p[static_cast<std::size_t>(distinct[i])]) == 0;
  }
  if (flat) {
    if (faces.rows() != 0) broken.push_back("collinear points have triangles");
    return broken;
  }
  CheckTriangles(p, faces, first, broken);
  const Edges edges = CollectEdges(faces, broken);
  const std::vector<int> hull = HullWithCollinear(p, distinct);
  CheckRim(hull, edges, broken);
  const long vertices = static_cast<long>(distinct.size());
  const long undirected = static_cast<long>((edges.opposite.size() + edges.rim.size()) / 2);
  if (vertices - undirected + faces.rows() != 1) {
    broken.push_back("Euler's formula gives " +
                     std::to_string(vertices - undirected + faces.rows()) + ", not 1");
  }
  CheckCircles(p, edges, broken);
  CheckArea(p, hull, faces, broken);
  return broken;
}

std::vector<std::string> BrokenLinks(Mesh& mesh) {
  Messages broken;
  const auto name = [](const Edge& key) {
    return std::to_string(key.first) + "-" + std::to_string(key.second);
  };
  const auto check = [&](const Edge& key, const auto& he, bool interior) {
    if (!he || !he->vertex || !he->face || !he->next || !he->prev) {
      broken.push_back("halfedge " + name(key) + " lacks a link");
      return;
    }
    if ((he->twin != nullptr) != interior) broken.push_back(name(key) + " is in the wrong map");
    if (interior && he->twin->twin != he) broken.push_back(name(key) + " has another's twin");
    if (he->next->prev != he || he->prev->next != he) broken.push_back(name(key) + " is unlinked");
    if (he->vertex->halfedge != he) broken.push_back(name(key) + " has another's vertex");
    if (he->next->face != he->face) broken.push_back(name(key) + " leads to another face");
    const auto& v = mesh.vertices().data();
    if (he->vertex->point.x() != v(0, key.first) || he->vertex->point.y() != v(1, key.first) ||
        he->vertex->point.z() != 0.0 || he->vertex->point.w() != 1.0) {
      broken.push_back(name(key) + " starts at another point");
    }
    if (he->next->vertex->point.x() != v(0, key.second)) {
      broken.push_back(name(key) + " ends at another point");
    }
  };
  for (const auto& [key, he] : PROTECTED(mesh, _interior_edges)) check(key, he, true);
  for (const auto& [key, he] : PROTECTED(mesh, _boundary_edges)) check(key, he, false);
  const auto entries =
      PROTECTED(mesh, _interior_edges).size() + PROTECTED(mesh, _boundary_edges).size();
  if (static_cast<Eigen::Index>(entries) != mesh.faces().size()) {
    broken.push_back("the maps do not hold each halfedge once");
  }
  return broken;
}

double DeepestIntrusion(const Points& points, const Eigen::MatrixXi& faces) {
  long double deepest = 0.0L;
  for (Eigen::Index f = 0; f < faces.rows(); ++f) {
    const auto &a = points[static_cast<std::size_t>(faces(f, 0))],
               &b = points[static_cast<std::size_t>(faces(f, 1))],
               &c = points[static_cast<std::size_t>(faces(f, 2))];
    const long double px = static_cast<long double>(b.first) - a.first,
                      py = static_cast<long double>(b.second) - a.second,
                      qx = static_cast<long double>(c.first) - a.first,
                      qy = static_cast<long double>(c.second) - a.second;
    const long double d = 2.0L * (px * qy - py * qx), pp = px * px + py * py,
                      qq = qx * qx + qy * qy;
    const long double ux = (qy * pp - py * qq) / d, uy = (px * qq - qx * pp) / d;
    const long double radius = std::sqrt(ux * ux + uy * uy);
    for (const auto& [x, y] : points) {
      const long double dx = x - a.first - ux, dy = y - a.second - uy;
      deepest = std::max(deepest, (radius - std::sqrt(dx * dx + dy * dy)) / radius);
    }
  }
  return static_cast<double>(deepest);
}

}  // namespace delaunay_check
