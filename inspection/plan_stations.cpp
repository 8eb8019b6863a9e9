// Where the instrument stands.

#include <Eigen/Core>
#include <Eigen/SVD>
#include <numbers>

#include "host/numbers.h"
#include "inspection/plan_draft.h"
#include "sim/pose.h"

namespace libmfx::inspection {
namespace {

constexpr double kTurn = 2.0 * std::numbers::pi;

/// The nearest rotation to three rows of numbers that are nearly one.
std::optional<Eigen::Matrix3d> ReadRotation(PlanFindings& findings, const PlanValue& value) {
  constexpr double kMostOff = 1e-3;
  const auto rows = ReadList(findings, value, 3, 3);
  if (!rows) return std::nullopt;
  Eigen::Matrix3d matrix;
  for (int i = 0; i < 3; ++i) {
    const PlanValue& row = (*rows)[static_cast<std::size_t>(i)];
    const auto numbers = ReadNumbers(findings, row, 3, {}, {-1.0 - kMostOff, 1.0 + kMostOff});
    if (!numbers) return std::nullopt;
    matrix.row(i) = Eigen::Map<const Eigen::RowVector3d>(numbers->data());
  }
  const double off =
      (matrix * matrix.transpose() - Eigen::Matrix3d::Identity()).cwiseAbs().maxCoeff();
  if (!(off <= kMostOff)) {
    findings.Error(value,
                   "\"rotation\" is no rotation: its rows are off being of length 1 and "
                   "square to each other by " +
                       host::Rounded(off, 3) + ", and 0.001 is the most");
    return std::nullopt;
  }
  if (matrix.determinant() < 0.0) {
    findings.Error(value, "\"rotation\" is no rotation: it mirrors");
    return std::nullopt;
  }
  const Eigen::JacobiSVD<Eigen::Matrix3d> svd(matrix, Eigen::ComputeFullU | Eigen::ComputeFullV);
  return Eigen::Matrix3d(svd.matrixU() * svd.matrixV().transpose());
}

/// A direction of a pose that may be absent: a zero one.
std::optional<Vector3d> DirectionOr(PlanFindings& findings, const std::optional<PlanValue>& value) {
  if (!value) return Vector3d(Vector3d::Zero());
  return ReadDirection(findings, *value);
}

std::optional<Eigen::Isometry3d> ReadPose(PlanDraft& draft, const PlanValue& value) {
  PlanFindings& findings = draft.findings;
  const PlanObject pose(findings, value, "a pose", {"position", "normal", "tangent", "rotation"});
  const auto place = pose.Need("position", "where the part's origin is");
  if (!place) return std::nullopt;
  const auto position = ReadPoint(findings, *place, draft.plan.units);
  const auto rotation = pose.Get("rotation");
  Eigen::Isometry3d told = Eigen::Isometry3d::Identity();
  if (rotation) {
    for (const char* key : {"normal", "tangent"}) {
      const auto other = pose.Get(key);
      if (other) findings.Error(*other, Quoted(key) + " and \"rotation\" tell the same");
    }
    const auto matrix = ReadRotation(findings, *rotation);
    if (!position || !matrix) return std::nullopt;
    told.linear() = *matrix;
  } else {
    const auto normal = DirectionOr(findings, pose.Get("normal"));
    const auto tangent = DirectionOr(findings, pose.Get("tangent"));
    if (!position || !normal || !tangent) return std::nullopt;
    if (normal->isZero() && position->norm() < kLeast) {
      findings.Error(value,
                     "\"normal\" is missing: the part's origin is the instrument's, and no "
                     "direction leads from one to the other");
      return std::nullopt;
    }
    const sim::Pose facing = sim::Pose::Facing(*position, *normal, *tangent);
    if (!tangent->isZero() && facing.rotation.col(2).cross(*tangent).norm() < 1e-6) {
      findings.Error(*pose.Get("tangent"),
                     "\"tangent\" lies along the normal, and has to lie "
                     "across it");
      return std::nullopt;
    }
    told.linear() = facing.rotation;
  }
  told.translation() = *position;
  return told;
}

/// A window: from, to.
bool ReadWindow(PlanDraft& draft, const std::optional<PlanValue>& value, double most,
                double (&window)[2]) {
  if (!value) return true;
  const auto numbers =
      ReadNumbers(draft.findings, *value, 2, InAngles(draft.plan.units), {-most, most});
  if (!numbers) return false;
  window[0] = (*numbers)[0];
  window[1] = (*numbers)[1];
  const double width = window[1] - window[0];
  if (width > 0.0 && width <= kTurn * (1.0 + 1e-12)) return true;
  draft.findings.Error(*value,
                       value->label + (width > 0.0 ? " is more than a whole turn"
                                                   : " has to go from the lower to the higher"));
  return false;
}

/// What only known poses have, or only unknown ones.
void TellIdle(PlanFindings& findings, const PlanObject& object, bool is_known) {
  for (const char* key : {"position_off", "angle_off", "within", "azimuth", "elevation"}) {
    const bool of_known = std::string_view(key).ends_with("_off");
    const auto value = object.Get(key);
    if (!value || of_known == is_known) continue;
    findings.Warning(
        *value, Quoted(key) + " has no effect: the pose is " + (is_known ? "known" : "unknown"));
  }
}

bool ReadStation(PlanDraft& draft, const PlanValue& value) {
  constexpr double kMostOff = 100.0;  // m
  PlanFindings& findings = draft.findings;
  const std::size_t errors = findings.errors();
  const PlanObject object(
      findings, value, "a station",
      {"name", "pose", "position_off", "angle_off", "within", "azimuth", "elevation"});
  Station station;
  station.name = draft.station_names.Add(findings, object, "station");
  station.azimuth[0] = -std::numbers::pi;
  station.azimuth[1] = std::numbers::pi;
  station.elevation[0] = -std::numbers::pi / 3.0;
  station.elevation[1] = std::numbers::pi / 3.0;
  const auto pose = object.Need("pose", "an object that tells how the part stands, or \"unknown\"");
  if (pose && pose->value->is_string()) {
    ReadChoice(findings, *pose, {"unknown"});
  } else if (pose) {
    station.pose = ReadPose(draft, *pose);
  }
  if (pose) TellIdle(findings, object, !pose->value->is_string());
  const auto number = [&](const char* key, const ToldIn& in, const Limits& limits, double& into) {
    const auto told = object.Get(key);
    if (told) into = ReadNumber(findings, *told, in, limits).value_or(into);
  };
  const Units& units = draft.plan.units;
  number("position_off", InLengths(units), {0.0, kMostOff}, station.position_off);
  number("angle_off", InAngles(units), {0.0, std::numbers::pi}, station.angle_off);
  number("within", InLengths(units), {0.1, kMostOff}, station.within);
  ReadWindow(draft, object.Get("azimuth"), kTurn, station.azimuth);
  ReadWindow(draft, object.Get("elevation"), std::numbers::pi / 2.0, station.elevation);
  draft.plan.stations.push_back(station);
  return findings.errors() == errors;
}

}  // namespace

void ReadStations(PlanDraft& draft, const PlanValue& value) {
  constexpr std::size_t kMostStations = 20;
  const auto list = ReadList(draft.findings, value, 1, kMostStations);
  if (!list) return;
  draft.stations_are_sound = true;
  for (const PlanValue& element : *list) {
    draft.stations_are_sound = ReadStation(draft, element) && draft.stations_are_sound;
  }
}

}  // namespace libmfx::inspection
