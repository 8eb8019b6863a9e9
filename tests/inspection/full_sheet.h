#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "inspection/sheet.h"

/// \file
/// A sheet with every type of feature, every kind of characteristic and every verdict.

namespace libmfx::inspection::sheet_test {

/// A name that means something to JSON, XML and spreadsheets, with what no XML document may hold.
inline const std::string kNastyName = "=B<2> & \"x\",\n'y'\x01 \xEF\xBF\xBE \xC3\xA4";

inline PlannedFeature Planned(const std::string& name, const std::string& type, double index) {
  PlannedFeature feature;
  feature.name = name;
  feature.type = type;
  feature.stations = {0};
  feature.place = Vector3d(0.1 * index, -0.05 * index, 0.01);
  feature.direction = Vector3d::UnitZ();
  feature.tangent = Vector3d::UnitX();
  feature.length = feature.width = feature.radius = FeatureNumbers::kNone;
  return feature;
}

inline FeatureResult MeasuredAs(const PlannedFeature& planned) {
  FeatureResult result;
  result.is_measured = true;
  result.station = 0;
  result.recording = "recordings/" + planned.name + ".rec";
  result.measured.place = planned.place + Vector3d(12e-6, -23e-6, 34e-6);
  result.spread.place = Vector3d(1e-10, 4e-10, 9e-10).asDiagonal();
  result.spread.place(0, 1) = result.spread.place(1, 0) = -0.5e-10;
  if (!planned.direction.isZero()) {
    result.measured.direction = Vector3d(0.001, 0.0, 1.0).normalized();
  }
  if (!planned.tangent.isZero()) result.measured.tangent = Vector3d(1.0, 0.002, 0.0).normalized();
  for (double FeatureNumbers::*size : {&FeatureNumbers::length, &FeatureNumbers::width}) {
    const double nominal = size == &FeatureNumbers::length ? planned.length : planned.width;
    if (std::isfinite(nominal)) result.measured.*size = nominal + 50e-6;
  }
  const bool tells_radius = planned.type == "StudFeature" || planned.type == "PolygonFeature" ||
                            planned.type == "ThreadedHoleFeature";
  if (tells_radius) result.measured.radius = planned.radius - 7e-6;
  result.spread.length = result.spread.width = result.spread.radius = 4e-12;
  result.points = {planned.place, planned.place + Vector3d(0.003, 0.001, 0.0)};
  return result;
}

/// A value `deviation` off its nominal, a third of it uncertain.
inline CharacteristicResult Judged(Verdict verdict, const Characteristic& asked, double deviation) {
  CharacteristicResult result;
  result.verdict = verdict;
  result.measured = asked.nominal + deviation;
  result.standard = std::fabs(deviation) / 3.0;
  result.interval95 = {result.measured - 2.0 * result.standard,
                       result.measured + 2.0 * result.standard};
  result.share_within = verdict == Verdict::kConforms    ? 0.9987654321
                        : verdict == Verdict::kUndecided ? 0.5
                                                         : 0.01;
  result.is_sure = true;
  return result;
}

/// Indices of the features.
enum : std::size_t {
  kBall,
  kHole,
  kThread,
  kStud,
  kSlot,
  kRectangle,
  kPolygon,
  kEdge,
  kPoint,
  kPath,
  kNasty
};

inline std::vector<PlannedFeature> AllFeatures() {
  std::vector<PlannedFeature> features;
  for (const auto& [name, type] : {std::pair{"B1", "MatteSphereFeature"},
                                   {"H1", "HoleFeature"},
                                   {"T1", "ThreadedHoleFeature"},
                                   {"S1", "StudFeature"},
                                   {"L1", "SlotFeature"},
                                   {"R1", "RectangleFeature"},
                                   {"P1", "PolygonFeature"},
                                   {"E1", "EdgeFeature"},
                                   {"N1", "SurfaceNormalFeature"},
                                   {"F1", "ScanPathFeature"},
                                   {"", "HoleFeature"}}) {
    features.push_back(Planned(name, type, static_cast<double>(features.size())));
  }
  features[kNasty].name = kNastyName;
  for (const std::size_t i : {kBall, kHole, kThread, kStud, kPolygon, kNasty})
    features[i].radius = 0.006;
  for (const std::size_t i : {kSlot, kRectangle}) {
    features[i].length = 0.03;
    features[i].width = 0.012;
  }
  for (const std::size_t i : {kBall, kHole, kThread, kStud, kPoint, kPath, kNasty}) {
    features[i].tangent = Vector3d::Zero();
  }
  for (const std::size_t i : {kBall, kPath}) features[i].direction = Vector3d::Zero();
  return features;
}

inline Characteristic Asked(const std::string& name, Characteristic::Kind kind,
                            std::vector<std::size_t> features, const std::string& quantity,
                            double nominal, double lower, double upper) {
  Characteristic asked;
  asked.name = name;
  asked.kind = kind;
  asked.features = std::move(features);
  asked.quantity = quantity;
  asked.nominal = nominal;
  asked.lower = lower;
  asked.upper = upper;
  asked.is_angle = kind == Characteristic::Kind::kAngle;
  return asked;
}

inline std::vector<Characteristic> AllCharacteristics() {
  using Kind = Characteristic::Kind;
  constexpr double none = std::numeric_limits<double>::infinity();
  return {
      Asked("S1 diameter", Kind::kSize, {kStud}, "diameter", 0.012, 0.0119, 0.0121),
      Asked("B1 diameter", Kind::kSize, {kBall}, "diameter", 0.012, 0.0119, 0.0121),
      Asked("L1 length", Kind::kSize, {kSlot}, "length", 0.03, -none, 0.0302),
      Asked("R1 width", Kind::kSize, {kRectangle}, "width", 0.012, 0.0119, none),
      Asked("H1 x", Kind::kCoordinate, {kHole}, "x", 0.1, 0.0999, 0.1001),
      Asked("E1 z", Kind::kCoordinate, {kEdge}, "z", 0.01, -none, none),
      Asked("N1 normal", Kind::kCoordinate, {kPoint}, "normal", 0.0, -1e-4, 1e-4),
      Asked("H1 position", Kind::kPosition, {kHole}, "", 0.0, 0.0, 2e-4),
      Asked("B1 position", Kind::kPosition, {kBall}, "", 0.0, -none, 2e-4),
      Asked("E1 position", Kind::kPosition, {kEdge}, "", 0.0, 0.0, 2e-4),
      Asked("H1 to S1", Kind::kDistance, {kHole, kStud}, "", 0.2236, 0.2235, 0.2237),
      Asked("H1 to S1 y", Kind::kDistance, {kHole, kStud}, "y", 0.1, 0.0999, 0.1001),
      Asked("H1, L1", Kind::kAngle, {kHole, kSlot}, "direction,tangent", 1.57, 1.56, 1.58),
      Asked("flat", Kind::kFlatness, {kHole, kSlot, kRectangle, kPolygon}, "", 0.0, 0.0, 1e-4),
      Asked("-level", Kind::kCoplanarity, {kHole, kSlot, kRectangle, kPoint}, "", 0.0, 0.0, 1e-4),
      Asked("S1 in T1", Kind::kConcentricity, {kThread, kStud}, "", 0.0, 0.0, 1e-4),
      Asked("holes", Kind::kPattern, {kHole, kSlot, kRectangle}, "", 0.0, 0.0, 1e-4),
      Asked(kNastyName, Kind::kPosition, {kNasty}, "", 0.0, 0.0, 1e-4)};
}

inline Plan FullPlan() {
  Plan plan;
  plan.part.name = "Bracket <1>";
  plan.part.number = "B-4711";
  plan.part.material = "aluminium & more";
  plan.part.expansion = 23e-6;
  plan.part.temperature = 22.5;
  plan.stations.resize(1);
  plan.stations[0].name = "front";
  plan.features = AllFeatures();
  plan.references = {{kBall, 2e-4}, {kHole, 5e-5}, {kNasty, 2e-4}};
  plan.characteristics = AllCharacteristics();
  return plan;
}

/// Its characteristics conform, do not, and cannot be decided in turn; the last was not measured.
inline Sheet FullSheet() {
  Sheet sheet;
  sheet.plan = FullPlan();
  sheet.program = "mfx 0.1.0";
  sheet.time = "2026-01-31T23:59:59Z";
  sheet.uncertainties = "by 200 trials of each measurement";
  sheet.stations.resize(1);
  sheet.stations[0].pose = Eigen::Translation3d(0.12, -0.08, 2.5) *
                           Eigen::AngleAxisd(3.0, Vector3d(1.0, 2.0, 0.5).normalized());
  sheet.stations[0].position_standard = Vector3d(1e-5, 2e-5, 3e-6);
  sheet.stations[0].turn_standard = Vector3d(1e-5, 2e-5, 3e-5);
  sheet.stations[0].instrument = "scene \xFF.json";
  sheet.alignment.method = "references B1, H1";
  sheet.alignment.residuals = {12e-6, 7e-6, FeatureNumbers::kNone};
  sheet.alignment.left_out = 2;
  sheet.alignment.scale = 1.0000575;
  for (const PlannedFeature& planned : sheet.plan.features) {
    sheet.features.push_back(MeasuredAs(planned));
  }
  sheet.features[kPath].measured = {};
  FeatureResult& nasty = sheet.features[kNasty];
  nasty.is_measured = false;
  nasty.reason = "the rim was not found";
  nasty.warnings = {"too few samples <5>"};
  nasty.station.reset();
  constexpr std::array verdicts = {Verdict::kConforms, Verdict::kDoesNotConform,
                                   Verdict::kUndecided};
  for (const Characteristic& asked : sheet.plan.characteristics) {
    const Verdict verdict = verdicts[sheet.characteristics.size() % verdicts.size()];
    sheet.characteristics.push_back(Judged(verdict, asked, 60e-6));
  }
  CharacteristicResult& last = sheet.characteristics.back();
  last = {};
  last.measured = last.standard = FeatureNumbers::kNone;
  last.reason = "\"" + kNastyName + "\" was not measured";
  sheet.notes = {"the reference left out: <B2>", "-- two dashes"};
  return sheet;
}

}  // namespace libmfx::inspection::sheet_test
