// The page of an inspection as a browser shows it. Left out where there is no browser (chromium),
// or nothing that draws the pages of a PDF (pdftoppm).

#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "inspection/writers.h"
#include "page_sheets.h"

namespace libmfx::inspection::page_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

bool HasTool(const std::string& name) {
  return std::system(("command -v " + name + " > /dev/null 2>&1").c_str()) == 0;
}

/// A folder of its own for one test.
class Folder {
 public:
  Folder() : _path(std::filesystem::temp_directory_path() / "inspection-page-XXXXXX") {
    std::string name = _path.string();
    if (mkdtemp(name.data()) != nullptr) _path = name;
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string Path(const std::string& name) const { return (_path / name).string(); }
  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
  }
  std::string Read(const std::string& name) const {
    std::ifstream file(Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::size_t Count(const std::string& end) const {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(_path)) {
      count += entry.path().string().ends_with(end) ? 1 : 0;
    }
    return count;
  }

 private:
  std::filesystem::path _path;
};

/// Calls the browser with a profile of its own; what it says of the page is in "err".
/// \return whether it ended well
bool Browse(const Folder& folder, const std::string& options, const std::string& html) {
  folder.Write("page.html", html);
  const std::string call =
      "timeout 100 chromium --headless --no-sandbox --disable-gpu --no-first-run "
      "--enable-logging=stderr --v=0 --user-data-dir='" +
      folder.Path("profile") + "' " + options + " 'file://" + folder.Path("page.html") + "' > '" +
      folder.Path("out") + "' 2> '" + folder.Path("err") + "'";
  return std::system(call.c_str()) == 0;
}

/// Runs one script before the page's own and one after it.
/// \param after returns a text
/// \return the text, or what went wrong
std::string Ask(const Folder& folder, std::string html, const std::string& before,
                const std::string& after, const std::string& options = "") {
  html.insert(html.find("<script>"), "<script>" + before + "</script>");
  html.insert(html.find("</body>"),
              "<script>(() => { const done = (text) => document.body.setAttribute("
              "\"data-answer\", text); try { done((() => {" +
                  after + "})()); } catch (e) { done(\"threw \" + e); } })();</script>");
  if (!Browse(folder, options + " --dump-dom", html)) {
    return "the browser failed: " + folder.Read("err");
  }
  return Between(folder.Read("out"), "data-answer=\"", "\"");
}

/// All marks of a picture as text.
constexpr const char* kMarks = R"(
  const marks = (i) => [...document.querySelectorAll("svg.part")[i].querySelectorAll(".mark")]
    .map((mark) => mark.outerHTML).join("\n");
  const stage = (i) => document.querySelectorAll(".stage")[i];
  const first = [0, 1, 2].map(marks);)";

TEST(InspectionPageBrowserTest, TheScriptDrawsWhatStandsThereAlready) {
  if (!HasTool("chromium")) GTEST_SKIP() << "there is no chromium here";
  const Folder folder;
  const std::string answer = Ask(folder, InspectionPage(Bracket(), {}), kMarks, R"(
    return [0, 1, 2].map((i) => marks(i) === first[i] ? "same" : "other").join() + " " +
      (first[0].length > 1000) + " " + document.querySelectorAll(".turns[hidden]").length + " " +
      stage(2).tabIndex;)");
  EXPECT_EQ(answer, "same,same,same true 0 0");  // the buttons are shown: it ran to its end
  EXPECT_THAT(folder.Read("err"), Not(HasSubstr("CONSOLE")));
}

TEST(InspectionPageBrowserTest, WhatABrowserComplainsOfIsSeenByTheseTests) {
  if (!HasTool("chromium")) GTEST_SKIP() << "there is no chromium here";
  const Folder folder;
  ASSERT_TRUE(Browse(folder, "--dump-dom", "<!DOCTYPE html><script>nothing.there()</script>"));
  EXPECT_THAT(folder.Read("err"), HasSubstr("CONSOLE"));
  // The page's own policy stands in the way of whatever would fetch something.
  const std::string page =
      InspectionPage(HoleOff(Vector3d::Zero()), {"<img alt=\"\" src=\"a.png\">"});
  ASSERT_TRUE(Browse(folder, "--dump-dom", page));
  EXPECT_THAT(folder.Read("err"), AllOf(HasSubstr("CONSOLE"), HasSubstr("Content Security")));
}

TEST(InspectionPageBrowserTest, MouseTouchKeysAndButtonsTurnOnePicture) {
  if (!HasTool("chromium")) GTEST_SKIP() << "there is no chromium here";
  const Folder folder;
  const std::string answer = Ask(folder, InspectionPage(Bracket(), {}), kMarks, R"(
    const told = [];
    const note = (what) => {
      told[told.length] = what + (marks(0) === first[0] ? " rests" : " turns");
    };
    const button = (way) => document.querySelector(".view [data-turn=" + way + "]").click();
    const key = (name) => stage(0).dispatchEvent(
      new KeyboardEvent("keydown", { key: name, bubbles: true, cancelable: true }));
    const pointer = (target, type, kind, x, y) => target.dispatchEvent(new PointerEvent(type,
      { pointerId: 7, pointerType: kind, button: 0, buttons: type === "pointerup" ? 0 : 1,
        clientX: x, clientY: y, bubbles: true }));
    note("start");
    for (const way of ["left", "up", "right", "down"]) {
      button(way);
      note(way);
      button("reset");
      note("reset");
    }
    key("ArrowLeft");
    note("key");
    key("Home");
    note("home");
    key("Tab");
    note("tab");
    for (const kind of ["mouse", "touch"]) {
      pointer(stage(0), "pointerdown", kind, 100, 100);
      pointer(window, "pointermove", kind, 140, 120);
      note(kind);
      pointer(window, "pointerup", kind, 140, 120);
      button("reset");
      note("reset");
      pointer(window, "pointermove", kind, 300, 300);
      note("released");
    }
    const said = () => 3 - document.querySelectorAll(".turned[hidden]").length;
    button("left");
    told[told.length] = said();
    button("reset");
    told[told.length] = said();
    told[told.length] = marks(1) === first[1] && marks(2) === first[2] ? "alone" : "together";
    return told.join(", ");)");
  EXPECT_EQ(answer,
            "start rests, left turns, reset rests, up turns, reset rests, right turns, reset "
            "rests, down turns, reset rests, key turns, home rests, tab rests, mouse turns, reset "
            "rests, released rests, touch turns, reset rests, released rests, 1, 0, alone");
  EXPECT_THAT(folder.Read("err"), Not(HasSubstr("CONSOLE")));
}

TEST(InspectionPageBrowserTest, AFullTurnEndsWhereItBegan) {
  if (!HasTool("chromium")) GTEST_SKIP() << "there is no chromium here";
  const Folder folder;
  // 36 steps of 10 degrees. A quarter of a turn to the left shows the right side: what faced right
  // faces the reader, as in the third picture.
  const std::string answer = Ask(folder, InspectionPage(Bracket(), {}), kMarks, R"(
    const dots = (i) => [...document.querySelectorAll("svg.part")[i].querySelectorAll(".dot")]
      .map((mark) => mark.getAttribute("d").match(/-?\d+/g).map(Number));
    const off = (a, b) => Math.max(...a.flatMap((d, i) => d.map((x, k) => Math.abs(x - b[i][k]))));
    const start = dots(0);
    const button = document.querySelector(".view [data-turn=left]");
    const told = [];
    for (let i = 1; i <= 36; ++i) {
      button.click();
      if (i === 9) told[0] = off(dots(0), dots(2)) <= 1;
    }
    told[1] = off(dots(0), start) <= 1;
    told[2] = start.length;
    return told.join();)");
  EXPECT_EQ(answer, "true,true,12");
}

TEST(InspectionPageBrowserTest, NastyNamesRunNothing) {
  if (!HasTool("chromium")) GTEST_SKIP() << "there is no chromium here";
  const Folder folder;
  Sheet sheet = Bracket();
  const std::string nasty =
      "</title></style></script><script>window.broken = 1</script>\"'><svg onload='broken = 2'>";
  sheet.plan.part.name = nasty;
  sheet.notes = {nasty};
  for (PlannedFeature& feature : sheet.plan.features) feature.name = nasty;
  for (Characteristic& c : sheet.plan.characteristics) c.name = nasty;
  const std::string answer = Ask(folder, InspectionPage(sheet, {}), kMarks, R"(
    const note = document.querySelector(".first section > ul li").textContent;
    return window.broken + " " + document.querySelectorAll("svg[onload]").length + " " +
      (document.querySelector("h1").textContent === note);)");
  EXPECT_EQ(answer, "undefined 0 true");
  EXPECT_THAT(folder.Read("err"), Not(HasSubstr("CONSOLE")));
}

TEST(InspectionPageBrowserTest, ANarrowScreenNeedsNoScrollingSideways) {
  if (!HasTool("chromium")) GTEST_SKIP() << "there is no chromium here";
  const Folder folder;
  Sheet sheet = Bracket();
  sheet.plan.features[4].name = std::string(120, 'N');
  sheet.plan.characteristics[0].name = std::string(120, 'C');
  sheet.alignment.method = std::string(300, 'm');
  std::string page = InspectionPage(sheet, {});
  for (std::size_t at = 0; (at = page.find_first_of("&\"", at)) != std::string::npos; at += 5) {
    page.replace(at, 1, page[at] == '&' ? "&amp;" : "&#34;");
  }
  // A window of the browser's own may have a least width, so the page stands in a frame.
  const std::string html =
      "<!DOCTYPE html><body><iframe width=\"390\" height=\"900\" style=\"border: 0\" srcdoc=\"" +
      page +
      "\"></iframe><script>onload = () => { const view = document.querySelector('iframe')"
      ".contentWindow, root = view.document.documentElement; document.body.setAttribute("
      "'data-answer', view.innerWidth + ' ' + (root.scrollWidth <= root.clientWidth ? "
      "'fits' : root.scrollWidth)); };</script></body>";
  ASSERT_TRUE(Browse(folder, "--dump-dom", html)) << folder.Read("err");
  EXPECT_EQ(Between(folder.Read("out"), "data-answer=\"", "\""), "390 fits");
}

TEST(InspectionPageBrowserTest, ADarkBrowserShowsDarkPicturesAndPaperStaysWhite) {
  if (!HasTool("chromium")) GTEST_SKIP() << "there is no chromium here";
  const Folder folder;
  const std::string script = R"(
    const light = (c) => { const v = c.match(/[\d.]+/g).slice(0, 3).map((x) => { x /= 255;
      return x <= 0.04045 ? x / 12.92 : ((x + 0.055) / 1.055) ** 2.4; });
      return 0.2126 * v[0] + 0.7152 * v[1] + 0.0722 * v[2]; };
    const ground = light(getComputedStyle(document.body).backgroundColor);
    let least = 99;
    for (const kind of ["h1", "td", "th", ".note", "svg .name", "svg .letter", "svg text.scale",
                        ".sign.conforms", ".sign.fails", ".sign.open", ".sign.none", "button"]) {
      const style = getComputedStyle(document.querySelector(kind));
      const word = light(kind.startsWith("svg") ? style.fill : style.color);
      least = Math.min(least, (Math.max(word, ground) + 0.05) / (Math.min(word, ground) + 0.05));
    }
    return (ground < 0.1 ? "dark" : "light") + (least >= 4.0 ? " can be read" : " " + least);)";
  const std::string html = InspectionPage(Bracket(), {});
  // 4: large signs and names need 3, small print 4.5; the orange of doubts has 4.1 on white.
  EXPECT_EQ(Ask(folder, html, "", script, "--blink-settings=preferredColorScheme=0"),
            "dark can be read");
  EXPECT_EQ(Ask(folder, html, "", script, "--blink-settings=preferredColorScheme=1"),
            "light can be read");
}

TEST(InspectionPageBrowserTest, OnPaperAFeatureWithPicturesBeginsAPage) {
  if (!HasTool("chromium")) GTEST_SKIP() << "there is no chromium here";
  if (!HasTool("pdftoppm")) GTEST_SKIP() << "there is no pdftoppm here";
  const Folder folder;
  const auto pages = [&folder](const std::vector<std::string>& pictures) {
    const std::string pdf = folder.Path("page.pdf");
    EXPECT_TRUE(Browse(folder, "--no-pdf-header-footer --print-to-pdf='" + pdf + "'",
                       InspectionPage(Bracket(), pictures)));
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path(""))) {
      if (entry.path().extension() == ".pgm") std::filesystem::remove(entry.path());
    }
    const std::string call =
        "pdftoppm -gray -r 20 '" + pdf + "' '" + folder.Path("sheet") + "' > /dev/null 2>&1";
    EXPECT_EQ(std::system(call.c_str()), 0);
    return folder.Count(".pgm");
  };
  const std::size_t plain = pages({});
  EXPECT_GE(plain, 3U);  // the sheet, the part, its features
  const std::string picture = "<figure><h3>One</h3></figure>";
  const std::size_t illustrated = pages(std::vector<std::string>(14, picture));
  EXPECT_GE(illustrated, 16U);  // two, and one a feature
  EXPECT_GT(illustrated, plain);
}

}  // namespace
}  // namespace libmfx::inspection::page_test
