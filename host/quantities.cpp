#include "host/quantities.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>
#include <numbers>
#include <stdexcept>
#include <utility>

#include "libmfx/features/feature.h"
#include "libmfx/features/sphere_fit.h"
#include "libmfx/geometry/circle.h"

namespace libmfx::host {
namespace {

using Eigen::Vector3d;
using features::Feature;
using nlohmann::json;

constexpr double kMillimetres = 1000.0;
constexpr double kDegrees = 180.0 / std::numbers::pi;
const char* const kMm = "mm";
const char* const kDeg = "\xC2\xB0";

double NumberOf(const Feature& feature, const wchar_t* name) {
  return feature.GetSetting<double>(name);
}

std::optional<double> NumberIn(const json& result, const char* key) {
  const auto value = result.find(key);
  if (value == result.end() || !value->is_number()) return std::nullopt;
  return value->get<double>();
}

std::optional<Vector3d> TripleIn(const json& result, const char* key) {
  const auto value = result.find(key);
  if (value == result.end() || !value->is_array() || value->size() != 3) return std::nullopt;
  Vector3d triple;
  for (std::size_t i = 0; i < 3; ++i) {
    if (!(*value)[i].is_number()) return std::nullopt;
    triple[static_cast<Eigen::Index>(i)] = (*value)[i].get<double>();
  }
  return triple;
}

/// Puts down the quantities of one measurement. A feature that was just made from the request holds
/// the nominals as its settings, read by the library's own rules.
class Lister {
 public:
  Lister(const std::string& request, const Feature& feature, json result,
         const features::Stages& stages)
      : _request(request), _feature(feature), _result(std::move(result)), _stages(stages) {
    const auto success = _result.find("Success");
    _successful = success != _result.end() && *success == json(true);
  }

  std::vector<Quantity> quantities;

  const std::string& request() const { return _request; }
  const Feature& feature() const { return _feature; }
  const features::Stages& stages() const { return _stages; }
  bool Flag(const wchar_t* name) const { return _feature.GetSetting<bool>(name); }
  double Nominal(const wchar_t* name) const { return NumberOf(_feature, name); }
  Vector3d NominalPlace(const wchar_t* name) const { return SettingTriple(_feature, name); }
  std::optional<Vector3d> Location() const { return Measured("Location"); }

  void Place(const Vector3d& nominal) {
    const std::optional<Vector3d> measured = Location();
    for (int i = 0; i < 3; ++i) {
      Quantity& q = Add({std::string("Location ") + "xyz"[i], kMm});
      q.nominal = nominal[i] * kMillimetres;
      if (measured) q.measured = (*measured)[i] * kMillimetres;
    }
    Quantity& distance = Add({"Location, distance from the nominal", kMm});
    if (measured) distance.measured = (*measured - nominal).norm() * kMillimetres;
  }

  /// \param directed whether the opposite direction is another one
  Quantity& Angle(const char* key, const wchar_t* nominal, bool directed = false) {
    return Angle(key, NominalPlace(nominal), directed);
  }
  Quantity& Angle(const char* key, const Vector3d& n, bool directed = false) {
    Quantity& q = Add({std::string(key) + ", angle to the nominal", kDeg});
    const std::optional<Vector3d> measured = Measured(key);
    if (!measured || !(measured->norm() > 0.0) || !(n.norm() > 0.0)) return q;
    const double along = measured->dot(n);
    q.measured =
        std::atan2(measured->cross(n).norm(), directed ? along : std::abs(along)) * kDegrees;
    return q;
  }

  Quantity& Length(const char* key, const wchar_t* nominal) {
    Quantity& q = Add({key, kMm});
    q.nominal = Nominal(nominal) * kMillimetres;
    const std::optional<double> measured = NumberIn(_result, key);
    if (_successful && measured) q.measured = *measured * kMillimetres;
    return q;
  }

  /// A size for which the result repeats the nominal.
  /// \param fitted what the record calls that which was fitted; null if nothing was
  Quantity& Repeated(const char* name, double nominal, const char* fitted, double doubt) {
    Quantity& q = Add({name, kMm, Source::kRepeated});
    q.nominal = nominal * kMillimetres;
    q.doubt = doubt * kMillimetres;
    for (const features::StageSize& size : _stages.fitted) {
      if (fitted == nullptr || size.what != std::string_view(fitted)) continue;
      if (!std::isfinite(size.value)) continue;
      if (_successful) {
        q.measured = size.value * kMillimetres;
      } else {
        q.remark = "the fit found " + SentenceText(size.value * kMillimetres, kMm);
      }
    }
    return q;
  }

  /// A part of a place that is where the request puts it.
  Quantity& AsTold(const char* name) { return Add({name, kMm, Source::kRepeated}); }

 private:
  Quantity& Add(Quantity quantity) { return quantities.emplace_back(std::move(quantity)); }

  std::optional<Vector3d> Measured(const char* key) const {
    return _successful ? TripleIn(_result, key) : std::nullopt;
  }

  const std::string& _request;
  const Feature& _feature;
  json _result;
  const features::Stages& _stages;
  bool _successful = false;
};

void ListSurfacePoint(Lister& list) {
  list.Place(list.NominalPlace(L"NominalPoint"));
  list.AsTold("Location across the line of sight");
  list.Angle("Normal", L"NominalNormal");
}

void ListSphere(Lister& list) {
  const Vector3d nominal = list.NominalPlace(L"NominalPoint");
  list.Place(nominal);
  // A ball is seen from one side, where its radius and its distance are hard to tell apart. What
  // the fit may be off by is the tolerance that the library gives a fitted radius at that range.
  const double range = list.Location().value_or(nominal).norm();
  Quantity& radius = list.Repeated("Radius", list.Nominal(L"NominalRadius"), "Radius",
                                   features::SphereTolerancesAt(range).fit);
  radius.remark += radius.IsOff() ? "the centre lies off along the line of sight by as much" : "";
}

/// Standard deviation of the points of a rim from their own circle, metres; 0 for too few.
double RimScatter(const std::vector<features::StageEdge>& edges) {
  Eigen::MatrixXd points(3, static_cast<Eigen::Index>(edges.size()));
  Eigen::Index column = 0;
  for (const features::StageEdge& edge : edges) points.col(column++) = edge.place.xyz();
  const data_structures::PointCloud cloud(points, {{data_structures::EMBEDDING_XYZ, {0}}});
  geometry::Circle circle;
  if (edges.size() < 4 || !circle.LeastSquares(cloud)) return 0.0;
  const Vector3d center = circle.Center().xyz();
  const Eigen::ArrayXd off =
      (points.colwise() - center).colwise().norm().transpose().array() - circle.Radius();
  return std::sqrt(off.square().sum() / static_cast<double>(edges.size() - 3));
}

void ListHole(Lister& list) {
  list.Place(list.NominalPlace(L"NominalPoint"));
  list.Angle("Normal", L"NominalNormal");
  // "NominalRadius" is that of the rim, which a chamfer makes wider than the bore.
  const double rim = list.Nominal(L"NominalRadius");
  const double angle = std::abs(list.Nominal(L"ChamferAngle"));
  const double chamfer = angle >= std::numbers::pi / 2 ? 0.0
                                                       : std::tan(list.Nominal(L"ChamferAngle")) *
                                                             list.Nominal(L"ChamferDepth");
  // A rim between two samples is known to half a spacing, that of a chamfer, which leaves the
  // surface slowly, to three; and the point that a line shows of it leans to one side by its noise.
  // Below that a deviation is the scan's and not the part's, above it is the part's, however small
  // a share of the radius it is.
  const double spacing = list.Nominal(L"PointSpacing") * (chamfer > 0.0 ? 3.0 : 0.5);
  const double doubt = std::max(spacing, 3.0 * RimScatter(list.stages().edges));
  if (!(chamfer > 0.0)) {
    list.Repeated("Radius", rim, "RimRadius", doubt);
    return;
  }
  list.Repeated("Radius", rim - chamfer, nullptr, 0.0);
  list.Repeated("Radius of the rim", rim, "RimRadius", doubt).source = Source::kBeside;
}

void ListCylinder(Lister& list) {
  // The centre's height along the axis is the request's, and grows with each re-scan. So the place
  // is compared with the nominal axis at the centre's own height: what differs was measured.
  const Vector3d foot = list.NominalPlace(L"NominalCylinderCenter");
  const Vector3d axis = list.NominalPlace(L"NominalCylinderAxis");
  const double offset = list.Nominal(L"NominalCylinderBottomOffset");
  const std::optional<Vector3d> location = list.Location();
  const double height = location ? (*location - foot).dot(axis) : offset;
  list.Place(foot + height * axis);
  list.AsTold("Location along the axis").nominal = height * kMillimetres;
  if (list.Flag(L"FixAxis")) {
    Quantity& angle = list.Angle("Axis", L"NominalCylinderAxis");
    angle = {"Axis", "", Source::kRepeated};
    angle.remark = "held by \"FixAxis\"";
  } else {
    list.Angle("Axis", L"NominalCylinderAxis");
  }
  if (list.Flag(L"FixRadius")) {
    list.Repeated("Radius", list.Nominal(L"NominalCylinderRadius"), nullptr, 0.0).remark =
        "held by \"FixRadius\"";
  } else {
    list.Length("Radius", L"NominalCylinderRadius");
  }
}

void ListSlot(Lister& list) {
  list.Place(list.NominalPlace(L"NominalPoint"));
  list.Angle("Normal", L"NominalNormal");
  list.Angle("Tangent", L"NominalTangent");
  list.Length("Length", L"Length");
  list.Length("Width", L"Width");
}

void ListRectangle(Lister& list) {
  list.Place(list.NominalPlace(L"NominalPoint"));
  list.Angle("Normal", L"NominalNormal");
  list.Angle("Tangent", L"NominalTangent");
  list.Length("Length", L"NominalLength");
  list.Length("Width", L"NominalWidth");
}

void ListPolygon(Lister& list) {
  list.Place(list.NominalPlace(L"NominalPoint"));
  list.Angle("Normal", L"NominalNormal");
  // The setting "NominalAxis" reaches the normal, "NominalRadius" nothing, "MeasuredRadius" the
  // nominal one.
  const Vector3d none = Vector3d::Zero();
  list.Angle("Axis", RequestTriple(list.request(), "Feature", "Axis").value_or(none), true);
  list.Length("Radius", L"MeasuredRadius");
  Quantity& sides = list.AsTold("Sides");
  sides.unit.clear();
  sides.is_count = true;
  sides.nominal = list.feature().GetSetting<int>(L"Sides");
}

void ListEdge(Lister& list) {
  const Vector3d edge = list.NominalPlace(L"NominalEdgePoint");
  const Vector3d step = list.NominalPlace(L"NominalSurfacePoint") - edge;
  list.Place(edge);
  // The edge is looked for where the profile of one scan line passes the depth of the request.
  list.AsTold("Location along the border");
  list.AsTold("Location, depth below the surface").nominal =
      std::abs(step.dot(list.NominalPlace(L"NominalSurfaceNormal").normalized())) * kMillimetres;
}

/// The list of a class; null for one that measures nothing.
void (*ListOf(const std::string& type))(Lister&) {
  static const std::pair<const char*, void (*)(Lister&)> kLists[] = {
      {"PVI", ListSurfacePoint},    {"MatteSphere", ListSphere},    {"RobustHole", ListHole},
      {"Stud", ListCylinder},       {"ThreadedHole", ListCylinder}, {"Slot", ListSlot},
      {"Rectangle", ListRectangle}, {"Polygon", ListPolygon},       {"Edge", ListEdge}};
  for (const auto& [name, list] : kLists) {
    if (type == name) return list;
  }
  return nullptr;
}

std::string Fixed(double value, int decimals) {
  char buffer[400];  // the largest double has 309 digits before the point
  const auto end =
      std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals).ptr;
  std::string text(buffer, end);
  const bool is_zero = text.find_first_of("123456789") == std::string::npos;
  return is_zero && text.starts_with('-') ? text.substr(1) : text;
}

int DecimalsOf(std::string_view unit) { return unit == kMm ? 4 : unit == kDeg ? 3 : 0; }

}  // namespace

std::optional<double> Quantity::Deviation() const {
  if (!nominal || !measured) return std::nullopt;
  return *measured - *nominal;
}

bool Quantity::IsOff() const {
  const std::optional<double> deviation = Deviation();
  return deviation && std::abs(*deviation) > doubt;
}

std::vector<Quantity> QuantitiesOf(const std::string& request, const std::string& result,
                                   const features::Stages& stages) {
  const std::unique_ptr<Feature> feature(Feature::Create(request));
  const auto list = ListOf(feature->FeatureName());
  if (list == nullptr || !feature->GetError().empty()) return {};
  json message = json::parse(result, nullptr, false);
  if (!message.is_object()) message = json::object();
  Lister lister(request, *feature, std::move(message), stages);
  list(lister);
  return std::move(lister.quantities);
}

Vector3d SettingTriple(const Feature& feature, const wchar_t* name) {
  try {
    return feature.GetSetting<data_structures::PointXYZW>(name).xyz();
  } catch (const std::domain_error&) {
    return feature.GetSetting<data_structures::VectorXYZW>(name).xyz();
  }
}

std::optional<Vector3d> RequestTriple(const std::string& request, std::string_view place,
                                      const char* key) {
  const json root = json::parse(request, nullptr, false, true);
  if (!root.is_object()) return std::nullopt;
  if (place.empty()) return TripleIn(root, key);
  const auto part = root.find(std::string(place));
  return part == root.end() || !part->is_object() ? std::nullopt : TripleIn(*part, key);
}

std::vector<std::string> NotesOf(const std::vector<Quantity>& quantities) {
  // What nothing contradicts is no news: a fit that agrees with the repeated nominal within its
  // doubt bears it out. A nominal that no fit bears out is told, for it looks like a measurement.
  std::vector<std::string> notes;
  std::string repeated;
  const bool is_measured = std::any_of(quantities.begin(), quantities.end(),
                                       [](const Quantity& q) { return q.measured.has_value(); });
  if (!is_measured) return notes;
  for (const Quantity& q : quantities) {
    if (q.source == Source::kMeasured || q.is_count) continue;
    if (q.measured && q.IsOff()) {
      notes.push_back(q.name + ": the fit found " + SentenceText(*q.measured, q.unit) +
                      (q.source == Source::kRepeated ? ", the result repeats the nominal "
                                                     : ", the nominal is ") +
                      SentenceText(*q.nominal, q.unit) + (q.remark.empty() ? "" : "; " + q.remark));
    } else if (!q.measured && q.source == Source::kRepeated) {
      repeated += (repeated.empty() ? "" : "; ") + q.name;
      if (q.nominal) repeated += " " + SentenceText(*q.nominal, q.unit);
    }
  }
  if (!repeated.empty()) notes.push_back("not measured, as the request tells it: " + repeated);
  return notes;
}

std::string TableText(double value, std::string_view unit, bool sign) {
  if (!std::isfinite(value)) return "not finite";
  const std::string text = Fixed(value, DecimalsOf(unit));
  const bool is_zero = text.find_first_of("123456789") == std::string::npos;
  return (sign && !is_zero && value > 0.0 ? "+" : "") + text;
}

std::string SentenceText(double value, std::string_view unit) {
  std::string text = TableText(value, unit);
  if (text.find('.') != std::string::npos) {
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.')) text.pop_back();
  }
  return text + (unit.empty() ? "" : unit == kDeg ? std::string(unit) : " " + std::string(unit));
}

}  // namespace libmfx::host
