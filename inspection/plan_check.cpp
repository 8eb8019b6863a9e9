// What a check of a request tells, told at its place in the plan.

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "host/check.h"
#include "host/json_text.h"
#include "host/numbers.h"
#include "inspection/plan_draft.h"
#include "inspection/requests.h"

namespace libmfx::inspection {
namespace {

using host::Finding;

/// The parts of a JSON pointer, as they are.
std::vector<std::string> PartsOf(const std::string& path) {
  std::vector<std::string> parts;
  json::json_pointer pointer(path);
  for (; !pointer.empty(); pointer.pop_back()) parts.push_back(pointer.back());
  std::reverse(parts.begin(), parts.end());
  return parts;
}

/// The value within another one to which further parts of a pointer lead, as far as they do.
PlanValue Within(const PlanFindings& findings, PlanValue value,
                 const std::vector<std::string>& parts, std::size_t first) {
  for (std::size_t i = first; i < parts.size(); ++i) {
    if (value.value->is_array()) {
      const auto index = host::NumberOf<std::size_t>(parts[i]);
      if (!index || *index >= value.value->size()) break;
      value = ElementOf(findings, value, *index);
    } else {
      const auto member = MemberOf(findings, value, parts[i]);
      if (!member) break;
      value = *member;
    }
  }
  return value;
}

/// Where the plan tells what a pointer into a request leads to; the feature where it does not.
PlanValue SourceOf(const PlanFindings& findings, const RequestSource& source,
                   const std::string& path) {
  const std::vector<std::string> parts = PartsOf(path);
  const auto own = [&](const char* key) {
    const auto told = source.own.find(key);
    return told == source.own.end() ? source.self : told->second;
  };
  if (parts.empty()) return source.self;
  if (parts[0] == "$id") return own("name");
  if (parts[0] == "Feature") {
    if (parts.size() > 1 && parts[1] == "Name") return own("name");
    if (parts.size() > 1 && parts[1] == "$type") return own("type");
    return Within(findings, own("nominal"), parts, 1);
  }
  const auto root = source.root.find(parts[0]);
  return root == source.root.end() ? source.self : Within(findings, root->second, parts, 1);
}

/// Of the part at its reference temperature, so that sizes are those that the plan tells.
std::vector<Finding> FindingsAt(const PlannedFeature& feature, const Eigen::Isometry3d& pose) {
  return host::CheckRequest(host::Dump(RequestAt(feature, pose, 1.0)), {});
}

/// How far a path reaches from its middle, m; 0 of what is no path.
double ReachOf(const PlannedFeature& feature) {
  if (feature.type != "ScanPathFeature") return 0.0;
  double reach = 0.0;
  for (const json& segment : feature.request["Feature"]["Path"]["Segments"]) {
    for (const json& point : segment) {
      const Vector3d place(point[0].get<double>(), point[1].get<double>(), point[2].get<double>());
      reach = std::max(reach, (place - feature.place).norm());
    }
  }
  return reach;
}

/// Poses in which a feature is seen well, if it can be seen at all: from 2 m, straight ahead and
/// inclined. Of an unknown pose nothing else can be said.
std::vector<Eigen::Isometry3d> GoodViews(const PlannedFeature& feature) {
  constexpr double kRange = 2.0;
  constexpr double kInclined = std::numbers::pi / 6.0;
  Vector3d up = feature.direction;
  // The axis of a bore leads into the part, away from who looks at it.
  if (feature.type == "ThreadedHoleFeature") up = -up;
  if (up.isZero()) up = Vector3d::UnitZ();
  Vector3d along = feature.tangent;
  if (along.isZero()) along = up.unitOrthogonal();
  Eigen::Matrix3d part;
  part << along, up.cross(along), up;
  const Vector3d back = -Vector3d::UnitZ();  // towards the instrument
  const Vector3d side = Vector3d::UnitX();
  std::vector<Eigen::Isometry3d> views;
  // An edge is seen from over its outside, which is the side of its tangent.
  for (const auto& [lean, turn] : {std::pair(0.0, 0.0), std::pair(kInclined, 0.0),
                                   std::pair(kInclined, std::numbers::pi / 2.0)}) {
    const Vector3d normal = std::cos(lean) * back + std::sin(lean) * side;
    const Vector3d leaning = std::sin(lean) * back - std::cos(lean) * side;
    const Vector3d tangent = Eigen::AngleAxisd(turn, normal) * leaning;
    Eigen::Matrix3d seen;
    seen << tangent, normal.cross(tangent), normal;
    Eigen::Isometry3d view = Eigen::Isometry3d::Identity();
    view.linear() = seen * part.transpose();
    view.translation() =
        Vector3d(0.0, 0.0, kRange + 2.0 * ReachOf(feature)) - view.linear() * feature.place;
    views.push_back(view);
  }
  return views;
}

bool IsAmong(const Finding& finding, const std::vector<Finding>& findings) {
  return std::any_of(findings.begin(), findings.end(), [&](const Finding& other) {
    return other.path == finding.path && other.text == finding.text;
  });
}

/// Findings that do not hang on how a feature is seen: those of the first good view without errors,
/// or else those of all.
std::vector<Finding> FindingsOfUnknown(const PlannedFeature& feature) {
  std::vector<Finding> common;
  bool is_first = true;
  for (const Eigen::Isometry3d& view : GoodViews(feature)) {
    std::vector<Finding> findings = FindingsAt(feature, view);
    if (!host::HasErrors(findings)) return findings;
    if (std::exchange(is_first, false)) {
      common = std::move(findings);
      continue;
    }
    std::erase_if(common, [&](const Finding& finding) { return !IsAmong(finding, findings); });
  }
  return common;
}

/// What is told of a feature: from the first of its stations from which it can be measured; else
/// what does not hang on a pose where one is unknown, and what the first station has to say where
/// all are known.
std::vector<Finding> FindingsOf(const PlannedFeature& feature, const Plan& plan) {
  std::vector<Finding> told;
  bool is_first = true;
  bool is_unknown = false;
  for (const std::size_t index : feature.stations) {
    const Station& station = plan.stations[index];
    if (!station.pose) {
      is_unknown = true;
      continue;
    }
    std::vector<Finding> findings = FindingsAt(feature, *station.pose);
    if (!host::HasErrors(findings)) return findings;
    if (std::exchange(is_first, false)) told = std::move(findings);
  }
  return is_unknown ? FindingsOfUnknown(feature) : told;
}

}  // namespace

void CheckFeatures(PlanDraft& draft) {
  for (std::size_t i = 0; i < draft.plan.features.size(); ++i) {
    if (!draft.is_sound[i]) continue;
    for (const Finding& finding : FindingsOf(draft.plan.features[i], draft.plan)) {
      const PlanValue source = SourceOf(draft.findings, draft.sources[i], finding.path);
      draft.findings.Tell(finding.severity, source.at, source.path, finding.text);
    }
  }
}

}  // namespace libmfx::inspection
