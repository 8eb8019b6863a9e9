// The pictures that a point on a surface adds to a report.

#include <cmath>

#include "examples.h"

namespace mfx_test {
namespace {

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
  const Folder folder;
  const Example example("surface-normal");
  const auto [measured, html] = example.Report(folder, {"--record", folder.Path("r.jsonl")});
  ASSERT_EQ(measured.status, 0) << measured.err;
  const json result = json::parse(measured.out);
  const std::string box = FigureOf(html, "Box and zigzag");
  const std::size_t kept = result["ScanData"]["Count"].get<std::size_t>();
  EXPECT_EQ(NumberBefore(box, "samples kept for the fit"), static_cast<double>(kept));
  // Every sample has a fate, and a dot of its own.
  const std::size_t samples = SamplesOf(folder.Read("r.jsonl"));
  EXPECT_EQ(NumberBefore(box, "samples kept for the fit") +
                NumberBefore(box, "removed as outliers") + NumberBefore(box, "not used"),
            static_cast<double>(samples));
  EXPECT_EQ(CountOf(box, "<circle"), samples);
  EXPECT_EQ(CountOf(box, "<circle class=\"sample\""), kept);
  EXPECT_THAT(box, HasSubstr("Red cross: as measured."));

  // The scatter that the picture tells is the one that the quality figure was made from.
  const std::string plane = FigureOf(html, "Fitted plane and residuals");
  const double rms = std::pow(10.0, (40.0 - result["Quality"].get<double>()) / 10.0);
  EXPECT_NEAR(NumberBefore(plane, "\xC2\xB5m"), 1e6 * rms, 0.01e6 * rms);
  EXPECT_EQ(CountOf(plane, "<circle class=\"sample\""), kept);
}

TEST(SurfaceReportTest, OutliersShowAsRemovedAndPoorSamplesAsNotUsed) {
  Example example("surface-normal");
  example.scene["noise"] = {{"stray", 0.08}, {"stray_span", 0.002}};
  const auto [measured, html] = example.Report({"--seed", "3"});
  ASSERT_EQ(measured.status, 0) << measured.err;
  const std::string box = FigureOf(html, "Box and zigzag");
  const double removed = NumberBefore(box, "removed as outliers");
  EXPECT_GE(removed, 1.0);
  EXPECT_GE(NumberBefore(box, "not used"), 1.0);
  EXPECT_EQ(static_cast<double>(CountOf(box, "<circle class=\"odd\"")), removed);
}

TEST(SurfaceReportTest, ExactSamplesAreNotMagnified) {
  Example example("surface-normal");
  example.scene["noise"] = false;
  example.scene["pose"] = {{"position", {0.0, 0.0, 2.0}}, {"normal", {0.0, 0.0, -1.0}}};
  example.request["Feature"]["Location"] = {0.0, 0.0, 2.0};
  example.request["Feature"]["Normal"] = {0.0, 0.0, -1.0};
  const auto [measured, html] = example.Report();
  ASSERT_EQ(measured.status, 0) << measured.err;
  EXPECT_THAT(FigureOf(html, "Fitted plane and residuals"), HasSubstr("0 lie beyond the picture"));
}

TEST(SurfaceReportTest, AFailureAfterTheFitShowsItsSamplesWithoutAPlane) {
  Example example("surface-normal");
  example.request["Nom2MeasAngCheck"] = 0.0001;
  const auto [failed, html] = example.Report();
  ASSERT_EQ(failed.status, 1) << failed.err;
  EXPECT_THAT(html, HasSubstr("Angle between Nominal and Measured Normals Exceeds Threshold."));
  EXPECT_THAT(FigureOf(html, "Box and zigzag"), Not(HasSubstr("as measured")));
  EXPECT_THAT(html, HasSubstr("Box and zigzag"));
  EXPECT_THAT(html, Not(HasSubstr("Fitted plane and residuals")));
}

TEST(SurfaceReportTest, AFailureBeforeTheFitShowsNoFates) {
  Example example("surface-normal");
  example.request["QualityThreshold"] = 1000;
  const auto [failed, html] = example.Report();
  ASSERT_EQ(failed.status, 1) << failed.err;
  EXPECT_THAT(html, HasSubstr("All scanned data was filtered!"));
  EXPECT_THAT(html, Not(HasSubstr("Box and zigzag")));
}

}  // namespace
}  // namespace mfx_test
