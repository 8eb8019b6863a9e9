// What mfx check-instrument says of instruments that misbehave, one after the other, and of those
// that do not.

#include <atomic>
#include <set>
#include <thread>

#include "documents.h"
#include "program_test.h"

namespace mfx_test {
namespace {

const std::string kScript = "tests/tools/instruments/misbehaving.py";

std::string Misbehaving(const std::string& name) {
  return "python3 -B '" + Source(kScript) + "' " + name;
}

Ended Check(const std::string& command, const std::vector<std::string>& more = {}) {
  std::vector<std::string> arguments = {"check-instrument", command};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return RunMfx(arguments);
}

/// An instrument that can be driven, and what is wrong with it.
struct Case {
  const char* name;            ///< of the instrument, and of the finding
  const char* words;           ///< that no other instrument gets
  const char* also = "";       ///< another finding that follows from it
  const char* timeout = "20";  ///< seconds
  std::vector<int> drives = {1, 2};
};

const Case kCases[] = {
    {"azimuth-mirrored", "the azimuth has the wrong sign"},
    {"elevation-mirrored", "the elevation has the wrong sign"},
    {"angles-mirrored", "azimuth and elevation both have the wrong sign"},
    {"angles-swapped", "azimuth and elevation stand in each other's place"},
    {"azimuth-turned", "azimuths are off by whole turns"},
    {"zenith", "the second value is the angle from straight up"},
    {"degrees", "the angles are degrees"},
    {"gons", "the angles are gons"},
    {"milliradians", "the angles are milliradians"},
    {"degrees-driven", "the drive points were taken for degrees"},
    {"angles-doubled", "the angles are twice those that were driven"},
    {"angles-halved", "the angles are half of those that were driven"},
    {"angles-shifted", "by the same 0.2 rad in azimuth and -0.1 rad in elevation"},
    {"off-path", "% of the samples lie off the driven line"},
    {"range-first", "the order of a row is [range, azimuth, elevation, ...]"},
    {"range-second", "the order of a row is [azimuth, range, elevation, ...]"},
    {"cartesian", "the first three values of a row are x, y, z"},
    {"range-millimetres", "ranges look like millimetres"},
    {"range-constant", "every sample has the same range"},
    {"range-zero", "the range of every sample is 0"},
    {"range-negative", "ranges are negative"},
    {"range-absurd", "half of the ranges lie below 0.00199"},
    {"range-copied", "ranges are those of the drive points"},
    {"quality-zero", "the quality of every sample is 0"},
    {"quality-fraction", "the quality looks like a fraction"},
    {"quality-too-large", "qualities reach 3613, beyond 100"},
    {"quality-negative", "qualities are negative"},
    {"quality-low", "no quality is above 30.11"},
    {"status-from-one", "the status is one too high"},
    {"status-of-start", "the status is one too low"},
    {"status-zero", "the status is always 0"},
    {"status-constant", "the status is always the same"},
    {.name = "status-goes-on",
     .words = "the status goes on counting from the drive before",
     .drives = {2}},
    {"status-of-lines", "the status counts the sampled lines alone"},
    {"status-of-samples", "the status is the number of the sample"},
    {"status-beyond", "drive points, which count from 0: row"},
    {"status-negative", "the status is negative"},
    {"status-mixed", "the status does not fit the place of"},
    {"status-fraction", "the status is no whole number"},
    {"status-null", "the status is null"},
    {"status-too-large", "the status does not fit into 32 bits"},
    {"spacing-wide", "samples lie 2 times as far apart as asked for"},
    {"spacing-dense", "samples lie at 0.5 of the spacing"},
    {"spacing-radians", "the spacing was taken for radians"},
    {"spacing-degrees", "the spacing was taken for degrees"},
    {"spacing-on-wall", "samples are as far apart as asked for on the wall"},
    {"spacing-own", "samples are equally far apart whatever spacing is asked for"},
    {"ends-alone", "only the drive points themselves were sampled"},
    {"jump-sampled", "samples were taken on moves with a spacing of 0"},
    {"move-missing", "no samples came of the moves to drive points 3, 5"},
    {"move-cut-short", "the move to drive point 1 is sampled over 48 % of its length"},
    {"order-reversed", "the samples come in the reverse order"},
    {"lines-reversed", "each line is sampled from its end to its start"},
    {"order-shuffled", "the samples are out of order"},
    {"samples-repeated", "samples come again, the same in every digit"},
    {"few-samples", "only 15 samples came, and some 181 were asked for"},
    {"no-samples", "the answer has no samples"},
    {"all-null", "every sample has a null in it"},
    {"nan-word", "the answer holds a word for a number"},
    {"decimal-comma", "the numbers have decimal commas"},
    {"row-too-short", "row 0 has 4 values, not five"},
    {"row-too-long", "row 0 has 6 values, not five"},
    {"row-object", "the samples are objects"},
    {"row-no-array", "1.99262 90.3334 1\\\"', not five numbers"},
    {"row-no-number", "row 0 holds 'true' where a number belongs"},
    {"samples-flat", "is one flat list of numbers"},
    {"number-as-text", "numbers are texts"},
    {"wrong-key", "the samples stand under 'points'"},
    {"missing-key", "the answer has neither"},
    {"samples-no-array", "is null, not an array of rows"},
    {"line-array", "the answer is an array, without an object around it"},
    {"line-no-object", "the answer is no JSON object"},
    {"line-cut-off", "the answer breaks off after 1000 bytes"},
    {"line-broken-up", "the answer stands on several lines, the first of which is '{'"},
    {"line-malformed", "the answer is not JSON: it is not JSON at byte"},
    {"line-no-json", "the answer is no JSON but a text: 'OK'"},
    {"line-blank", "the answer is a blank line"},
    {"line-huge", "the answer is a line of 4720813 bytes"},
    {"single-quotes", "the answer is quoted with '"},
    {"not-utf8", "the answer is not UTF-8: byte 15761 is FC"},
    {"byte-order-mark", "the answer begins with a byte-order mark"},
    {"says-error", "the instrument says that it cannot drive: 'the cover is closed'"},
    {.name = "banner", .words = "a line that is no answer comes before", .drives = {1}},
    {"extra-line", "more than one line comes for one drive"},
    {.name = "slow", .words = "the answer took longer", .timeout = "4", .drives = {1}},
    {.name = "ended", .words = "it ended, or closed its output", .drives = {2}},
    {.name = "does-not-end", .words = "it does not end when its input is closed", .drives = {2}},
    {.name = "late",
     .words = "the samples are those of the drive before",
     .also = "no-samples",
     .drives = {2}},
};

/// Checks many instruments, some at a time: most of the time they are waited for.
std::vector<Ended> CheckAll(const std::vector<std::vector<std::string>>& calls) {
  std::vector<Ended> ended(calls.size());
  std::atomic<std::size_t> next = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 6; ++i) {
    threads.emplace_back([&] {
      for (std::size_t call = next++; call < calls.size(); call = next++) {
        ended[call] = RunMfx(calls[call]);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  return ended;
}

void ExpectItsOwnWords(const Case& expected, const Ended& ended) {
  ASSERT_EQ(ended.status, 1) << ended.err;
  const json check = json::parse(ended.out);
  std::set<std::string> names;
  for (const json& finding : check["findings"]) {
    const std::string name = finding["name"];
    names.insert(name);
    EXPECT_THAT(finding["to_do"].get<std::string>(), Not(IsEmpty()));
    if (name == expected.name) {
      EXPECT_EQ(finding["drives"], expected.drives);
    }
  }
  std::set<std::string> wanted = {expected.name};
  if (*expected.also != '\0') wanted.insert(expected.also);
  EXPECT_EQ(names, wanted) << ended.out;
  EXPECT_THAT(ended.out, HasSubstr(expected.words));
  for (const Case& other : kCases) {
    if (wanted.contains(other.name)) continue;
    EXPECT_THAT(ended.out, Not(HasSubstr(other.words))) << other.name;
  }
}

TEST(InstrumentCheckTest, EachMisbehaviourGetsItsOwnWords) {
  std::vector<std::vector<std::string>> calls;
  for (const Case& one : kCases) {
    calls.push_back(
        {"check-instrument", Misbehaving(one.name), "--json", "--timeout", one.timeout});
  }
  const std::vector<Ended> ended = CheckAll(calls);
  for (std::size_t i = 0; i < ended.size(); ++i) {
    SCOPED_TRACE(kCases[i].name);
    ExpectItsOwnWords(kCases[i], ended[i]);
  }
}

/// An instrument that cannot be driven at all, and why.
struct Undrivable {
  const char* name;
  const char* words;
  const char* timeout = "20";
};

const Undrivable kUndrivable[] = {
    {"ended-at-once", "(it ended with exit status 3); answer every line until standard input ends"},
    {"ended-in-answer", "send each answer as one whole line"},
    {"silent", "it runs and says nothing", "0.5"},
    {"buffered", "it answers only once its input is closed: flush standard output", "2"},
    {"no-line-end", "bytes without a line end", "2"},
    {"chatter", "goes on sending lines that nobody asked for"},
};

TEST(InstrumentCheckTest, WhatCannotBeDrivenGetsItsOwnWords) {
  std::vector<std::vector<std::string>> calls;
  for (const Undrivable& one : kUndrivable) {
    calls.push_back(
        {"check-instrument", Misbehaving(one.name), "--json", "--timeout", one.timeout});
  }
  const std::vector<Ended> all = CheckAll(calls);
  for (std::size_t i = 0; i < all.size(); ++i) {
    SCOPED_TRACE(kUndrivable[i].name);
    const Ended& ended = all[i];
    EXPECT_EQ(ended.status, 2) << ended.out;
    EXPECT_THAT(ended.out, IsEmpty());
    EXPECT_THAT(Lines(ended.err), SizeIs(1)) << ended.err;
    EXPECT_THAT(ended.err, StartsWith("mfx: "));
    for (const Undrivable& other : kUndrivable) {
      const bool is_said = ended.err.find(other.words) != std::string::npos;
      EXPECT_EQ(is_said, &other == &kUndrivable[i]) << other.words << "\n" << ended.err;
    }
  }
}

TEST(InstrumentCheckTest, WhatIsHarmlessGetsNone) {
  const char* const names[] = {"good",
                               "noise",
                               "half-lost",
                               "lost-as-null",
                               "ramps",
                               "start-and-end",
                               "noise-ramps-half-lost",
                               "noise-on-standard-error",
                               "carriage-returns",
                               "blank-line-after",
                               "blanks-and-other-keys",
                               "whole-numbers-as-doubles",
                               "not-so-fast"};
  std::vector<std::vector<std::string>> calls;
  for (const char* name : names) {
    calls.push_back({"check-instrument", Misbehaving(name), "--timeout", "20"});
  }
  const std::vector<Ended> all = CheckAll(calls);
  for (std::size_t i = 0; i < all.size(); ++i) {
    SCOPED_TRACE(names[i]);
    EXPECT_EQ(all[i].status, 0) << all[i].out << all[i].err;
    EXPECT_THAT(all[i].out, StartsWith("nothing wrong found in 2 drives with "));
  }
}

TEST(InstrumentCheckTest, WordsDiffer) {
  std::set<std::string> words;
  for (const Case& one : kCases) words.insert(one.words);
  for (const Undrivable& one : kUndrivable) words.insert(one.words);
  EXPECT_EQ(words.size(), std::size(kCases) + std::size(kUndrivable));
  EXPECT_GE(words.size(), 43u);
}

TEST(InstrumentCheckTest, EveryFindingIsTold) {
  std::set<std::string> told;
  for (const auto& table : libmfx::test::TablesOf(libmfx::test::ReadDocument("docs/mfx.md"))) {
    if (table.heading != "What a check finds") continue;
    for (const auto& cells : table.rows) {
      for (const std::string& name : libmfx::test::QuotedIn(cells[0], '`')) told.insert(name);
    }
  }
  // Those that need a second drive on which the instrument fails.
  std::set<std::string> found = {"silent", "buffered", "no-line-end", "unusable"};
  for (const Case& one : kCases) found.insert(one.name);
  EXPECT_EQ(told, found);
}

// Every name of the script is told to one of the lists above, so that none goes unchecked.
TEST(InstrumentCheckTest, EveryInstrumentOfTheScriptIsChecked) {
  const Ended listed = RunMfx({"-c", "cd '" + Source("tests/tools/instruments") +
                                         "' && python3 -B -c 'import misbehaving as m\n"
                                         "for name in m.MISBEHAVING: print(name)'"},
                              {.program = "/bin/sh"});
  std::set<std::string> checked;
  for (const Case& one : kCases) checked.insert(one.name);
  for (const Undrivable& one : kUndrivable) checked.insert(one.name);
  const std::vector<std::string> names = Lines(listed.out);
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()), checked) << listed.err;
}

TEST(InstrumentCheckTest, TheExampleAndTheVirtualInstrumentHaveNothingWrong) {
  const Ended example = Check(Source("examples/instrument/flat_wall.py"));
  EXPECT_EQ(example.status, 0) << example.out;
  EXPECT_EQ(example.out, "nothing wrong found in 2 drives with 359 samples\n");
  Folder folder;
  for (const double distance : {1.0, 2.0, 10.0}) {
    const json scene = {{"part", {{"type", "plane"}, {"length", 6}, {"width", 6}}},
                        {"pose", {{"position", {0, 0, distance}}, {"normal", {0.3, 0.2, -1}}}}};
    const Ended ended =
        Check("'" LIBMFX_VIRTUAL_INSTRUMENT "' '" + folder.Write("scene.json", scene.dump()) + "'");
    EXPECT_EQ(ended.status, 0) << distance << ": " << ended.out << ended.err;
  }
}

TEST(InstrumentCheckTest, FindingsAreLinesForPeople) {
  const Ended ended = Check(Misbehaving("azimuth-mirrored"));
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.err, IsEmpty());
  const std::vector<std::string> lines = Lines(ended.out);
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_THAT(lines[0], StartsWith("drives 1, 2: the azimuth has the wrong sign: row "));
  EXPECT_THAT(lines[0], HasSubstr(". To do: turn its sign round"));
  EXPECT_EQ(lines[1], "1 thing is wrong, found in 2 drives with 359 samples");
}

TEST(InstrumentCheckTest, ACommandThatIsNoneIsNamed) {
  const Ended missing = Check("/no/such/instrument");
  EXPECT_EQ(missing.status, 2);
  EXPECT_THAT(missing.out, IsEmpty());
  EXPECT_THAT(missing.err, HasSubstr("the command was not found: look at its path and its name"));
  Folder folder;
  const Ended refused = Check("'" + folder.Write("instrument", "#!/bin/sh\n") + "'");
  EXPECT_EQ(refused.status, 2);
  EXPECT_THAT(refused.err, HasSubstr("look at its permissions"));
  EXPECT_EQ(RunMfx({"check-instrument"}).status, 2);
}

}  // namespace
}  // namespace mfx_test
