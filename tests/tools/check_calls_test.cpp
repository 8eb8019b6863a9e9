// `mfx check`, and what other calls make of the findings.

#include "examples.h"
#include "program_test.h"

namespace mfx_test {
namespace {

/// A request that measures well, with a key that nobody reads.
json Doubtful() {
  json request = Example("surface-normal").request;
  request["Remark"] = 1;
  return request;
}

/// One that the library refuses.
json Refused() {
  json request = Example("hole").request;
  request["Feature"].erase("Radius");
  return request;
}

std::string WithId(const json& id, const json& request) {
  return json{{"id", id}, {"request", request}, {"scene", Example("surface-normal").scene}}.dump() +
         "\n";
}

TEST(CheckCallTest, TheExitStatusTellsTheWorst) {
  const Folder folder;
  const std::string sound = Source("examples/requests/hole.json");
  const std::string doubtful = folder.Write("doubtful.json", Doubtful().dump(1));
  const std::string refused = folder.Write("refused.json", Refused().dump());
  const Ended none = RunMfx({"check", sound});
  EXPECT_EQ(none.status, 0);
  EXPECT_EQ(none.out + none.err, "");
  const Ended warned = RunMfx({"check", doubtful});
  EXPECT_EQ(warned.status, 0);
  EXPECT_EQ(warned.out,
            doubtful + ":19:2: warning: no feature type reads \"Remark\" in the request\n");
  const Ended error = RunMfx({"check", doubtful, refused, sound});
  EXPECT_EQ(error.status, 1);
  EXPECT_THAT(Lines(error.out), SizeIs(2));
  EXPECT_THAT(error.out, HasSubstr(refused + ":1:27: error: \"Radius\" is missing"));
  EXPECT_EQ(error.err, "");
  const Ended unread = RunMfx({"check", folder.Path("nothing.json"), refused});
  EXPECT_EQ(unread.status, 2);
  EXPECT_THAT(Lines(unread.out), SizeIs(1));
  EXPECT_THAT(unread.err, HasSubstr("nothing.json"));
  EXPECT_EQ(RunMfx({"check"}).status, 2);
  const Ended piped = RunMfx({"check", "-"}, {.input = "{\"a\":}"});
  EXPECT_EQ(piped.status, 1);
  EXPECT_THAT(piped.out, StartsWith("standard input:1:6: error: expected a value"));
}

TEST(CheckCallTest, ForScriptsThereIsOneLine) {
  const Folder folder;
  const std::string refused = folder.Write("refused.json", Refused().dump());
  const Ended ended = RunMfx({"check", refused, "--json"});
  EXPECT_EQ(ended.status, 1);
  ASSERT_THAT(Lines(ended.out), SizeIs(1));
  const json findings = json::parse(ended.out)["findings"];
  ASSERT_THAT(findings, SizeIs(1));
  EXPECT_EQ(findings[0],
            (json{{"file", refused},
                  {"severity", "error"},
                  {"line", 1},
                  {"column", 27},
                  {"path", "/Feature"},
                  {"text", "\"Radius\" is missing in \"Feature\": the nominal radius"}}));
  EXPECT_EQ(RunMfx({"check", Source("examples/requests/slot.json"), "--json"}).out,
            "{\"findings\":[]}\n");
}

TEST(CheckCallTest, AMeasurementTellsThemAndChangesNothing) {
  const Folder folder;
  const std::string request = folder.Write("r.json", Doubtful().dump());
  const std::vector<std::string> call = {"measure", request, "--scene",
                                         Source("examples/scenes/surface-normal.json")};
  const auto with = [&](const std::string& option) {
    std::vector<std::string> arguments = call;
    if (!option.empty()) arguments.push_back(option);
    return RunMfx(arguments);
  };
  const Ended notes = with("");
  const Ended off = with("--check=off");
  EXPECT_EQ(notes.status, 0);
  EXPECT_EQ(notes.out, off.out);
  EXPECT_THAT(notes.err, StartsWith("mfx: note: " + request + ":1:"));
  EXPECT_EQ(notes.err.substr(notes.err.find('\n') + 1), off.err);
  EXPECT_EQ(with("--check=notes").err, notes.err);
  const Ended strict = with("--check=strict");
  EXPECT_EQ(strict.status, 2);
  EXPECT_THAT(strict.out, IsEmpty());
  EXPECT_THAT(Lines(strict.err).back(), HasSubstr("mfx: the check of the request found: "));
  EXPECT_EQ(with("--check=maybe").status, 2);
}

TEST(CheckCallTest, StrictEndsBeforeAnInstrumentIsAsked) {
  const Folder folder;
  const Ended ended =
      RunMfx({"measure", folder.Write("r.json", Doubtful().dump()), "--check=strict", "--record",
              folder.Path("r.jsonl"), "--instrument", "touch '" + folder.Path("started") + "'"});
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(folder.Names(), testing::ElementsAre("r.json"));
}

TEST(CheckCallTest, APlanTellsThemToo) {
  const Ended plan = RunMfx({"plan", "-"}, {.input = Doubtful().dump()});
  EXPECT_EQ(plan.status, 0);
  EXPECT_THAT(plan.err, StartsWith("mfx: note: standard input:1:"));
  EXPECT_EQ(plan.out,
            RunMfx({"plan", "-"}, {.input = Example("surface-normal").request.dump()}).out);
  const Ended strict = RunMfx({"plan", "-", "--check=strict"}, {.input = Doubtful().dump()});
  EXPECT_EQ(strict.status, 2);
  EXPECT_THAT(strict.out, IsEmpty());
}

TEST(CheckCallTest, ABatchTellsThemWhereItsLogIsShown) {
  const std::string jobs =
      WithId(1, Example("surface-normal").request) + WithId(2, Doubtful()) + WithId(3, Refused());
  const Ended quiet = RunMfx({"batch", "-"}, {.input = jobs});
  EXPECT_THAT(quiet.err, Not(HasSubstr("note")));
  const Ended shown = RunMfx({"batch", "-", "--log"}, {.input = jobs});
  EXPECT_EQ(shown.out, quiet.out);
  EXPECT_THAT(shown.err, HasSubstr("mfx: note: job 2: /Remark: warning: no feature type reads"));
  EXPECT_THAT(shown.err, HasSubstr("mfx: note: job 3: /Feature: error: \"Radius\" is missing"));
  EXPECT_THAT(shown.err, Not(HasSubstr("job 1")));
  const Ended off = RunMfx({"batch", "-", "--log", "--check=off"}, {.input = jobs});
  EXPECT_EQ(off.out, quiet.out);
  EXPECT_THAT(off.err, Not(HasSubstr("note")));
  const Ended strict = RunMfx({"batch", "-", "--check=strict"}, {.input = jobs});
  EXPECT_EQ(strict.status, 0);
  const auto answers = Lines(strict.out);
  ASSERT_THAT(answers, SizeIs(3));
  EXPECT_EQ(answers[0], Lines(quiet.out)[0]);
  EXPECT_EQ(json::parse(answers[1])["error"],
            "the check of the request found: /Remark: warning: no feature type reads \"Remark\" in "
            "the request");
  EXPECT_THAT(json::parse(answers[2]).value("error", ""), HasSubstr("\"Radius\" is missing"));
}

}  // namespace
}  // namespace mfx_test
