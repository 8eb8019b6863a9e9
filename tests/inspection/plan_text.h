#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "inspection/plan_reader.h"

/// \file
/// The text of a plan that is sound, for a test to change.

namespace libmfx::inspection::plan_test {

inline const std::string kGoodPlan = R"({
  // a bracket
  "units": {"length": "mm", "angle": "deg"},
  "part": {"name": "Bracket", "number": "B-4711", "material": "aluminium",
           "expansion_ppm_per_k": 20, "temperature": 25},
  "stations": [
    {"name": "front", "pose": {"position": [0, 0, 2000], "normal": [0, 0, -1], "tangent": [1, 0, 0]},
     "position_off": 20, "angle_off": 5},
    {"name": "left", "pose": "unknown", "within": 3000, "azimuth": [-90, 45]}
  ],
  "defaults": {"HoleFeature": {"PointSpacing": 0.2, "ChamferAngle": 30}, "EdgeFeature": {"ClearanceZone": 4}},
  "features": [
    {"name": "B1", "type": "MatteSphereFeature", "nominal": {"Location": [-150, 60, 0], "Radius": 12.7}},
    {"name": "B2", "type": "MatteSphereFeature", "nominal": {"Location": [150, 60, 0], "Radius": 12.7}},
    {"name": "B3", "type": "MatteSphereFeature", "nominal": {"Location": [0, -90, 0], "Radius": 12.7}},
    {"name": "P1", "type": "SurfaceNormalFeature", "nominal": {"Location": [-60, 40, 0], "Normal": [0, 0, 2]}},
    {"name": "P2", "type": "SurfaceNormalFeature", "nominal": {"Location": [60, 40, 0], "Normal": [0, 0, 1]}},
    {"name": "P3", "type": "SurfaceNormalFeature", "nominal": {"Location": [0, -40, 0], "Normal": [0, 0, 1]}},
    {"name": "H1", "type": "HoleFeature", "nominal": {"Location": [0, 0, 0], "Normal": [0, 0, 1], "Radius": 6},
     "options": {"PointSpacing": 0.1, "ScanLines": 7}, "stations": ["left", "front"]},
    {"name": "H2", "type": "HoleFeature", "nominal": {"Location": [80, 0, 0], "Normal": [0, 0, 1], "Radius": 6}},
    {"name": "W1", "type": "RectangleFeature",
     "nominal": {"Location": [0, 30, 0], "Normal": [0, 0, 1], "Tangent": [1, 0, 0.1], "Length": 30, "Width": 20}},
    {"name": "E1", "type": "EdgeFeature",
     "nominal": {"SurfacePoint": [180, 0, 0], "SurfaceNormal": [0, 0, 1], "EdgePoint": [188, 0, -1]}},
    {"name": "F1", "type": "ScanPathFeature", "options": {"PointSpacing": [1, 2]},
     "nominal": {"Path": {"Segments": [[[-50, 0, 0], [50, 0, 0]], [[50, 10, 0], [-50, 10, 0]]]}}}
  ],
  "references": ["B1", "B2", {"feature": "B3", "tolerance": 0.05}],
  "datums": [
    {"name": "A", "constrains": "plane", "features": ["P1", "P2", "P3"]},
    {"name": "B", "constrains": "line", "features": ["H1", "H2"], "direction": [2, 0, 0]},
    {"name": "C", "constrains": "point", "features": ["H1"]}
  ],
  "alignment": {"method": "datums", "scale": "temperature"},
  "characteristics": [
    {"name": "H1 position", "type": "position", "features": ["H1"], "tolerance": 0.2},
    {"name": "H1 to H2", "type": "distance", "features": ["H1", "H2"], "nominal": 80, "limits": [-0.1, 0.2]},
    {"name": "window", "type": "size", "features": ["W1"], "quantity": "length", "tolerance": 0.1},
    {"name": "face", "type": "angle", "features": ["H1", "P1"], "limits": [null, 0.5]},
    {"name": "border", "type": "coordinate", "features": ["E1"], "quantity": "x", "tolerance": 0.1},
    {"name": "flat", "type": "flatness", "features": ["P1", "P2", "P3", "H2"], "tolerance": 0.1}
  ]
})";

/// A text with the one place that reads `from` changed.
inline std::string Changed(std::string text, std::string_view from, std::string_view to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at == std::string::npos) return text;
  EXPECT_EQ(text.find(from, at + 1), std::string::npos) << from << " stands twice";
  return text.replace(at, from.size(), to);
}

/// Findings as lines "line:column severity path text".
inline std::string Listed(const std::vector<host::Finding>& findings) {
  std::string text;
  for (const host::Finding& finding : findings) {
    text += std::to_string(finding.line) + ":" + std::to_string(finding.column) + " " +
            host::SeverityName(finding.severity) + " " + finding.path + " " + finding.text + "\n";
  }
  return text;
}

/// A change of the good plan, and what is to be told of it.
struct PlanCase {
  std::string from;  ///< stands once in the good plan
  std::string to;    ///< with a '^' before what is told of
  std::string path;
  std::string words;
  host::Severity severity = host::Severity::kError;
};

/// The one finding of the changed plan stands where it should and has the words.
inline void ExpectTold(const PlanCase& c) {
  SCOPED_TRACE(c.to);
  std::string text = Changed(kGoodPlan, c.from, c.to);
  const std::size_t at = text.find('^');
  ASSERT_NE(at, std::string::npos);
  text.erase(at, 1);
  const std::string before = text.substr(0, at);
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const std::size_t column = at - before.rfind('\n');
  const std::vector<host::Finding> findings = ReadPlanText(text).findings;
  ASSERT_EQ(findings.size(), 1u) << Listed(findings);
  EXPECT_EQ(findings[0].severity, c.severity);
  EXPECT_EQ(findings[0].path, c.path);
  EXPECT_EQ(findings[0].line, line);
  EXPECT_EQ(findings[0].column, static_cast<int>(column));
  EXPECT_NE(findings[0].text.find(c.words), std::string::npos) << findings[0].text;
}

}  // namespace libmfx::inspection::plan_test
