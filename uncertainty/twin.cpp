#include "uncertainty/twin.h"

#include <Eigen/SVD>
#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

#include "host/quantities.h"
#include "libmfx/features/feature.h"

namespace libmfx::uncertainty {
namespace {

using features::Feature;

double NumberOf(const Feature& feature, const wchar_t* name) {
  return feature.GetSetting<double>(name);
}

/// A unit vector along `v` less its part along the unit vector `normal`; any where nothing is left.
Vector3d UnitAcross(const Vector3d& v, const Vector3d& normal) {
  const Vector3d across = v - v.dot(normal) * normal;
  if (across.norm() > 1e-9 * std::max(1.0, v.norm())) return across.normalized();
  return normal.unitOrthogonal();
}

void TellFace(Twin& twin, const Feature& feature, const wchar_t* normal) {
  twin.place = host::SettingTriple(feature, L"NominalPoint");
  twin.normal = host::SettingTriple(feature, normal).normalized();
  if (twin.normal.dot(twin.place - twin.origin) > 0.0) twin.normal = -twin.normal;
  twin.tangent = UnitAcross(Vector3d::UnitX(), twin.normal);
}

void TellHole(Twin& twin, const Feature& feature) {
  TellFace(twin, feature, L"NominalNormal");
  twin.spacing = NumberOf(feature, L"PointSpacing");
  // "NominalRadius" is that of the rim, which a chamfer makes wider than the bore.
  twin.radius = NumberOf(feature, L"NominalRadius");
  const double angle = NumberOf(feature, L"ChamferAngle");
  const double depth = NumberOf(feature, L"ChamferDepth");
  if (!(depth > 0.0) || !(angle > 0.0) || angle >= std::numbers::pi / 2) return;
  twin.chamfer_depth = depth;
  twin.chamfer_angle = angle;
  twin.radius -= depth * std::tan(angle);
}

/// \param length the setting's name, a slot's or a rectangle's
void TellOblong(Twin& twin, const Feature& feature, const wchar_t* length, const wchar_t* width) {
  TellFace(twin, feature, L"NominalNormal");
  twin.spacing = NumberOf(feature, L"PointSpacing");
  twin.tangent = UnitAcross(host::SettingTriple(feature, L"NominalTangent"), twin.normal);
  twin.length = NumberOf(feature, length);
  twin.width = NumberOf(feature, width);
}

void TellPolygon(Twin& twin, const Feature& feature, const std::string& request) {
  TellFace(twin, feature, L"NominalNormal");
  twin.spacing = NumberOf(feature, L"PointSpacing");
  // The setting "NominalAxis" reaches the normal, "NominalRadius" nothing, "MeasuredRadius" the
  // nominal one.
  const Vector3d none = Vector3d::Zero();
  twin.tangent =
      UnitAcross(host::RequestTriple(request, "Feature", "Axis").value_or(none), twin.normal);
  twin.radius = NumberOf(feature, L"MeasuredRadius");
  twin.sides = feature.GetSetting<int>(L"Sides");
}

void TellEdge(Twin& twin, const Feature& feature) {
  twin.place = host::SettingTriple(feature, L"NominalEdgePoint");
  twin.normal = host::SettingTriple(feature, L"NominalSurfaceNormal").normalized();
  twin.spacing = NumberOf(feature, L"PointSpacing");
  const Vector3d back = host::SettingTriple(feature, L"NominalSurfacePoint") - twin.place;
  twin.height = back.dot(twin.normal);
  twin.tangent = UnitAcross(-back, twin.normal);
}

void TellCylinder(Twin& twin, const Feature& feature) {
  twin.normal = host::SettingTriple(feature, L"NominalCylinderAxis").normalized();
  twin.tangent = UnitAcross(Vector3d::UnitX(), twin.normal);
  twin.height = NumberOf(feature, L"NominalCylinderBottomOffset");
  twin.window = NumberOf(feature, L"NominalCylinderHeight");
  twin.place = host::SettingTriple(feature, L"NominalCylinderCenter") + twin.height * twin.normal;
  twin.radius = NumberOf(feature, L"NominalCylinderRadius");
  twin.spacing = NumberOf(feature, L"LineSpacing");
}

/// The plane nearest to the points of the path.
bool TellPath(Twin& twin, Feature& feature) {
  const auto path = measurement::PointsOf(feature.GetDrivePoints(false));
  if (path.empty()) return false;
  Eigen::MatrixXd points(3, static_cast<Eigen::Index>(path.size()));
  for (std::size_t i = 0; i < path.size(); ++i) {
    const auto& p = path[i];
    points.col(static_cast<Eigen::Index>(i)) =
        data_structures::AzElRange(p.azimuth, p.elevation, p.range).ToPoint().xyz();
  }
  twin.place = points.rowwise().mean();
  points.colwise() -= twin.place;
  const Eigen::JacobiSVD<Eigen::MatrixXd, Eigen::ColPivHouseholderQRPreconditioner> svd(
      points * points.transpose(), Eigen::ComputeFullU);
  // Of all planes through a line, the one that the line is seen on the least aslant.
  const Vector3d view = -twin.place.normalized();
  const Vector3d spread = svd.singularValues();
  twin.normal = svd.matrixU().col(2);
  if (!(spread[1] > 1e-6 * spread[0])) {
    twin.normal = spread[0] > 0.0 ? UnitAcross(view, svd.matrixU().col(0)) : view;
  }
  if (twin.normal.dot(view) < 0.0) twin.normal = -twin.normal;
  twin.tangent = UnitAcross(Vector3d::UnitX(), twin.normal);
  twin.length = twin.width = 2.0 * points.colwise().norm().maxCoeff() + 0.1;
  return true;
}

bool Tell(Twin& twin, Feature& feature, const std::string& request) {
  if (twin.type == "PVI") {
    TellFace(twin, feature, L"NominalNormal");
  } else if (twin.type == "MatteSphere") {
    twin.place = host::SettingTriple(feature, L"NominalPoint");
    twin.normal = -twin.place.normalized();
    twin.tangent = UnitAcross(Vector3d::UnitX(), twin.normal);
    twin.radius = NumberOf(feature, L"NominalRadius");
  } else if (twin.type == "RobustHole") {
    TellHole(twin, feature);
  } else if (twin.type == "Slot") {
    TellOblong(twin, feature, L"Length", L"Width");
  } else if (twin.type == "Rectangle") {
    TellOblong(twin, feature, L"NominalLength", L"NominalWidth");
  } else if (twin.type == "Polygon") {
    TellPolygon(twin, feature, request);
  } else if (twin.type == "Edge") {
    TellEdge(twin, feature);
  } else if (twin.type == "Stud" || twin.type == "ThreadedHole") {
    TellCylinder(twin, feature);
  } else {
    return twin.type == "CustomScan" && TellPath(twin, feature);
  }
  return true;
}

}  // namespace

std::optional<Twin> NominalTwin(const std::string& request) {
  const std::unique_ptr<Feature> feature(Feature::Create(request));
  if (!feature->GetError().empty()) return std::nullopt;
  Twin twin;
  twin.type = feature->FeatureName();
  twin.origin = host::RequestTriple(request, "", "ScanOrigin").value_or(Vector3d::Zero());
  if (!Tell(twin, *feature, request)) return std::nullopt;
  const bool is_sound = twin.place.allFinite() && twin.normal.allFinite() &&
                        twin.tangent.allFinite() && twin.place.norm() > 0.0;
  return is_sound ? std::optional<Twin>(std::move(twin)) : std::nullopt;
}

Twin MeasuredTwin(Twin twin, const Values& measured, const features::Stages& stages) {
  const auto triple = [&measured](const char* key, Vector3d& to) {
    const Value* found = Find(measured, key);
    if (found != nullptr) to = found->numbers;
  };
  const auto size = [&measured](const char* key, double& to) {
    const Value* found = Find(measured, key);
    if (found != nullptr) to = found->numbers[0];
  };
  triple("Location", twin.place);
  const bool is_wall = twin.type == "Stud" || twin.type == "ThreadedHole";
  triple(is_wall ? "Axis" : "Normal", twin.normal);
  if (!is_wall) triple(twin.type == "Polygon" ? "Axis" : "Tangent", twin.tangent);
  // An edge tells its place alone.
  if (twin.type == "Edge" && stages.surface) twin.normal = stages.surface->Normal().xyz();
  twin.normal.normalize();
  const bool looks_away =
      !is_wall && twin.type != "MatteSphere" && twin.normal.dot(twin.place) > 0.0;
  if (looks_away) twin.normal = -twin.normal;
  twin.tangent = UnitAcross(twin.tangent, twin.normal);
  size("Radius", twin.radius);
  size("Length", twin.length);
  size("Width", twin.width);
  return twin;
}

double OutwardsAt(const Twin& edge, double depth) {
  const double lean = edge.wall_angle;
  const double along_wall = depth * std::tan(lean);
  // What a chamfer or a fillet takes off front and wall, each from the corner on.
  const double cut = edge.fillet > 0.0
                         ? edge.fillet / std::tan(0.25 * std::numbers::pi + 0.5 * lean)
                         : edge.chamfer;
  if (depth >= cut * std::cos(lean)) return along_wall;
  if (!(edge.fillet > 0.0)) return -cut + depth * (1.0 + std::sin(lean)) / std::cos(lean);
  const double rise = edge.fillet - depth;
  return -cut + std::sqrt(std::max(0.0, edge.fillet * edge.fillet - rise * rise));
}

Values TrueValues(const Twin& twin, const Values& measured) {
  Values values = measured;
  for (Value& value : values) {
    if (value.kind == Kind::kSize) {
      value.numbers[0] = value.key == "Length"  ? twin.length
                         : value.key == "Width" ? twin.width
                         : value.key == "Range" ? twin.place.norm()
                                                : twin.radius;
      continue;
    }
    const Vector3d found = value.numbers;
    Vector3d is = twin.place;
    if (value.kind == Kind::kDirection) {
      const bool across = value.key == "Tangent" || (value.key == "Axis" && twin.type == "Polygon");
      is = across ? twin.tangent : twin.normal;
      // A normal or a tangent means the same line as its opposite.
      if (value.key != "Axis" && is.dot(found) < 0.0) is = -is;
    } else if (twin.type == "Stud" || twin.type == "ThreadedHole") {
      is += (found - twin.place).dot(twin.normal) * twin.normal;
    } else if (twin.type == "Edge") {
      const Vector3d along = twin.normal.cross(twin.tangent);
      is += (found - twin.place).dot(along) * along;
    } else if (twin.type == "PVI") {
      const Vector3d sight = (found - twin.origin).normalized();
      is = found + (twin.place - found).dot(twin.normal) / sight.dot(twin.normal) * sight;
    }
    value.numbers = is;
  }
  return values;
}

}  // namespace libmfx::uncertainty
