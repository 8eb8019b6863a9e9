// The pictures that a point on a surface adds to a report.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
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

const char* const kRequest = "examples/requests/surface-normal.json";
const char* const kScene = "examples/scenes/surface-normal.json";

/// The number that stands before some words of a report; -1 if they are not there.
double NumberBefore(const std::string& html, const std::string& words) {
  std::smatch match;
  const std::regex pattern("([0-9.]+) " + words);
  return std::regex_search(html, match, pattern) ? std::stod(match[1]) : -1.0;
}

std::size_t Occurrences(const std::string& text, const std::string& what) {
  std::size_t n = 0;
  for (std::size_t i = text.find(what); i != std::string::npos; i = text.find(what, i + 1)) ++n;
  return n;
}

/// The part of a report that shows the figure of this title.
std::string FigureOf(const std::string& html, const std::string& title) {
  const std::size_t begin = html.find("<h3>" + title + "</h3>");
  if (begin == std::string::npos) return {};
  return html.substr(begin, html.find("</figure>", begin) - begin);
}

/// Samples that the instrument was asked for: those of the recording.
std::size_t SamplesOf(const std::string& recording) {
  for (std::size_t at = 0; at < recording.size();) {
    const std::size_t end = recording.find('\n', at);
    const json line = json::parse(recording.substr(at, end - at));
    if (line.contains("samples")) return line["samples"].size();
    at = end + 1;
  }
  return 0;
}

TEST(SurfaceReportTest, ShowsTheBoxAndTheResidualsOfTheFittedPlane) {
  Folder folder;
  const Ended measured = RunMfx({"measure", Source(kRequest), "--scene", Source(kScene), "--report",
                                 folder.Path("r.html"), "--record", folder.Path("r.jsonl")});
  ASSERT_EQ(measured.status, 0) << measured.err;
  const std::string html = folder.Read("r.html");
  const json result = json::parse(measured.out);
  const std::string box = FigureOf(html, "Box and zigzag");
  const std::size_t kept = result["ScanData"]["Count"].get<std::size_t>();
  EXPECT_EQ(NumberBefore(box, "samples kept for the fit"), static_cast<double>(kept));
  // Every sample has a fate, and a dot of its own.
  const std::size_t samples = SamplesOf(folder.Read("r.jsonl"));
  EXPECT_EQ(NumberBefore(box, "samples kept for the fit") +
                NumberBefore(box, "removed as outliers") + NumberBefore(box, "not used"),
            static_cast<double>(samples));
  EXPECT_EQ(Occurrences(box, "<circle"), samples);
  EXPECT_EQ(Occurrences(box, "<circle class=\"sample\""), kept);
  EXPECT_THAT(box, HasSubstr("Red cross: as measured."));

  // The scatter that the picture tells is the one that the quality figure was made from.
  const std::string plane = FigureOf(html, "Fitted plane and residuals");
  const double rms = std::pow(10.0, (40.0 - result["Quality"].get<double>()) / 10.0);
  EXPECT_NEAR(NumberBefore(plane, "\xC2\xB5m"), 1e6 * rms, 0.01e6 * rms);
  EXPECT_EQ(Occurrences(plane, "<circle class=\"sample\""), kept);
}

TEST(SurfaceReportTest, OutliersShowAsRemovedAndPoorSamplesAsNotUsed) {
  Folder folder;
  json scene = json::parse(folder.Read(Source(kScene)));
  scene["noise"] = {{"stray", 0.08}, {"stray_span", 0.002}};
  const Ended measured =
      RunMfx({"measure", Source(kRequest), "--scene", folder.Write("scene.json", scene.dump()),
              "--seed", "3", "--report", folder.Path("r.html")});
  ASSERT_EQ(measured.status, 0) << measured.err;
  const std::string box = FigureOf(folder.Read("r.html"), "Box and zigzag");
  const double removed = NumberBefore(box, "removed as outliers");
  EXPECT_GE(removed, 1.0);
  EXPECT_GE(NumberBefore(box, "not used"), 1.0);
  EXPECT_EQ(static_cast<double>(Occurrences(box, "<circle class=\"odd\"")), removed);
}

TEST(SurfaceReportTest, ExactSamplesAreNotMagnified) {
  Folder folder;
  json scene = json::parse(folder.Read(Source(kScene)));
  scene["noise"] = false;
  scene["pose"] = {{"position", {0.0, 0.0, 2.0}}, {"normal", {0.0, 0.0, -1.0}}};
  json request = json::parse(folder.Read(Source(kRequest)));
  request["Feature"]["Location"] = {0.0, 0.0, 2.0};
  request["Feature"]["Normal"] = {0.0, 0.0, -1.0};
  const Ended measured =
      RunMfx({"measure", folder.Write("request.json", request.dump()), "--scene",
              folder.Write("scene.json", scene.dump()), "--report", folder.Path("r.html")});
  ASSERT_EQ(measured.status, 0) << measured.err;
  EXPECT_THAT(FigureOf(folder.Read("r.html"), "Fitted plane and residuals"),
              HasSubstr("0 lie beyond the picture"));
}

TEST(SurfaceReportTest, AFailureAfterTheFitShowsItsSamplesWithoutAPlane) {
  Folder folder;
  json request = json::parse(folder.Read(Source(kRequest)));
  request["Nom2MeasAngCheck"] = 0.0001;
  const Ended failed = RunMfx({"measure", folder.Write("request.json", request.dump()), "--scene",
                               Source(kScene), "--report", folder.Path("r.html")});
  ASSERT_EQ(failed.status, 1) << failed.err;
  const std::string html = folder.Read("r.html");
  EXPECT_THAT(html, HasSubstr("Angle between Nominal and Measured Normals Exceeds Threshold."));
  EXPECT_THAT(FigureOf(html, "Box and zigzag"), Not(HasSubstr("as measured")));
  EXPECT_THAT(html, HasSubstr("Box and zigzag"));
  EXPECT_THAT(html, Not(HasSubstr("Fitted plane and residuals")));
}

TEST(SurfaceReportTest, AFailureBeforeTheFitShowsNoFates) {
  Folder folder;
  json request = json::parse(folder.Read(Source(kRequest)));
  request["QualityThreshold"] = 1000;
  const Ended failed = RunMfx({"measure", folder.Write("request.json", request.dump()), "--scene",
                               Source(kScene), "--report", folder.Path("r.html")});
  ASSERT_EQ(failed.status, 1) << failed.err;
  const std::string html = folder.Read("r.html");
  EXPECT_THAT(html, HasSubstr("All scanned data was filtered!"));
  EXPECT_THAT(html, Not(HasSubstr("Box and zigzag")));
}

}  // namespace
