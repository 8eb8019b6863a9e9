// Successes that the library doubts: what the program says of them, and what --strict makes of it.

#include "examples.h"
#include "report/report.h"

namespace mfx_test {
namespace {

using libmfx::host::report::HtmlReport;
using libmfx::host::report::ReportData;

const std::string kCounted =
    "mfx: the measurement is doubtful, and --strict counts that as failed\n";

json SceneOf(const std::string& type) { return Example(type).scene; }

json GoodRequest(const std::string& type) { return Example(type).request; }

/// The nominal 0.6 mm off in the plane of the opening, and no re-scan that would mend it.
json DoubtfulRequest(const std::string& type) {
  json request = GoodRequest(type);
  request.erase("RescanThreshold");
  json& place = request["Feature"]["Location"];
  place = SceneOf(type)["pose"]["position"];
  // Along (1, 0, 0.1), which lies in the plane.
  place[0] = place[0].get<double>() + 0.000597;
  place[2] = place[2].get<double>() + 0.0000597;
  return request;
}

/// A request and its scene on file, and calls with them that drop the library's own lines.
class Case {
 public:
  Case(const std::string& type, const json& request)
      : _request(_folder.Write("request", request.dump())),
        _scene(_folder.Write("scene", SceneOf(type).dump())) {}

  Ended Measure(const std::vector<std::string>& more = {}) const {
    return Run({"measure", _request, "--scene", _scene, "-q"}, more);
  }
  /// Of what Record has written.
  Ended Replay(const std::vector<std::string>& more = {}) const {
    return Run({"replay", Recording(), "-q"}, more);
  }
  std::string Recording() const { return _folder.Path("r.jsonl"); }
  const Folder& folder() const { return _folder; }

 private:
  static Ended Run(std::vector<std::string> arguments, const std::vector<std::string>& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunMfx(arguments);
  }

  Folder _folder;
  std::string _request;
  std::string _scene;
};

/// The note lines that a result's warnings are to be told by.
std::string NotesOf(const std::string& result) {
  std::string notes;
  for (const json& text : json::parse(result).value("Warnings", json::array())) {
    notes += "mfx: warning: " + text.get<std::string>() + "\n";
  }
  return notes;
}

TEST(DoubtsTest, MeasureAndReplayTellEachWarning) {
  for (const char* type : {"rectangle", "polygon"}) {
    const Case doubtful(type, DoubtfulRequest(type));
    const Ended measured = doubtful.Measure({"--record", doubtful.Recording()});
    EXPECT_EQ(measured.status, 0) << measured.err;
    const json result = json::parse(measured.out);
    EXPECT_EQ(result["Success"], true);
    ASSERT_TRUE(result.contains("Warnings")) << type;
    ASSERT_THAT(result["Warnings"], Not(IsEmpty())) << type;
    EXPECT_THAT(measured.err, StartsWith("mfx: warning: The measured centre lies "));
    EXPECT_EQ(measured.err, NotesOf(measured.out));
    const Ended replayed = doubtful.Replay();
    EXPECT_EQ(replayed.status, 0);
    EXPECT_EQ(replayed.out, measured.out);
    EXPECT_EQ(replayed.err, measured.err);
  }
}

TEST(DoubtsTest, StrictCountsADoubtfulMeasurementAsFailed) {
  const Case doubtful("rectangle", DoubtfulRequest("rectangle"));
  const Ended plain = doubtful.Measure({"--record", doubtful.Recording()});
  const std::string recorded = WithoutTime(doubtful.folder().Read("r.jsonl"));
  const Ended strict = doubtful.Measure({"--strict", "--record", doubtful.Recording()});
  EXPECT_EQ(plain.status, 0);
  EXPECT_EQ(strict.status, 1);
  EXPECT_EQ(strict.out, plain.out);
  EXPECT_EQ(strict.err, NotesOf(plain.out) + kCounted);
  // It says how a result is taken, not how the measurement was held.
  EXPECT_EQ(WithoutTime(doubtful.folder().Read("r.jsonl")), recorded);
  EXPECT_EQ(doubtful.Replay().status, 0);
  const Ended replayed = doubtful.Replay({"--strict"});
  EXPECT_EQ(replayed.status, 1);
  EXPECT_EQ(replayed.out, plain.out);
  EXPECT_EQ(replayed.err, strict.err);
}

TEST(DoubtsTest, StrictChangesNothingWithoutAWarning) {
  const Case good("rectangle", GoodRequest("rectangle"));
  const Ended plain = good.Measure({"--record", good.Recording()});
  const Ended strict = good.Measure({"--strict"});
  EXPECT_EQ(plain.status, 0) << plain.err;
  EXPECT_EQ(strict.status, 0);
  EXPECT_EQ(strict.out, plain.out);
  EXPECT_EQ(strict.err, plain.err);
  EXPECT_FALSE(json::parse(plain.out).contains("Warnings"));
  const Ended replayed = good.Replay({"--strict"});
  EXPECT_EQ(replayed.status, 0);
  EXPECT_EQ(replayed.out, plain.out);
  EXPECT_THAT(replayed.err, IsEmpty());
}

/// Nothing passes its quality threshold.
json FailingRequest() {
  json request = DoubtfulRequest("rectangle");
  request["ScanQualityThreshold"] = 1000;
  return request;
}

TEST(DoubtsTest, AFailedMeasurementIsNoDoubtfulOne) {
  const Case failing("rectangle", FailingRequest());
  const Ended plain = failing.Measure();
  const Ended strict = failing.Measure({"--strict"});
  EXPECT_EQ(plain.status, 1);
  EXPECT_EQ(strict.status, 1);
  EXPECT_EQ(strict.out, plain.out);
  EXPECT_EQ(strict.err, plain.err);
  EXPECT_THAT(strict.err, HasSubstr("mfx: the measurement failed: "));
}

std::string JobWith(int id, const json& request) {
  return json{{"id", id}, {"request", request}, {"scene", SceneOf("rectangle")}, {"seed", 1}}
             .dump() +
         "\n";
}

TEST(DoubtsTest, AStrictBatchMarksTheAnswersThatAreDoubtful) {
  const Case doubtful("rectangle", DoubtfulRequest("rectangle"));
  const Ended measured = doubtful.Measure({"--record", doubtful.Recording()});
  ASSERT_THAT(measured.err, StartsWith("mfx: warning: "));
  const std::string jobs = JobWith(1, DoubtfulRequest("rectangle")) +
                           JobWith(2, GoodRequest("rectangle")) + JobWith(3, FailingRequest()) +
                           "nonsense\n" + json{{"recording", doubtful.Recording()}}.dump() + "\n";
  const Ended plain = RunMfx({"batch", "-"}, {.input = jobs});
  const Ended strict = RunMfx({"batch", "-", "--strict"}, {.input = jobs});
  EXPECT_EQ(plain.status, 0);
  EXPECT_EQ(strict.status, 0);
  const auto before = Lines(plain.out);
  const auto after = Lines(strict.out);
  ASSERT_THAT(before, SizeIs(5));
  ASSERT_THAT(after, SizeIs(5));
  const std::string result = ",\"result\":" + Lines(measured.out).at(0);
  EXPECT_EQ(before[0], "{\"id\":1" + result + "}");
  EXPECT_EQ(after[0], "{\"id\":1" + result + ",\"doubtful\":true}");
  EXPECT_EQ(after[4], "{\"id\":null" + result + ",\"doubtful\":true}");
  EXPECT_EQ(json::parse(before[1])["result"]["Success"], true);
  EXPECT_EQ(json::parse(before[2])["result"]["Success"], false);
  // A failure and an error say so already.
  for (const std::size_t line : {1, 2, 3}) EXPECT_EQ(after[line], before[line]);
}

TEST(DoubtsTest, TheHelpTellsOfStrict) {
  for (const char* call : {"measure", "replay", "batch"}) {
    EXPECT_THAT(RunMfx({call, "--help"}).out, HasSubstr("--strict")) << call;
  }
}

// ---- reports

ReportData DataWith(const std::vector<std::string>& warnings) {
  ReportData data;
  data.request = R"({"Feature": {"$type": "HoleFeature", "Name": "H1"}})";
  data.outcome.successful = true;
  data.outcome.result = R"({"$type":"HoleTargetResult","Radius":0.005,"Success":true)";
  if (!warnings.empty()) data.outcome.result += ",\"Warnings\":" + json(warnings).dump();
  data.outcome.result += "}";
  data.outcome.warnings = warnings;
  return data;
}

const char* const kGoodBox = "<div class=\"verdict good\"><b>Measured</b></div>\n";
const char* const kDoubtfulBox =
    "<div class=\"verdict doubtful\"><b>Measured, with doubts</b>\n"
    "<ul>\n<li>radius &lt; nominal &amp; more</li>\n<li>few samples</li>\n</ul>\n</div>\n";

TEST(DoubtsTest, TheReportTellsThemBesideTheVerdict) {
  const std::string plain = HtmlReport(DataWith({}));
  EXPECT_THAT(plain, HasSubstr(kGoodBox));
  std::string html = HtmlReport(DataWith({"radius < nominal & more", "few samples"}));
  ASSERT_THAT(html, HasSubstr(kDoubtfulBox));
  // The verdict tells them once, and all else is as it would be without.
  const std::string box = kDoubtfulBox;
  EXPECT_EQ(html.replace(html.find(box), box.size(), kGoodBox), plain);
}

TEST(DoubtsTest, TheReportOfAFailureTellsItsWarningsToo) {
  ReportData data = DataWith({"few samples"});
  data.outcome.successful = false;
  data.outcome.error = "No rim";
  EXPECT_THAT(HtmlReport(data),
              HasSubstr("<div class=\"verdict bad\"><b>Not measured</b><br>No rim\n"
                        "<ul>\n<li>few samples</li>\n</ul>\n</div>\n"));
}

TEST(DoubtsTest, TheProgramsReportHoldsThem) {
  const Case doubtful("polygon", DoubtfulRequest("polygon"));
  const std::string page = doubtful.folder().Path("r.html");
  const Ended measured = doubtful.Measure({"--record", doubtful.Recording(), "--report", page});
  ASSERT_EQ(measured.status, 0) << measured.err;
  const std::string html = doubtful.folder().Read("r.html");
  EXPECT_THAT(html, HasSubstr("<b>Measured, with doubts</b>"));
  EXPECT_THAT(html, HasSubstr("<li>The measured centre lies "));
  ASSERT_EQ(doubtful.Replay({"--report", page, "--strict"}).status, 1);
  EXPECT_THAT(doubtful.folder().Read("r.html"), HasSubstr("<li>The measured centre lies "));
}

}  // namespace
}  // namespace mfx_test
