#include "page_sheets.h"

#include <cmath>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace libmfx::inspection::page_test {
namespace {

using Kind = Characteristic::Kind;

constexpr double kNone = FeatureNumbers::kNone;

/// Random numbers, the same on every machine.
class Dice {
 public:
  double Even(double from, double to) {
    return from + (to - from) * static_cast<double>(_bits()) / 4294967296.0;
  }
  Vector3d Vector(double size) { return {Even(-size, size), Even(-size, size), Even(-size, size)}; }

 private:
  std::mt19937 _bits{4711};
};

PlannedFeature Planned(const std::string& name, const std::string& type, const Vector3d& place,
                       const Vector3d& direction, const Vector3d& tangent, double length,
                       double width, double radius, json more = json::object()) {
  PlannedFeature feature;
  feature.name = name;
  feature.type = type;
  more["$type"] = type;
  more["Name"] = name;
  if (std::isfinite(radius)) more["Radius"] = radius;
  feature.request = json{{"Feature", more}};
  feature.stations = {0};
  feature.place = place;
  feature.direction = direction;
  feature.tangent = tangent;
  feature.length = length;
  feature.width = width;
  feature.radius = radius;
  return feature;
}

/// What a measurement that is off by up to 0.1 mm would have shown, with points around the place.
FeatureResult Measured(const PlannedFeature& feature, Dice& dice) {
  FeatureResult result;
  result.is_measured = true;
  result.station = 0;
  result.recording = "recordings/" + feature.name + ".rec";
  result.measured.place = feature.place + dice.Vector(1e-4);
  result.spread.place = 1e-10 * Eigen::Matrix3d::Identity();
  if (!feature.direction.isZero()) {
    result.measured.direction = (feature.direction + dice.Vector(1e-3)).normalized();
    result.spread.direction = 1e-8 * Eigen::Matrix3d::Identity();
  }
  if (!feature.tangent.isZero()) {
    result.measured.tangent = (feature.tangent + dice.Vector(1e-3)).normalized();
    result.spread.tangent = 1e-8 * Eigen::Matrix3d::Identity();
  }
  const auto size = [&dice](double nominal) { return nominal + dice.Even(-5e-5, 5e-5); };
  result.measured.length = size(feature.length);
  result.measured.width = size(feature.width);
  const bool repeats_radius = feature.type == "HoleFeature" || feature.type == "MatteSphereFeature";
  if (!repeats_radius) result.measured.radius = size(feature.radius);
  result.spread.length = result.spread.width = result.spread.radius = 4e-10;
  const bool is_ball = feature.type == "MatteSphereFeature";
  const double inner = std::isfinite(feature.radius) ? feature.radius : 0.008;
  for (int i = 0; i < 500; ++i) {
    const double angle = dice.Even(0.0, 6.283);
    const double away = is_ball ? dice.Even(0.0, 0.9 * inner) : inner + dice.Even(0.0, 0.006);
    const double up = is_ball ? std::sqrt(inner * inner - away * away) : dice.Even(0.0, 3e-5);
    result.points.push_back(feature.place +
                            Vector3d(away * std::cos(angle), away * std::sin(angle), up));
  }
  return result;
}

std::vector<PlannedFeature> BracketFeatures() {
  const Vector3d x = Vector3d::UnitX();
  const Vector3d y = Vector3d::UnitY();
  const Vector3d z = Vector3d::UnitZ();
  const Vector3d none = Vector3d::Zero();
  const json cylinder = {{"Height", 0.02}};
  return {
      Planned("B1", "MatteSphereFeature", {-0.14, 0.09, 0.01}, none, none, kNone, kNone, 0.0127),
      Planned("B2", "MatteSphereFeature", {0.14, 0.09, 0.01}, none, none, kNone, kNone, 0.0127),
      Planned("B3", "MatteSphereFeature", {0.14, -0.09, 0.01}, none, none, kNone, kNone, 0.0127),
      Planned("B4", "MatteSphereFeature", {-0.14, -0.09, 0.03}, none, none, kNone, kNone, 0.0127),
      Planned("H1", "HoleFeature", {-0.06, 0.04, 0.0}, z, none, kNone, kNone, 0.006),
      Planned("H2", "HoleFeature", {0.06, 0.04, 0.0}, z, none, kNone, kNone, 0.006),
      Planned("T1", "ThreadedHoleFeature", {0.0, 0.07, 0.0}, -z, none, kNone, kNone, 0.005,
              cylinder),
      Planned("S1", "StudFeature", {-0.1, -0.03, 0.0}, z, none, kNone, kNone, 0.004, cylinder),
      Planned("S2", "StudFeature", {0.1, -0.03, 0.0}, z, none, kNone, kNone, 0.004, cylinder),
      Planned("Window", "RectangleFeature", {0.0, 0.0, 0.0}, z, x, 0.06, 0.03, kNone),
      Planned("Slot", "SlotFeature", {0.0, -0.06, 0.0}, z, x, 0.05, 0.012, kNone),
      Planned("Hex", "PolygonFeature", {-0.06, -0.07, 0.0}, z, y, kNone, kNone, 0.012,
              {{"Sides", 6}}),
      Planned("E1", "EdgeFeature", {0.15, 0.0, -0.002}, z, x, kNone, kNone, kNone),
      Planned("P1", "SurfaceNormalFeature", {0.06, -0.07, 0.0}, z, none, kNone, kNone, kNone),
  };
}

Characteristic Asked(const std::string& name, Kind kind, std::vector<std::size_t> features,
                     const std::string& quantity, double nominal, double lower, double upper) {
  Characteristic c;
  c.name = name;
  c.kind = kind;
  c.features = std::move(features);
  c.quantity = quantity;
  c.is_angle = kind == Kind::kAngle;
  c.nominal = nominal;
  c.lower = nominal + lower;
  c.upper = nominal + upper;
  return c;
}

CharacteristicResult Judged(Verdict verdict, double measured, double standard, double share) {
  CharacteristicResult result;
  result.verdict = verdict;
  result.measured = measured;
  result.standard = standard;
  result.interval95 = {measured - 1.96 * standard, measured + 1.96 * standard};
  result.share_within = share;
  result.is_sure = true;
  return result;
}

void AskOfBracket(Sheet& sheet) {
  constexpr double kOpen = std::numeric_limits<double>::infinity();
  constexpr double kQuarter = 1.5707963267948966;
  sheet.plan.characteristics = {
      Asked("H1 true position", Kind::kPosition, {4}, "", 0.0, 0.0, 2e-4),
      Asked("H1 to H2", Kind::kDistance, {4, 5}, "", 0.12, -1e-4, 1e-4),
      Asked("S1 diameter", Kind::kSize, {7}, "diameter", 0.008, -5e-5, 0.0),
      Asked("Length of the window", Kind::kSize, {9}, "length", 0.06, -2e-4, 1e-4),
      Asked("Slot width, at least", Kind::kSize, {10}, "width", 0.012, -5e-5, kOpen),
      Asked("Slot against window", Kind::kAngle, {9, 10}, "direction,direction", kQuarter, -0.002,
            0.002),
      Asked("Border in x", Kind::kCoordinate, {12}, "x", 0.15, -1e-4, 1e-4),
      Asked("Face", Kind::kFlatness, {4, 5, 9, 13}, "", 0.0, 0.0, 1e-4),
      Asked("S2 position", Kind::kPosition, {8}, "", 0.0, 0.0, 2e-4),
      Asked("T1 in y, at most", Kind::kCoordinate, {6}, "y", 0.07, -kOpen, 1e-4),
  };
  CharacteristicResult missing;
  missing.reason = "S2 was not measured";
  CharacteristicResult unsure = Judged(Verdict::kUndecided, 0.07002, 0.0, 0.0);
  unsure.is_sure = false;
  sheet.characteristics = {Judged(Verdict::kConforms, 8.3e-5, 1.1e-5, 1.0),
                           Judged(Verdict::kConforms, 0.1200412, 1.2e-5, 0.999),
                           Judged(Verdict::kUndecided, 0.0079523, 9e-6, 0.62),
                           Judged(Verdict::kDoesNotConform, 0.0601713, 1.5e-5, 0.0),
                           Judged(Verdict::kConforms, 0.0120214, 1.4e-5, 1.0),
                           Judged(Verdict::kConforms, kQuarter + 4e-4, 3e-4, 1.0),
                           Judged(Verdict::kConforms, 0.14997, 1.5e-5, 1.0),
                           Judged(Verdict::kConforms, 6.2e-5, 1.0e-5, 0.998),
                           missing,
                           unsure};
}

}  // namespace

Sheet Bracket() {
  Sheet sheet;
  sheet.plan.part = {"Bracket", "B-4711", "aluminium", 23e-6, 22.5, 20.0};
  sheet.plan.stations = {{"front", Eigen::Isometry3d::Identity()}};
  sheet.plan.features = BracketFeatures();
  for (std::size_t i = 0; i < 4; ++i) sheet.plan.references.push_back({i, 2e-4});
  Dice dice;
  for (const PlannedFeature& feature : sheet.plan.features) {
    sheet.features.push_back(Measured(feature, dice));
  }
  FeatureResult failed;
  failed.reason = "The stud was not found: too few samples lie on its wall.";
  failed.station = 0;
  failed.recording = "recordings/009-S2.rec";
  sheet.features[8] = failed;
  sheet.features[11].is_measured = false;
  sheet.features[11].warnings = {"A third of the edge points lie off the sides."};
  sheet.program = "mfx 0.1.0";
  sheet.time = "2026-11-23T04:05:06Z";
  sheet.uncertainties = "Each from 1000 draws of the first estimate of what was measured.";
  StationResult station;
  station.pose.translation() = Vector3d(0.12, -0.08, 2.5);
  station.position_standard = Vector3d::Constant(8e-6);
  station.turn_standard = Vector3d::Constant(6e-5);
  station.instrument = "scene examples/inspection/scene.json, seed 1";
  sheet.stations = {station};
  sheet.alignment = {"references B1, B2, B4", {1.2e-5, 2.1e-5, kNone, 9e-6}, 2, 1.0000575};
  sheet.notes = {"The part stood on three feet."};
  AskOfBracket(sheet);
  return sheet;
}

Sheet HoleOff(const Vector3d& off) {
  Sheet sheet;
  const Vector3d none = Vector3d::Zero();
  sheet.plan.stations = {{"here", Eigen::Isometry3d::Identity()}};
  sheet.plan.features = {
      Planned("H", "HoleFeature", none, Vector3d::UnitZ(), none, kNone, kNone, 0.01),
      Planned("L", "MatteSphereFeature", {-0.1, 0.0, 0.0}, none, none, kNone, kNone, 0.01),
      Planned("R", "MatteSphereFeature", {0.1, 0.0, 0.0}, none, none, kNone, kNone, 0.01)};
  sheet.features.resize(3);
  for (std::size_t i = 0; i < 3; ++i) {
    sheet.features[i].is_measured = true;
    sheet.features[i].measured.place = sheet.plan.features[i].place;
  }
  sheet.features[0].measured.place += off;
  sheet.stations.resize(1);
  return sheet;
}

std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

std::string Between(const std::string& text, const std::string& before, const std::string& after) {
  const std::size_t at = text.find(before);
  if (at == std::string::npos) return {};
  const std::size_t begin = at + before.size();
  const std::size_t end = text.find(after, begin);
  return end == std::string::npos ? std::string() : text.substr(begin, end - begin);
}

}  // namespace libmfx::inspection::page_test
