// What is said of the samples of measurements that fail, each for a reason of its own.

#include "host/sample_doubts.h"

#include <functional>
#include <regex>

#include "documents.h"
#include "examples.h"
#include "host/conversation.h"
#include "host/scene_driver.h"

namespace mfx_test {
namespace {

using libmfx::data_structures::Position;
using libmfx::data_structures::RawDataPoint;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using namespace libmfx;

using Samples = std::vector<RawDataPoint>;
using Change = std::function<void(Samples&)>;

/// The virtual instrument, with samples that are changed on their way.
class Changed final : public host::Driver {
 public:
  Changed(host::Driver& driver, Change change) : _driver(driver), _change(std::move(change)) {}

  std::string Name() const override { return "changed"; }
  Samples Drive(const std::vector<Position>& points, const std::string& step) override {
    Samples samples = _driver.Drive(points, step);
    _change(samples);
    return samples;
  }

 private:
  host::Driver& _driver;
  Change _change;
};

Change OfEach(std::function<void(RawDataPoint&)> change) {
  return [change](Samples& samples) {
    for (RawDataPoint& s : samples) change(s);
  };
}

void Nothing(Samples&) {}

/// What is said of a measurement of an example; nothing of one that succeeds.
std::vector<std::string> Said(const Example& example, const Change& change) {
  const Folder folder;
  const auto scene = host::SceneDriver::FromFile(folder.Write("s", example.scene.dump()), 1);
  Changed driver(*scene, change);
  host::Exchange last;
  host::ObservedDriver observed(driver, [&](const host::Exchange& exchange) { last = exchange; });
  const std::string request = example.request.dump();
  const host::Conversation outcome = host::Measure(request, observed, {});
  if (outcome.successful) return {};
  return host::SampleDoubts(host::QualityThreshold(request), last, outcome.stages);
}

std::vector<std::string> Said(const Example& example) { return Said(example, Nothing); }

/// The hole of the examples, moved, and without further passes.
Example HoleAt(double dx, double dy, double dz) {
  Example hole("hole");
  hole.request.erase("RescanThreshold");
  json& place = hole.request["Feature"]["Location"];
  const double by[] = {dx, dy, dz};
  for (std::size_t i = 0; i < 3; ++i) place[i] = place[i].get<double>() + by[i];
  return hole;
}

TEST(SampleDoubtsTest, TheSamplesAreCounted) {
  const auto said = Said(HoleAt(0, 0, -0.35));
  ASSERT_THAT(said, Not(IsEmpty()));
  EXPECT_EQ(said[0],
            "1876 samples came of the last scan (step INITIAL), all of them usable (finite, and of "
            "a quality of 50 or more)");
}

TEST(SampleDoubtsTest, ASurfaceBehindOrInFrontIsTold) {
  EXPECT_THAT(Said(HoleAt(0, 0, -0.35)),
              Contains(StartsWith("all usable samples lie behind the planned path, which runs "
                                  "along the nominal: half of them by 0.36")));
  EXPECT_THAT(Said(HoleAt(0, 0, 0.35)),
              Contains(StartsWith("all usable samples lie in front of the planned path")));
}

TEST(SampleDoubtsTest, QualitiesBelowTheThresholdAreTold) {
  Example hole("hole");
  hole.request["ScanQualityThreshold"] = 95;
  EXPECT_THAT(Said(hole), Contains(AllOf(HasSubstr(" are below the quality threshold of 95: half "
                                                   "of them at 84"),
                                         HasSubstr(" or less, the best at "))));
  hole.request.erase("ScanQualityThreshold");
  const auto said = Said(hole, OfEach([](RawDataPoint& s) { s.quality /= 100.0; }));
  EXPECT_THAT(said, Contains(HasSubstr("the quality looks like a fraction of 1")));
  EXPECT_THAT(said[0], HasSubstr("none of them usable"));
}

TEST(SampleDoubtsTest, AnglesThatAreOthersAreTold) {
  const Example hole("hole");
  const auto with = [&](std::function<void(RawDataPoint&)> change) {
    return Said(hole, OfEach(std::move(change)));
  };
  EXPECT_THAT(with([](RawDataPoint& s) { s.azimuth = -s.azimuth; }),
              Contains(AllOf(StartsWith("the azimuth has the wrong sign: row "),
                             HasSubstr("(mfx check-instrument tells more)"))));
  EXPECT_THAT(with([](RawDataPoint& s) { s.elevation = -s.elevation; }),
              Contains(StartsWith("the elevation has the wrong sign")));
  EXPECT_THAT(with([](RawDataPoint& s) { std::swap(s.azimuth, s.elevation); }),
              Contains(StartsWith("azimuth and elevation stand in each other's place")));
  EXPECT_THAT(with([](RawDataPoint& s) {
                s.azimuth *= 57.29577951308232;
                s.elevation *= 57.29577951308232;
              }),
              Contains(StartsWith("the angles are degrees")));
  EXPECT_THAT(with([](RawDataPoint& s) { s.azimuth += 0.03; }),
              Contains(StartsWith("all samples lie off the driven line, by the same 0.03 rad")));
}

TEST(SampleDoubtsTest, RangesInMillimetresAreTold) {
  EXPECT_THAT(Said(Example("hole"), OfEach([](RawDataPoint& s) { s.range *= 1000.0; })),
              Contains(StartsWith("the ranges look like millimetres")));
}

TEST(SampleDoubtsTest, StatusesThatNameOtherMovesAreTold) {
  const Example hole("hole");
  const auto zero = Said(hole, OfEach([](RawDataPoint& s) { s.status = 0; }));
  EXPECT_THAT(zero, Contains(StartsWith("the status is always 0")));
  EXPECT_THAT(zero, Each(Not(HasSubstr("no usable sample came of"))));
}

TEST(SampleDoubtsTest, RowsAreThoseOfTheAnswer) {
  // The first hundred have no echo; the row that is named is counted with them.
  const auto said = Said(Example("hole"), [](Samples& samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
      samples[i].azimuth = 0.05 * static_cast<double>(i + 1);
      if (i < samples.size() / 2) samples[i].range = std::nan("");
    }
  });
  EXPECT_THAT(said, Contains(HasSubstr("925 of 1850 hold a number that is not finite")));
  EXPECT_THAT(said, Contains(AllOf(HasSubstr("of the samples lie off the driven line: row "),
                                   testing::ContainsRegex("row (9[2-9].|1...) is \\["))));
}

TEST(SampleDoubtsTest, LinesWithoutSamplesAreTold) {
  const auto said = Said(Example("hole"), [](Samples& samples) {
    std::erase_if(samples, [](const RawDataPoint& s) { return s.status > 4; });
  });
  EXPECT_THAT(said, Contains("no usable sample came of 31 of 35 sampled moves"));
}

TEST(SampleDoubtsTest, SamplesThatLieElsewhereAreFoundFromTheInstrument) {
  // Along the line of sight all is well; the beam was led elsewhere, in no known way.
  const Change right = [](Samples& samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
      samples[i].azimuth += 0.2 + 1e-4 * static_cast<double>(i % 97);
      samples[i].elevation += 0.002 * std::sin(static_cast<double>(i));
    }
  };
  const auto said = Said(Example("hole"), right);
  EXPECT_THAT(said, Contains(AllOf(HasSubstr("no sample lies within "),
                                   HasSubstr(" of the middle of the planned path; the nearest "
                                             "lies 0.4"),
                                   HasSubstr(" m to the right"))));
  EXPECT_THAT(said, Contains(HasSubstr("% of the samples lie off the driven line")));
}

TEST(SampleDoubtsTest, AFlatSurfaceIsNoHole) {
  const auto said = Said(HoleAt(0.05, 0, 0));
  EXPECT_THAT(said, Contains("the usable samples lie on one plane, nearly all to within 0.1 mm: "
                             "nothing but a flat surface shows"));
  EXPECT_THAT(said, Contains(StartsWith("they lie where they were looked for; of the usable ones: "
                                        "17")));
  EXPECT_THAT(said, Contains(StartsWith("the test that failed: samples well inside the hole ")));
  EXPECT_THAT(Said(HoleAt(0, 0, -0.35)), Each(Not(HasSubstr("flat surface"))));
}

TEST(SampleDoubtsTest, WhatFewSamplesLookLikeIsToldToo) {
  for (const std::size_t count : {1u, 2u, 9u}) {
    const auto said = Said(Example("hole"), [&](Samples& samples) { samples.resize(count); });
    ASSERT_THAT(said, Not(IsEmpty()));
    EXPECT_THAT(said[0], StartsWith(std::to_string(count) +
                                    (count == 1 ? " sample came" : " samples came")));
  }
}

TEST(SampleDoubtsTest, AbsurdNumbersEndInWords) {
  const double absurd[] = {1e300, -1e300, 1e-300, 0.0};
  for (const double value : absurd) {
    const auto said = Said(Example("hole"), OfEach([&](RawDataPoint& s) {
                             s = RawDataPoint(value, value, value, 1e300, s.status);
                           }));
    EXPECT_THAT(said, Not(IsEmpty())) << value;
    for (const std::string& sentence : said) EXPECT_EQ(sentence.find('\n'), std::string::npos);
  }
}

// A path of so many points that samples are not compared with it.
TEST(SampleDoubtsTest, AHugePlanTakesNoTime) {
  host::Exchange scan;
  scan.points.assign(1'000'000, Position(0.1, 0.1, 2.0, 0.001));
  scan.samples.assign(100'000, RawDataPoint(0.3, 0.1, 5.0, 80.0, 3));
  scan.step = "SEARCH";
  const auto said = host::SampleDoubts(50.0, scan, {});
  ASSERT_THAT(said, Not(IsEmpty()));
  EXPECT_THAT(said[0], StartsWith("100000 samples came of the last scan (step SEARCH)"));
}

TEST(SampleDoubtsTest, EveryTypeHasWords) {
  for (const char* type : {"rectangle", "polygon", "slot", "stud", "threaded-hole",
                           "surface-normal", "matte-sphere", "edge", "scan_path"}) {
    SCOPED_TRACE(type);
    const Example example(type);
    EXPECT_THAT(Said(example), IsEmpty());
    const auto said = Said(example, OfEach([](RawDataPoint& s) { s.quality = 3.0; }));
    EXPECT_THAT(said, Contains(HasSubstr("the best at 3")));
  }
}

// docs/errors.md quotes the notes as they are written.
TEST(SampleDoubtsTest, TheNotesThatAreToldAreThoseOfTheProgram) {
  std::string source;
  for (const char* file : {"host/sample_doubts.cpp", "host/instrument_check_angles.cpp",
                           "host/instrument_check_moves.cpp"}) {
    source += std::regex_replace(libmfx::test::ReadDocument(file), std::regex("\"\\s+\""), "");
  }
  // What differs from note to note is put together.
  source += "all usable samples lie behind the planned path, ";
  source += "nine of ten usable samples lie in front of the planned path, ";
  int checked = 0;
  for (const auto& table : libmfx::test::TablesOf(libmfx::test::ReadDocument("docs/errors.md"))) {
    if (table.heading != "What the samples look like") continue;
    for (const auto& cells : table.rows) {
      for (const std::string& note : libmfx::test::QuotedIn(cells[0], '`')) {
        for (std::size_t start = 0; start <= note.size();) {
          const std::size_t end = std::min(note.find("...", start), note.size());
          EXPECT_NE(source.find(note.substr(start, end - start)), std::string::npos) << note;
          start = end + 3;
          ++checked;
        }
      }
    }
  }
  EXPECT_GT(checked, 15);
}

/// The lines of standard error that tell of samples.
std::vector<std::string> Notes(const Ended& ended) {
  std::vector<std::string> notes;
  for (const std::string& line : Lines(ended.err)) {
    if (line.starts_with("mfx: samples: ")) notes.push_back(line);
  }
  return notes;
}

TEST(SampleDoubtsTest, MeasureAndReplayNoteThemAfterTheReason) {
  const Folder folder;
  const Example hole = HoleAt(0, 0, -0.35);
  const std::string request = folder.Write("r", hole.request.dump());
  const Ended measured =
      RunMfx({"-q", "measure", request, "--check=off", "--scene",
              folder.Write("s", hole.scene.dump()), "--record", folder.Path("recording")});
  EXPECT_EQ(measured.status, 1);
  const std::vector<std::string> lines = Lines(measured.err);
  ASSERT_THAT(lines, SizeIs(3)) << measured.err;
  EXPECT_THAT(lines[0], StartsWith("mfx: the measurement failed: "));
  EXPECT_THAT(lines[1], StartsWith("mfx: samples: 1876 samples came"));
  EXPECT_THAT(lines[2], StartsWith("mfx: samples: all usable samples lie behind"));
  const Ended replayed = RunMfx({"-q", "replay", folder.Path("recording")});
  EXPECT_EQ(replayed.status, 1);
  EXPECT_EQ(Notes(replayed), Notes(measured));
  EXPECT_EQ(replayed.out, measured.out);
}

TEST(SampleDoubtsTest, ASuccessAndAnEmptyPlanHaveNone) {
  EXPECT_THAT(Notes(RunMfx({"-q", "measure", Source("examples/requests/rectangle.json"), "--scene",
                            Source("examples/scenes/rectangle.json")})),
              IsEmpty());
  const Ended nothing = RunMfx({"-q", "measure", "-", "--instrument", "cat"}, {.input = "{}"});
  EXPECT_EQ(nothing.status, 1);
  EXPECT_THAT(Notes(nothing), IsEmpty());
}

// An instrument that answers nonsense ends a measurement as ever: with status 1 where its answers
// can be read, with status 2 where they cannot.
TEST(SampleDoubtsTest, NonsenseKeepsItsExitStatus) {
  const auto measure = [](const std::string& name) {
    return RunMfx(
        {"-q", "measure", Source("examples/requests/hole.json"), "--check=off", "--instrument",
         "python3 -B '" + Source("tests/tools/instruments/misbehaving.py") + "' " + name});
  };
  const Ended mirrored = measure("azimuth-mirrored");
  EXPECT_EQ(mirrored.status, 1);
  EXPECT_EQ(json::parse(mirrored.out)["Success"], false);
  EXPECT_THAT(mirrored.err, HasSubstr("mfx: samples: the azimuth has the wrong sign"));
  const Ended nulls = measure("all-null");
  EXPECT_EQ(nulls.status, 1);
  EXPECT_THAT(nulls.err, HasSubstr("1867 of 1867 hold a number that is not finite"));
  for (const char* name : {"line-no-json", "no-samples", "status-fraction", "ended-at-once"}) {
    const Ended ended = measure(name);
    EXPECT_EQ(ended.status, 2) << name;
    EXPECT_THAT(ended.out, IsEmpty()) << name;
    EXPECT_THAT(Lines(ended.err), SizeIs(1)) << ended.err;
  }
}

}  // namespace
}  // namespace mfx_test
