// What a stud's report tells of the form of its wall.

#include <algorithm>
#include <cmath>
#include <regex>
#include <string>
#include <vector>

#include "examples.h"
#include "report/plot.h"

namespace mfx_test {
namespace {

using libmfx::host::report::Extent;

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

/// A sample of the unrolled wall.
struct Drawn {
  double x;     ///< to the right, in user units
  double y;     ///< downwards
  int outside;  ///< from -4, blue, to 4, orange
};

/// The wall's samples that are drawn in a report's picture of it, those of the scale not.
std::vector<Drawn> WallIn(const std::string& html) {
  static const std::vector<std::string> colours = {"#12406f", "#3a6ea5", "#6f9bc8",
                                                   "#a3bdd6", "#c9c9c9", "#e3bd92",
                                                   "#e09a52", "#c9711b", "#8f4a06"};
  const std::size_t begin = html.find("<h3>Unrolled wall</h3>");
  const std::string picture =
      html.substr(std::min(begin, html.size()), html.find("</figure>", begin) - begin);
  static const std::regex dot(
      R"re(<circle class="sample" r="2.40" cx="([0-9.]+)" cy="([0-9.]+)" style="fill:(#[0-9a-f]+)"/>)re");
  std::vector<Drawn> drawn;
  for (std::sregex_iterator at(picture.begin(), picture.end(), dot), end; at != end; ++at) {
    const auto colour = std::find(colours.begin(), colours.end(), (*at)[3].str());
    EXPECT_NE(colour, colours.end()) << (*at)[3];
    drawn.push_back(
        {std::stod((*at)[1]), std::stod((*at)[2]), static_cast<int>(colour - colours.begin()) - 4});
  }
  return drawn;
}

/// The mean colour of the samples that a test chooses.
template <typename Chosen>
double MeanColour(const std::vector<Drawn>& wall, Chosen chosen) {
  double sum = 0.0, count = 0.0;
  for (const Drawn& d : wall) {
    if (!chosen(d)) continue;
    sum += d.outside;
    count += 1.0;
  }
  EXPECT_GT(count, 20.0);
  return sum / count;
}

// From one side a taper looks nearly like an axis that leans: what is left of it has one sign in
// the middle of the side in sight and the other one beside it, and the signs change half way up.
TEST(CylinderReportTest, TheUnrolledWallShowsATaper) {
  for (const double taper : {2e-4, -2e-4}) {
    const auto [measured, html] = SmoothStud({{"taper", taper}}).Report();
    ASSERT_EQ(measured.status, 0) << measured.err;
    const std::vector<Drawn> wall = WallIn(html);
    ASSERT_GT(wall.size(), 1000u);
    Extent x, y;
    for (const Drawn& d : wall) {
      x.Add(d.x);
      y.Add(d.y);
    }
    const auto beside_less_middle = [&](bool upper) {
      const auto is_there = [&](const Drawn& d) {
        return upper ? d.y < y.low + 0.25 * y.Size() : d.y > y.high - 0.25 * y.Size();
      };
      const auto is_middle = [&](const Drawn& d) {
        return std::abs(d.x - x.Middle()) < 0.25 * x.Size();
      };
      return MeanColour(wall, [&](const Drawn& d) { return is_there(d) && !is_middle(d); }) -
             MeanColour(wall, [&](const Drawn& d) { return is_there(d) && is_middle(d); });
    };
    const double sign = taper > 0.0 ? 1.0 : -1.0;  // wider at the end, which is up
    EXPECT_GT(sign * beside_less_middle(true), 1.0);
    EXPECT_LT(sign * beside_less_middle(false), -1.0);
    EXPECT_THAT(html, HasSubstr("averaged over the samples around each"));
  }
}

TEST(CylinderReportTest, TheUnrolledWallShowsLobes) {
  const auto [measured, html] =
      SmoothStud({{"lobes", {{{"count", 8}, {"amplitude", 5e-5}}}}}).Report();
  ASSERT_EQ(measured.status, 0) << measured.err;
  const std::vector<Drawn> wall = WallIn(html);
  ASSERT_GT(wall.size(), 1000u);
  Extent x;
  for (const Drawn& d : wall) x.Add(d.x);
  // Of eight lobes some two are in sight: from one sixteenth of the turn to the next the colour of
  // a strip changes its sign.
  std::string signs;
  for (int strip = 0; strip < 12; ++strip) {
    const double begin = x.low + x.Size() / 12.0 * strip;
    double sum = 0.0, count = 0.0;
    for (const Drawn& d : wall) {
      if (d.x < begin || d.x > begin + x.Size() / 12.0) continue;
      sum += d.outside;
      count += 1.0;
    }
    if (count < 50.0 || std::abs(sum) < count) continue;
    const char sign = sum > 0.0 ? '+' : '-';
    if (signs.empty() || signs.back() != sign) signs += sign;
  }
  EXPECT_THAT(signs, testing::AnyOf("+-+-", "-+-+", "+-+-+", "-+-+-"));
}

TEST(CylinderReportTest, TheUnrolledWallOfAThreadLiesInsideOrOutsideOfItsCrests) {
  const auto [stud, page] = Example("stud").Report();
  ASSERT_EQ(stud.status, 0) << stud.err;
  const std::vector<Drawn> grooves = WallIn(page);
  EXPECT_LT(MeanColour(grooves, [](const Drawn&) { return true; }), -1.0);
  EXPECT_LE(std::count_if(grooves.begin(), grooves.end(), [](auto& d) { return d.outside > 0; }),
            static_cast<std::ptrdiff_t>(grooves.size() / 100));
  const auto [hole, html] = Example("threaded-hole").Report();
  ASSERT_EQ(hole.status, 0) << hole.err;
  EXPECT_GT(MeanColour(WallIn(html), [](const Drawn&) { return true; }), 1.0);
  for (const std::string& text : {page, html}) {
    EXPECT_THAT(text, HasSubstr("its measured radius is that of the crests"));
    EXPECT_THAT(text, Not(HasSubstr("averaged over the samples around each")));
  }
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
  EXPECT_THAT(
      html,
      HasSubstr(
          "stripes or patches are errors of its form, as far as the fit cannot follow them; single "
          "spots are noise."));
}

TEST(CylinderReportTest, AnIdealWallHasNextToNoForm) {
  const auto [smooth, html] = SmoothStud(json()).Report();
  ASSERT_EQ(smooth.status, 0) << smooth.err;
  EXPECT_LT(FormIn(html, "Roundness, ").first, 0.02);
  EXPECT_LT(std::abs(FormIn(html, "Taper / mm").first), 0.02);
  EXPECT_THAT(smooth.err, Not(HasSubstr("The radius may be off")));
  const auto [threaded, page] = Example("stud").Report();
  ASSERT_EQ(threaded.status, 0) << threaded.err;
  EXPECT_LT(FormIn(page, "Roundness, ").first, 0.02);
  EXPECT_LT(std::abs(FormIn(page, "Taper / mm").first), 0.02);
  EXPECT_THAT(page, HasSubstr("Beside the thread, over the angles"));
  EXPECT_THAT(html, Not(HasSubstr("Beside the thread")));
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
