// The pictures that a matte sphere adds to a report.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <regex>

#include "program.h"

namespace {

using mfx_test::Ended;
using mfx_test::Folder;
using mfx_test::RunMfx;
using mfx_test::Source;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

const char* const kRequest = "examples/requests/matte-sphere.json";
const char* const kScene = "examples/scenes/matte-sphere.json";

/// The number that stands before some words of a report.
int NumberBefore(const std::string& html, const std::string& words) {
  std::smatch match;
  return std::regex_search(html, match, std::regex("(\\d+) " + words)) ? std::stoi(match[1]) : -1;
}

TEST(SphereReportTest, ShowsStrokePartsFatesAndResiduals) {
  Folder folder;
  const Ended measured = RunMfx(
      {"measure", Source(kRequest), "--scene", Source(kScene), "--report", folder.Path("r.html")});
  ASSERT_EQ(measured.status, 0) << measured.err;
  const std::string html = folder.Read("r.html");
  for (const char* title : {"Ranging stroke", "Parts of the scan", "What became of the samples",
                            "Residuals of the sphere", "Scan 1, SURFACE_RANGE"}) {
    EXPECT_THAT(html, HasSubstr("<h3>" + std::string(title) + "</h3>"));
  }
  // The fates add up, and agree with the library's own count but for samples at a limit.
  const json result = json::parse(measured.out);
  const int kept = NumberBefore(html, "kept in the last fit");
  EXPECT_EQ(kept + NumberBefore(html, "left out of it") +
                NumberBefore(html, "rejected as too far") + NumberBefore(html, "not used"),
            result["ScanData"]["Count"].get<int>());
  EXPECT_NEAR(kept, result["FinalFitcount"].get<int>(), 20);
}

TEST(SphereReportTest, StrayPointsShowAsRejectedOrNotUsed) {
  Folder folder;
  json scene = json::parse(folder.Read(Source(kScene)));
  scene["noise"]["stray"] = 0.05;
  const Ended measured =
      RunMfx({"measure", Source(kRequest), "--scene", folder.Write("scene.json", scene.dump()),
              "--report", folder.Path("r.html")});
  ASSERT_EQ(measured.status, 0) << measured.err;
  const std::string html = folder.Read("r.html");
  EXPECT_GT(NumberBefore(html, "rejected as too far"), 5);
  EXPECT_GT(NumberBefore(html, "not used"), 20);
}

TEST(SphereReportTest, AFailureShowsTheScanWithoutASphere) {
  Folder folder;
  json request = json::parse(folder.Read(Source(kRequest)));
  request["Feature"]["Radius"] = 0.0137;
  const Ended failed = RunMfx({"measure", folder.Write("request.json", request.dump()), "--scene",
                               Source(kScene), "--report", folder.Path("r.html")});
  ASSERT_EQ(failed.status, 1) << failed.err;
  const std::string html = folder.Read("r.html");
  EXPECT_THAT(html, HasSubstr("Parts of the scan"));
  EXPECT_THAT(html, Not(HasSubstr("Residuals of the sphere")));
}

TEST(SphereReportTest, ARequestWithoutARadiusShowsNoPartsAtAll) {
  Folder folder;
  json request = json::parse(folder.Read(Source(kRequest)));
  request["Feature"].erase("Radius");
  const Ended failed = RunMfx({"measure", folder.Write("request.json", request.dump()), "--scene",
                               Source(kScene), "--report", folder.Path("r.html")});
  ASSERT_EQ(failed.status, 1) << failed.err;
  const std::string html = folder.Read("r.html");
  EXPECT_THAT(html, HasSubstr("Box scan dimension less than or equal to 0"));
  EXPECT_THAT(html, Not(HasSubstr("Parts of the scan")));
}

}  // namespace
