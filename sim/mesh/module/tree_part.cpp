#include "sim/mesh/module/tree_part.h"

#include <embree3/rtcore.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <vector>

#include "sim/mesh/watertight.h"

namespace libmfx::sim {

namespace {

/// Boxes are padded by this share of the part's radius: several times what single precision loses
/// on coordinates of that size and on a ray that crosses the part.
constexpr double kPadding = 2e-6;

/// Embree's device, made when the first mesh is. Its trees are built by the calling thread: a batch
/// has its processes side by side already.
RTCDevice Device() {
  struct Owner {
    RTCDevice device = rtcNewDevice("threads=1");
    ~Owner() { rtcReleaseDevice(device); }
  };
  static const Owner owner;
  if (owner.device == nullptr) throw std::runtime_error("the ray caster could not be started");
  return owner.device;
}

/// What a traversal carries along: Embree hands its context back to the triangle test.
struct Traversal : RTCIntersectContext {
  explicit Traversal(const ShearedRay& r) : ray(r) {}
  ShearedRay ray;
  double t_min = 0.0;
  double t = 0.0;  ///< of the nearest hit so far
  unsigned triangle = RTC_INVALID_GEOMETRY_ID;
};

float RoundedUp(double x) {
  return std::nextafter(static_cast<float>(x), std::numeric_limits<float>::infinity());
}
float RoundedDown(double x) {
  return std::nextafter(static_cast<float>(x), -std::numeric_limits<float>::infinity());
}

}  // namespace

struct TreePart::Tree {
  std::vector<Corners> triangles;  ///< relative to `center`
  Vec3 center;
  double radius = 0.0;  ///< of a ball around `center` that holds the mesh
  double padding = 0.0;
  RTCScene scene = nullptr;

  explicit Tree(const TriangleMesh& mesh);
  ~Tree() { rtcReleaseScene(scene); }
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  static void Bounds(const RTCBoundsFunctionArguments* args);
  static void Test(const RTCIntersectFunctionNArguments* args);
};

TreePart::Tree::Tree(const TriangleMesh& mesh) {
  Vec3 low = Vec3::Constant(std::numeric_limits<double>::infinity());
  Vec3 high = -low;
  for (const auto& t : mesh.triangles) {
    for (const auto corner : t) {
      low = low.cwiseMin(mesh.vertices[corner]);
      high = high.cwiseMax(mesh.vertices[corner]);
    }
  }
  center = 0.5 * (low + high);
  radius = 0.5 * (high - low).norm() * (1.0 + 1e-9);
  padding = kPadding * radius;
  triangles.reserve(mesh.triangles.size());
  for (const auto& t : mesh.triangles) {
    triangles.push_back(
        {mesh.vertices[t[0]] - center, mesh.vertices[t[1]] - center, mesh.vertices[t[2]] - center});
  }
  scene = rtcNewScene(Device());
  rtcSetSceneFlags(scene, RTC_SCENE_FLAG_ROBUST);
  RTCGeometry geometry = rtcNewGeometry(Device(), RTC_GEOMETRY_TYPE_USER);
  rtcSetGeometryUserPrimitiveCount(geometry, static_cast<unsigned>(triangles.size()));
  rtcSetGeometryUserData(geometry, this);
  rtcSetGeometryBoundsFunction(geometry, &Tree::Bounds, nullptr);
  rtcSetGeometryIntersectFunction(geometry, &Tree::Test);
  rtcCommitGeometry(geometry);
  rtcAttachGeometry(scene, geometry);
  rtcReleaseGeometry(geometry);
  rtcCommitScene(scene);
}

void TreePart::Tree::Bounds(const RTCBoundsFunctionArguments* args) {
  const auto* tree = static_cast<const Tree*>(args->geometryUserPtr);
  const Corners& corners = tree->triangles[args->primID];
  const Vec3 low = corners[0].cwiseMin(corners[1]).cwiseMin(corners[2]).array() - tree->padding;
  const Vec3 high = corners[0].cwiseMax(corners[1]).cwiseMax(corners[2]).array() + tree->padding;
  RTCBounds& bounds = *args->bounds_o;
  bounds.lower_x = RoundedDown(low.x());
  bounds.lower_y = RoundedDown(low.y());
  bounds.lower_z = RoundedDown(low.z());
  bounds.upper_x = RoundedUp(high.x());
  bounds.upper_y = RoundedUp(high.y());
  bounds.upper_z = RoundedUp(high.z());
}

void TreePart::Tree::Test(const RTCIntersectFunctionNArguments* args) {
  if (args->valid[0] == 0) return;
  const auto* tree = static_cast<const Tree*>(args->geometryUserPtr);
  auto& traversal = *static_cast<Traversal*>(args->context);
  double t = 0.0;
  if (!traversal.ray.Meets(tree->triangles[args->primID], t)) return;
  // Of two triangles met at the same place, the one that stands first in the file counts.
  const bool nearer = t < traversal.t || (t == traversal.t && args->primID < traversal.triangle);
  if (!nearer || !(t > traversal.t_min)) return;
  traversal.t = t;
  traversal.triangle = args->primID;
  auto& rayhit = *reinterpret_cast<RTCRayHit*>(args->rayhit);
  rayhit.hit.geomID = args->geomID;
  rayhit.hit.primID = args->primID;
  rayhit.ray.tfar = RoundedUp(t + tree->padding);
}

TreePart::TreePart(const TriangleMesh& mesh) : _tree(std::make_unique<Tree>(mesh)) {
  _truth.values["triangles"] = static_cast<double>(mesh.triangles.size());
}

TreePart::~TreePart() = default;

double TreePart::Reach() const { return _tree->center.norm() + _tree->radius; }

Vec3 TreePart::Center() const { return _tree->center; }

bool TreePart::Intersect(const Ray& ray, Hit& hit) const {
  const Tree& tree = *_tree;
  // The ray begins anew where it comes near the part: there its coordinates are small.
  const Vec3 from_center = ray.origin - tree.center;
  const double to_middle = -from_center.dot(ray.direction);
  if ((from_center + to_middle * ray.direction).squaredNorm() > tree.radius * tree.radius) {
    return false;
  }
  const double shift = std::max(to_middle - 1.01 * tree.radius, ray.t_min);
  const double end = std::min(ray.t_max, hit.t) - shift;
  const Vec3 start = from_center + shift * ray.direction;
  if (!(end > 0.0) || to_middle + tree.radius < ray.t_min) return false;

  Traversal traversal(ShearedRay(start, ray.direction));
  rtcInitIntersectContext(&traversal);
  traversal.flags = RTC_INTERSECT_CONTEXT_FLAG_COHERENT;
  traversal.t = end;
  RTCRayHit rayhit{};
  rayhit.ray.org_x = static_cast<float>(start.x());
  rayhit.ray.org_y = static_cast<float>(start.y());
  rayhit.ray.org_z = static_cast<float>(start.z());
  rayhit.ray.dir_x = static_cast<float>(ray.direction.x());
  rayhit.ray.dir_y = static_cast<float>(ray.direction.y());
  rayhit.ray.dir_z = static_cast<float>(ray.direction.z());
  rayhit.ray.tnear = 0.0F;
  rayhit.ray.tfar = RoundedUp(std::min(end, 3.0 * tree.radius) + tree.padding);
  rayhit.ray.mask = 0xffffffffU;
  rayhit.hit.geomID = RTC_INVALID_GEOMETRY_ID;
  rtcIntersect1(tree.scene, &traversal, &rayhit);
  if (traversal.triangle == RTC_INVALID_GEOMETRY_ID) return false;
  const Corners& c = tree.triangles[traversal.triangle];
  hit.t = traversal.t + shift;
  hit.normal = (c[1] - c[0]).cross(c[2] - c[0]).normalized();
  return true;
}

}  // namespace libmfx::sim
