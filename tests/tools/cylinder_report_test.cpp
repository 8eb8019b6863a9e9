// What a stud's report tells of the form of its wall.

#include "examples.h"

namespace mfx_test {
namespace {

/// The example's stud without a thread, of 5 mm, with errors of form.
Example SmoothStud(const json& form) {
  Example example("stud");
  json& part = example.scene["part"];
  part.erase("thread");
  part["radius"] = 0.005;
  if (!form.is_null()) part["form"] = form;
  return example;
}

/// The numbers of a row of the table of errors of form: measured and standard uncertainty, mm.
std::pair<double, double> FormIn(const std::string& html, const std::string& name) {
  const std::size_t row = html.find("<td>" + name);
  if (row == std::string::npos) {
    ADD_FAILURE() << "no row " << name;
    return {};
  }
  const std::string cell = "<td class=\"number\">";
  const std::size_t first = html.find(cell, row) + cell.size();
  const std::size_t second = html.find(cell, first) + cell.size();
  return {std::stod(html.substr(first)), std::stod(html.substr(second))};
}

TEST(CylinderReportTest, TellsTheFormOfASmoothWall) {
  const Example example = SmoothStud({{"taper", 2e-4}});
  const auto [measured, html] = example.Report();
  ASSERT_EQ(measured.status, 0) << measured.err;
  EXPECT_THAT(html, HasSubstr("<h2>Form of the wall</h2>"));
  const auto [taper, uncertainty] = FormIn(html, "Taper / mm");
  // "Offset" and "Height" leave 21 mm of the 24.5 mm between plate and lead.
  EXPECT_LT(uncertainty, 0.01);
  EXPECT_NEAR(taper, 0.2 * 21.0 / 24.5, 0.01 + 3.0 * uncertainty);
  EXPECT_THAT(html, HasSubstr("stripes or patches are errors of its form."));
}

TEST(CylinderReportTest, AnIdealWallHasNextToNoFormAndAThreadedOneNone) {
  const auto [smooth, html] = SmoothStud(json()).Report();
  ASSERT_EQ(smooth.status, 0) << smooth.err;
  EXPECT_LT(FormIn(html, "Roundness, ").first, 0.02);
  EXPECT_LT(std::abs(FormIn(html, "Taper / mm").first), 0.02);
  EXPECT_THAT(smooth.err, Not(HasSubstr("The radius may be off")));
  const auto [threaded, page] = Example("stud").Report();
  ASSERT_EQ(threaded.status, 0) << threaded.err;
  EXPECT_THAT(page, Not(HasSubstr("Form of the wall")));
}

TEST(CylinderReportTest, LobesSeenFromOneSideAreDoubted) {
  const Example example =
      SmoothStud({{"lobes", {{{"count", 3}, {"amplitude", 5e-5}, {"crest_deg", 90}}}}});
  const auto [measured, html] = example.Report();
  ASSERT_EQ(measured.status, 0) << measured.err;
  EXPECT_THAT(measured.err, HasSubstr("The radius may be off by "));
  EXPECT_THAT(html, HasSubstr("Measured, with doubts"));
}

}  // namespace
}  // namespace mfx_test
