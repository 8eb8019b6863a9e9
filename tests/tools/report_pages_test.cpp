// A report as people see it: on a narrow screen, in a dark browser and on paper. Left out where
// there is no browser (chromium), or nothing that draws the pages of a PDF (pdftoppm).

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <sstream>

#include "examples.h"

namespace mfx_test {
namespace {

Ended RunTool(std::vector<std::string> call) { return RunMfx(call, {.program = "/usr/bin/env"}); }

bool HasTool(const std::string& name) {
  return RunTool({"sh", "-c", "command -v " + name}).status == 0;
}

/// Calls the browser with a profile of its own, so that nothing of the user's has a say.
Ended Browse(const Folder& folder, const std::vector<std::string>& options,
             const std::string& page) {
  std::vector<std::string> call = {"chromium",       "--headless",
                                   "--no-sandbox",   "--disable-gpu",
                                   "--no-first-run", "--user-data-dir=" + folder.Path("profile")};
  call.insert(call.end(), options.begin(), options.end());
  call.push_back("file://" + page);
  return RunTool(call);
}

/// What a script finds out about a page in a window of some width. It is given the document as
/// `page` and its window as `view`, and returns a text. A window of the browser's own may have a
/// least width, so the page stands in a frame.
std::string Ask(const Folder& folder, std::string html, int width, const std::string& script,
                const std::vector<std::string>& options = {}) {
  for (std::size_t at = 0; (at = html.find_first_of("&\"", at)) != std::string::npos; at += 5) {
    html.replace(at, 1, html[at] == '&' ? "&amp;" : "&#34;");
  }
  const std::string frame =
      "<!DOCTYPE html><body><p id=\"answer\"></p><script>const ask = (view) => { const page = "
      "view.document;" +
      script + "};</script><iframe style=\"border: 0\" height=\"900\" width=\"" +
      std::to_string(width) +
      "\" onload=\"document.getElementById('answer').textContent = ask(this.contentWindow)\" "
      "srcdoc=\"" +
      html + "\"></iframe></body>";
  std::vector<std::string> all = {"--dump-dom"};
  all.insert(all.end(), options.begin(), options.end());
  const Ended ended = Browse(folder, all, folder.Write("asked.html", frame));
  EXPECT_EQ(ended.status, 0) << ended.err;
  const std::string before = "<p id=\"answer\">";
  const std::size_t at = ended.out.find(before);
  if (at == std::string::npos) return "no answer";
  const std::size_t begin = at + before.size();
  return ended.out.substr(begin, ended.out.find('<', begin) - begin);
}

/// A report with the longest things that people and requests put into one.
std::string LongReport(const Folder& folder) {
  Example example("hole");
  example.request["Feature"]["Radius"] = 0.0055;
  example.request["Feature"]["Name"] = std::string(80, 'N');
  return example
      .Report(folder, {"--label", "Part=" + std::string(120, 'x'), "--label",
                       std::string(60, 'k') + "=two words"})
      .html;
}

constexpr const char* kWidths =
    "const root = page.documentElement; return view.innerWidth + ' ' + "
    "(root.scrollWidth <= root.clientWidth ? 'fits' : root.scrollWidth);";

TEST(ReportPagesTest, ANarrowScreenNeedsNoScrollingSideways) {
  if (!HasTool("chromium")) GTEST_SKIP() << "there is no chromium here: scripts/setup.sh pages";
  const Folder folder;
  EXPECT_EQ(Ask(folder, LongReport(folder), 390, kWidths), "390 fits");
  // What is wider shows as wider.
  const std::string wide = "<body style=\"margin: 0\"><div style=\"width: 800px\">x</div></body>";
  EXPECT_EQ(Ask(folder, wide, 390, kWidths), "390 800");
}

/// Contrast of the words of a page with its ground, as the usual formula for accessible pages has
/// it: the least of all kinds of words, times 10, as a whole number.
constexpr const char* kContrast = R"(
  const light = (c) => { const v = c.match(/[\d.]+/g).slice(0, 3).map((x) => { x /= 255;
    return x <= 0.04045 ? x / 12.92 : ((x + 0.055) / 1.055) ** 2.4; });
    return 0.2126 * v[0] + 0.7152 * v[1] + 0.0722 * v[2]; };
  const ground = light(view.getComputedStyle(page.body).backgroundColor);
  let least = 99;
  for (const kind of ['h1', 'td', 'th', '.note', 'figcaption', 'svg text']) {
    const style = view.getComputedStyle(page.querySelector(kind));
    const word = light(kind.startsWith('svg') ? style.fill : style.color);
    least = Math.min(least, (Math.max(word, ground) + 0.05) / (Math.min(word, ground) + 0.05));
  }
  return (ground < 0.1 ? 'dark ' : 'light ') + Math.floor(10 * least);)";

TEST(ReportPagesTest, ADarkBrowserGetsADarkPageThatCanBeRead) {
  if (!HasTool("chromium")) GTEST_SKIP() << "there is no chromium here: scripts/setup.sh pages";
  const Folder folder;
  const std::string html = Example("edge").Report(folder).html;
  for (const std::string scheme : {"dark", "light"}) {
    const std::string told =
        Ask(folder, html, 1000, kContrast,
            {"--blink-settings=preferredColorScheme=" + std::string(scheme == "dark" ? "0" : "1")});
    ASSERT_THAT(told, StartsWith(scheme + " "));
    EXPECT_GE(std::stoi(told.substr(scheme.size())), 45) << told;  // what is asked of small print
  }
}

/// How far down the lowest ink of a page is, as a share of its height.
double LowestInk(const std::string& pgm) {
  std::istringstream file(pgm);
  std::string kind;
  std::size_t width = 0;
  std::size_t height = 0;
  std::size_t white = 0;
  file >> kind >> width >> height >> white;
  file.get();
  std::string pixels(std::istreambuf_iterator<char>(file), {});
  EXPECT_EQ(kind, "P5");
  EXPECT_EQ(pixels.size(), width * height);
  const auto last = std::find_if(pixels.rbegin(), pixels.rend(),
                                 [](char c) { return static_cast<unsigned char>(c) < 200; });
  return static_cast<double>(pixels.rend() - last) / static_cast<double>(pixels.size());
}

TEST(ReportPagesTest, OnPaperNoPageButTheLastIsHalfEmpty) {
  if (!HasTool("chromium")) GTEST_SKIP() << "there is no chromium here: scripts/setup.sh pages";
  if (!HasTool("pdftoppm")) GTEST_SKIP() << "there is no pdftoppm here: scripts/setup.sh pages";
  const std::string name = "matte-sphere";  // with tall and flat pictures and long words
  const Folder folder;
  ASSERT_FALSE(Example(name).Report(folder).html.empty());
  const Ended printed =
      Browse(folder, {"--no-pdf-header-footer", "--print-to-pdf=" + folder.Path("r.pdf")},
             folder.Path("r.html"));
  ASSERT_EQ(printed.status, 0) << printed.err;
  ASSERT_EQ(
      RunTool({"pdftoppm", "-gray", "-r", "20", folder.Path("r.pdf"), folder.Path("page")}).status,
      0);
  std::vector<std::string> pages = folder.Names();
  std::erase_if(pages, [](const std::string& file) { return !file.ends_with(".pgm"); });
  std::sort(pages.begin(), pages.end());
  ASSERT_GE(pages.size(), 2U);
  EXPECT_LE(pages.size(), 4U);
  for (const std::string& page : pages) {
    const double lowest = LowestInk(folder.Read(page));
    EXPECT_GT(lowest, page == pages.back() ? 0.0 : 0.55) << page;
  }
}

}  // namespace
}  // namespace mfx_test
