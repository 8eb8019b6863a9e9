// What is told of a request, where, and how severe.

#include "host/check.h"

#include <cmath>
#include <fstream>
#include <sstream>

#include "examples.h"
#include "program_test.h"
#include "tools/accuracy/campaign.h"
#include "tools/accuracy/jobs.h"

namespace mfx_test {
namespace {

using namespace libmfx::host;

std::vector<Finding> Found(const json& request, const CheckOptions& options = {}) {
  return CheckRequest(request.dump(), options);
}

std::string Listed(const std::vector<Finding>& findings) {
  std::string text;
  for (const Finding& finding : findings) text += finding.path + " " + FindingLine("f", finding);
  return text;
}

/// The first words of "line:column severity" of each finding, and its path.
std::vector<std::string> Places(const std::vector<Finding>& findings) {
  std::vector<std::string> places;
  for (const Finding& finding : findings) {
    places.push_back(std::to_string(finding.line) + ":" + std::to_string(finding.column) + " " +
                     SeverityName(finding.severity) + " " + finding.path);
  }
  return places;
}

TEST(CheckTest, TheExamplesAreSound) {
  int requests = 0;
  for (const auto& entry : std::filesystem::directory_iterator(Source("examples/requests"))) {
    std::ifstream file(entry.path());
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(Listed(CheckRequest(text, {})), "") << entry.path();
    ++requests;
  }
  EXPECT_EQ(requests, 10);
}

TEST(CheckTest, TheRequestsOfTheCampaignsAreSound) {
  int requests = 0;
  for (const auto& campaign : libmfx::accuracy::Campaigns()) {
    std::stringstream jobs;
    libmfx::accuracy::WriteJobs(campaign, {.count = 4}, jobs);
    for (std::string line; std::getline(jobs, line); ++requests) {
      EXPECT_EQ(Listed(Found(json::parse(line)["request"])), "") << campaign.name;
    }
  }
  EXPECT_GE(requests, 300);
}

/// A change of an example, and what is to be told of it.
struct Case {
  const char* example;
  const char* where;  ///< a JSON pointer
  json value;         ///< discarded: the value is taken out
  const char* severity;
  const char* path;  ///< of the finding; empty: `where`
  const char* words;
};

json Gone() { return json(json::value_t::discarded); }

void ExpectTold(const Case& c) {
  json request = Example(c.example).request;
  const json::json_pointer where(c.where);
  if (c.value.is_discarded()) {
    request[where.parent_pointer()].erase(where.back());
  } else {
    request[where] = c.value;
  }
  const std::vector<Finding> findings = Found(request);
  const std::string path = *c.path == '\0' ? c.where : c.path;
  const bool told = std::any_of(findings.begin(), findings.end(), [&](const Finding& finding) {
    return SeverityName(finding.severity) == c.severity && finding.path == path &&
           finding.text.find(c.words) != std::string::npos;
  });
  EXPECT_TRUE(told) << c.example << " " << c.where << ": " << Listed(findings);
  EXPECT_LE(findings.size(), 2u) << Listed(findings);
}

TEST(CheckTest, KeysThatAreNotReadAreTold) {
  const Case cases[] = {
      {"hole", "/PointSpacin", 0.001, "warning", "", "\"PointSpacing\" may be meant"},
      {"hole", "/Radius", 0.006, "warning", "", "belongs in \"Feature\""},
      {"hole", "/Feature/PointSpacing", 0.001, "warning", "", "belongs in the request"},
      {"hole", "/QualityThreshold", 50, "warning", "", "\"ScanQualityThreshold\" may be meant"},
      {"stud", "/ScanQualityThreshold", 50, "warning", "", "\"QualityThreshold\" may be meant"},
      {"edge", "/RescanThreshold", 0.1, "warning", "", "EdgeFeature does not read"},
      {"edge", "/Feature/surfacepoint", {1, 2, 3}, "warning", "", "\"SurfacePoint\" may be meant"},
      {"hole", "/a~1b", 1, "warning", "", "no feature type reads \"a/b\" in the request"},
      {"scan_path", "/Feature/Path/Segment", 1, "warning", "", "\"Segments\" may be meant"},
      {"hole", "/Feature/$type", "HolFeature", "error", "", "\"HoleFeature\" may be meant"},
      {"hole", "/Feature/$type", 5, "error", "", "there is no feature type 5"},
      {"hole", "/Feature/$type", Gone(), "error", "/Feature", "has no \"$type\""},
      {"hole", "/Feature", "x", "error", "", "no object \"Feature\""},
  };
  for (const Case& c : cases) {
    ExpectTold(c);
  }
  EXPECT_THAT(Places(CheckRequest("{}", {})), testing::ElementsAre("1:1 error "));
  json remarks = Example("hole").request;
  remarks["$schema"] = "request-hole.json";
  remarks["$comment"] = {1, 2};
  remarks["$type"] = "HoleTarget";
  EXPECT_EQ(Listed(Found(remarks)), "");
}

TEST(CheckTest, ValuesOfAnotherKindAreTold) {
  const Case cases[] = {
      {"hole", "/PointSpacing", "10 mm", "error", "", "is \"10 mm\", which reads as 0"},
      {"hole", "/ClearanceZone", nullptr, "error", "", "is null, which reads as 0"},
      {"hole", "/ClearanceZone", true, "error", "", "is true, which reads as 1"},
      {"hole", "/ClearanceZone", {1}, "error", "", "is [1], which reads as 0"},
      {"hole", "/ClearanceZone", "1e400", "error", "", "not finite"},
      {"hole", "/ScanLines", 9.5, "warning", "", "is 9.5, which reads as 9"},
      {"hole", "/ScanLines", 3e9, "error", "", "more than 32 bits hold"},
      {"polygon", "/ScansPerSide", -4, "error", "", "reads as 0"},
      {"hole", "/SearchEnabled", "yes", "warning", "", "reads as false"},
      {"hole", "/SearchEnabled", nullptr, "warning", "", "reads as false"},
      {"matte-sphere", "/UseStarPattern", "true", "error", "", "reads as 0"},
      {"hole", "/$id", 7, "warning", "", "reads as an empty text"},
      {"hole", "/Feature/Location", "0 0 2", "error", "", "reads as (0, 0, 0)"},
      {"hole", "/Feature/Location", {0.25, 0.1}, "error", "", "has 2 of 3 numbers"},
      {"hole", "/Feature/Location", {0.25, 0.1, 2.2, 1}, "warning", "", "of which 3 are read"},
      {"hole", "/Feature/Location/1", "a", "error", "", "which reads as 0"},
      {"hole", "/Feature/Normal", 1, "error", "", "reads as (0, 0, 0)"},
      {"scan_path", "/PointSpacing", "fine", "error", "", "PointSpacing type is not double or"},
      {"scan_path", "/PointSpacing", {0.1, "x"}, "error", "/PointSpacing/1", "reads as 0"},
      {"scan_path", "/Feature/Path/Segments/1", 5, "error", "", "a segment without points"},
      {"scan_path", "/Feature/Path/Segments/1/0/2", "x", "error", "", "which reads as 0"},
      {"scan_path", "/Feature/Path/Segments/0/1", {1, 2}, "error", "", "has 2 of 3 numbers"},
      {"scan_path", "/Feature/Path", 3, "error", "", "reads as an empty object"},
  };
  for (const Case& c : cases) ExpectTold(c);
  json lenient = Example("hole").request;
  lenient["PointSpacing"] = " 0.0001 ";
  lenient["SearchEnabled"] = "true";
  lenient["Feature"]["Radius"] = "6e-3";
  EXPECT_EQ(Listed(Found(lenient)), "");
}

TEST(CheckTest, ValuesThatAreRefusedOrHardlyMeantAreTold) {
  const Case cases[] = {
      {"hole", "/Feature/Radius", Gone(), "error", "/Feature", "\"Radius\" is missing"},
      {"stud", "/Feature/Radius", -0.01, "error", "", "has to be above 0, and is -0.01"},
      {"stud", "/Feature/RadiusTolerance", 0, "warning", "", "counts as absent"},
      {"edge", "/Feature/SurfaceNormal", {0, 0, 0}, "error", "", "without a length"},
      {"hole", "/PointSpacing", 0, "error", "", "it has to be above 0"},
      {"hole", "/ClearanceZone", -1e-3, "error", "", "it has to be above 0"},
      {"hole", "/Feature/Radius", 6, "warning", "", "looks like millimetres"},
      {"slot", "/Feature/Length", 30, "warning", "", "looks like millimetres"},
      {"surface-normal", "/AngleThresh", 80, "warning", "", "looks like degrees"},
      {"hole", "/ChamferAngle", 45, "warning", "", "looks like degrees"},
      {"hole", "/SearchRadiusMultiplier", 0, "error", "", "has to be above 0"},
      {"hole", "/ScanLines", 1, "warning", "", "which counts as 2"},
      {"surface-normal", "/NumberOfPoints", 5, "error", "", "6 are the least"},
      {"matte-sphere", "/NumPointsPerLine", 0, "error", "", "1 are the least"},
      {"matte-sphere", "/Feature/Radius", Gone(), "error", "/Feature", "no pattern can be scanned"},
      {"polygon", "/Feature/Sides", 2, "error", "", "3 are the least"},
      {"polygon", "/ScansPerSide", 1, "error", "", "2 are the least"},
      {"rectangle", "/ScansPerSide", 1, "error", "", "2 are the least"},
      {"slot", "/ScanPassesPerArc", 3, "error", "", "4 are the least"},
      {"stud", "/Feature/Offset", 0.03, "error", "", "no sample lies between"},
      {"stud", "/RescanThreshold", 0.001, "warning", "", "a re-scan is always asked for"},
      {"threaded-hole", "/Feature/RadiusTolerance", Gone(), "warning", "/Feature", "is then 3 m"},
      {"hole", "/ScanLines", 400000, "error", "", "the limit is 1000000"},
      {"rectangle", "/Feature/Tangent", {0.1, 0.25, -1.0}, "error", "/Feature/Normal", "parallel"},
      {"stud", "/LineSpacing", 0.02, "error", "/Feature", "nothing to drive"},
  };
  for (const Case& c : cases) ExpectTold(c);
}

TEST(CheckTest, ANominalThatCannotBeSeenIsTold) {
  const Case cases[] = {
      {"hole", "/Feature/Location", {0.01, 0.02, 0.03}, "warning", "", "m from the instrument"},
      {"hole", "/Feature/Location", {250, 100, 2200}, "warning", "", "lengths are metres"},
      {"scan_path",
       "/Feature/Path/Segments/1/0",
       {0, 0, 0.05},
       "warning",
       "/Feature/Path/Segments",
       "a point of \"Segments\" lies 0.05 m from the instrument"},
      {"rectangle", "/Feature/Normal", {-0.1, -0.25, 1}, "warning", "", "points away"},
      {"slot", "/Feature/Normal", {-0.1, -0.25, 1}, "warning", "", "points away"},
      {"polygon", "/Feature/Normal", {-0.1, -0.25, 1}, "warning", "", "points away"},
      {"surface-normal", "/Feature/Normal", {-0.1, -0.25, 1}, "error", "", "ERROR_PVI_NOMINAL_AN"},
      {"stud", "/Feature/Axis", {-0.3, -0.55, 0.78}, "error", "", "too small for a reliable"},
      {"threaded-hole", "/Feature/Axis", {0.35, 0.4, -0.85}, "error", "", "too large for a reliab"},
      {"edge", "/Feature/SurfaceNormal", {0.6, -0.03, 0.8}, "error", "/Feature/EdgePoint", "above"},
      {"edge", "/ClearanceZone", 0.0002, "error", "", "holds too few samples"},
  };
  for (const Case& c : cases) {
    ExpectTold(c);
  }
  json flat = Example("edge").request;
  flat["Feature"]["EdgePoint"] = flat["Feature"]["SurfacePoint"];
  EXPECT_THAT(Listed(Found(flat)), HasSubstr("lies in the nominal surface"));
  // Of a hole either sign of the normal will do, and what turns round needs no word.
  json hole = Example("hole").request;
  hole["Feature"]["Normal"] = {0.0, -0.35, 0.94};
  EXPECT_EQ(Listed(Found(hole)), "");
}

/// The example's edge, its border turned within the surface, in front of the instrument.
Example TurnedEdge(double degrees) {
  Example edge("edge");
  const double turn = degrees * std::acos(-1.0) / 180.0;
  const Eigen::Vector3d normal = Eigen::Vector3d(-0.6, 0.03, -0.8).normalized();
  const Eigen::Vector3d place(0.15, 0.05, 2.0);
  Eigen::Vector3d out(0.8, 0.0, -0.6);
  out = (out - out.dot(normal) * normal).normalized();
  out = std::cos(turn) * out + std::sin(turn) * normal.cross(out);
  const auto triple = [](const Eigen::Vector3d& v) { return json{v.x(), v.y(), v.z()}; };
  edge.request["Feature"]["SurfacePoint"] = triple(place - 0.007 * out);
  edge.request["Feature"]["EdgePoint"] = triple(place - 0.002 * normal);
  edge.request["QualityThreshold"] = 20;
  edge.scene["part"] = {{"type", "edge"}};
  edge.scene["pose"] = {
      {"position", triple(place)}, {"normal", triple(normal)}, {"tangent", triple(out)}};
  return edge;
}

// The beam of a turned line sweeps a plane that leans against the surface's normal: the further it
// is turned, the more. The measurement bears out what the check says.
TEST(CheckTest, AnEdgeThatIsSeenTooObliquelyIsToldBeforehand) {
  int oblique = 0;
  int square = 0;
  for (int turn = -60; turn <= 60; turn += 15) {
    const Example edge = TurnedEdge(turn);
    const std::vector<Finding> findings = Found(edge.request);
    const Folder folder;
    const Ended measured =
        RunMfx({"measure", folder.Write("r.json", edge.request.dump()), "--scene",
                folder.Write("s.json", edge.scene.dump()), "--check=off", "-q"});
    const bool refused = measured.err.find("The bi-tangent of the cross") != std::string::npos;
    EXPECT_EQ(refused, !findings.empty()) << turn << Listed(findings) << measured.err;
    if (refused) {
      EXPECT_THAT(Listed(findings), HasSubstr("in a section that is inclined"));
    }
    ++(refused ? oblique : square);
  }
  EXPECT_GE(oblique, 3);
  EXPECT_GE(square, 2);
}

TEST(CheckTest, FindingsStandWhereTheyAreWritten) {
  const std::string text =
      "// \xC3\xA4 first\r\n"
      "{ /* \"ScanLines\": */ \"ScanLines\" : \"x\",\r\n"
      "  \"$id\": \"\xC3\xA4\xC3\xA4\", \"Radius\": 1, \"ScanLines\": 5,\n"
      "  \"Feature\": {\"$type\": \"HoleFeature\", \"Radius\": 0.006,\n"
      "\t\"Location\": [1, 1, /* z */ null]}\n"
      "} // last\n"
      "more";
  EXPECT_THAT(Places(CheckRequest(text, {})),
              testing::ElementsAre("3:16 warning /Radius", "3:29 warning /ScanLines",
                                   "5:29 error /Feature/Location/2", "7:1 warning "));
}

TEST(CheckTest, ATextThatIsNoRequestIsToldWithWhatWasExpected) {
  const auto findings = CheckRequest("{\n  \"a\": 1,\n  \"b\" 2\n}", {});
  EXPECT_THAT(Places(findings), testing::ElementsAre("3:7 error "));
  EXPECT_EQ(findings[0].text, "expected ':' after the key, but '2' stands here");
}

TEST(CheckTest, ASearchThatIsNotAllowedOrNotAskedForIsTold) {
  const json hole = Example("hole").request;
  EXPECT_EQ(Listed(Found(hole, {.search = true})), "");
  EXPECT_THAT(Listed(Found(hole, {.search = false})), HasSubstr("/SearchEnabled f:"));
  json without = hole;
  without.erase("SearchEnabled");
  EXPECT_EQ(Listed(Found(without, {.search = false})), "");
  EXPECT_THAT(Listed(Found(without, {.search = true})), HasSubstr("does not allow one"));
  EXPECT_EQ(Listed(Found(Example("edge").request, {.search = true})), "");
  json spiral = hole;
  spiral["SearchPointSpacing"] = 1e-9;
  EXPECT_EQ(Listed(Found(spiral, {})), "");
  EXPECT_THAT(Listed(Found(spiral, {.search = true})), HasSubstr("/SearchPointSpacing f:1:"));
}

TEST(CheckTest, AbsurdRequestsAreToldInBoundedTime) {
  std::string many = "{\"Feature\":{\"$type\":\"ScanPathFeature\",\"Path\":{\"Segments\":[[";
  for (int i = 0; i < 200'000; ++i) many += "\"x\",";
  many += "[0,0,1]]]}},\"PointSpacing\":0.1";
  for (int i = 0; i < 20'000; ++i) many += ",\"k" + std::to_string(i) + "\":0";
  const auto findings = CheckRequest(many + "}", {});
  EXPECT_GE(findings.size(), 5u);
  EXPECT_LE(findings.size(), 100u);
  std::string twice = "{\"Feature\":{\"$type\":\"HoleFeature\"";
  for (int i = 0; i < 100'000; ++i) twice += ",\"Radius\":1";
  EXPECT_LE(CheckRequest(twice + "}}", {}).size(), 100u);
}

}  // namespace
}  // namespace mfx_test
