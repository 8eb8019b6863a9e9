// The pictures that a matte sphere adds to a report.

#include "examples.h"

namespace mfx_test {
namespace {

TEST(SphereReportTest, ShowsStrokePartsFatesAndResiduals) {
  const Example example("matte-sphere");
  const auto [measured, html] = example.Report();
  ASSERT_EQ(measured.status, 0) << measured.err;
  for (const char* title : {"Ranging stroke", "Parts of the scan", "What became of the samples",
                            "Residuals of the sphere", "Scan 1, SURFACE_RANGE"}) {
    EXPECT_THAT(html, HasSubstr("<h3>" + std::string(title) + "</h3>"));
  }
  // The fates add up, and agree with the library's own count.
  const json result = json::parse(measured.out);
  const double kept = NumberBefore(html, "kept in the last fit");
  EXPECT_EQ(kept + NumberBefore(html, "left out of it") +
                NumberBefore(html, "rejected as too far") + NumberBefore(html, "not used"),
            result["ScanData"]["Count"].get<int>());
  EXPECT_EQ(kept, result["FinalFitcount"].get<int>());
}

TEST(SphereReportTest, StrayPointsShowAsRejectedOrNotUsed) {
  Example example("matte-sphere");
  example.scene["noise"]["stray"] = 0.05;
  const auto [measured, html] = example.Report();
  ASSERT_EQ(measured.status, 0) << measured.err;
  EXPECT_GT(NumberBefore(html, "rejected as too far"), 5);
  EXPECT_GT(NumberBefore(html, "not used"), 20);
}

TEST(SphereReportTest, AFailureShowsTheScanWithoutASphere) {
  Example example("matte-sphere");
  example.request["Feature"]["Radius"] = 0.0137;
  const auto [failed, html] = example.Report();
  ASSERT_EQ(failed.status, 1) << failed.err;
  EXPECT_THAT(html, HasSubstr("Parts of the scan"));
  EXPECT_THAT(html, Not(HasSubstr("Residuals of the sphere")));
}

TEST(SphereReportTest, ARequestWithoutARadiusShowsNoPartsAtAll) {
  Example example("matte-sphere");
  example.request["Feature"].erase("Radius");
  const auto [failed, html] = example.Report();
  ASSERT_EQ(failed.status, 1) << failed.err;
  EXPECT_THAT(html, HasSubstr("Box scan dimension less than or equal to 0"));
  EXPECT_THAT(html, Not(HasSubstr("Parts of the scan")));
}

}  // namespace
}  // namespace mfx_test
