// The conversation with a feature of the test's own, which asks for what the test wants asked.

#include "host/conversation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>

#include "host/errors.h"
#include "libmfx/features/custom_scan.h"
#include "libmfx/win32_support/exports.h"

namespace {

using namespace libmfx;
using host::Conversation;
using host::ConversationOptions;
using host::Position;
using host::RawDataPoint;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// A staged feature: what each of its analyses finds is told beforehand.
class Scripted : public features::CustomScan {
 public:
  enum Finding { kGood, kBad, kMoved, kDoubtful };

  explicit Scripted(std::deque<Finding> findings) : _findings(std::move(findings)) {}

  void EnableSearch() { _search_enabled = true; }
  void RefusePlan() { SetError("Scan lines are too many"); }
  void AskForStages(int count) { _stages = count; }

  bool SetRawData(const std::vector<RawDataPoint>& samples, std::queue<Position>& next) override {
    if (_stages != 0 && _drive_step != features::SEARCH) {
      --_stages;
      next = Queue(1.0);
      return false;
    }
    return SetRawDataStaged(samples, next);
  }
  std::string GetResult() const override { return "{}"; }

  int analyses = 0;
  std::size_t analysed = 0;  ///< samples under the last analysis

 protected:
  std::queue<Position> GenerateDrivePoints() override {
    if (_has_error) return {};
    if (_search) {
      _search = false;
      _drive_step = features::SEARCH;
      return Queue(9.0);
    }
    return Queue(2.0);
  }
  bool Analyze() override {
    ++analyses;
    analysed = _raw_data.size();
    if (_has_error) return false;
    const Finding finding = _findings.empty() ? kBad : _findings.front();
    if (!_findings.empty()) _findings.pop_front();
    if (finding == kDoubtful) Warn("the rim is short");
    if (finding == kGood || finding == kDoubtful) return true;
    if (finding == kMoved) {
      _drive_step = features::RESCAN;
      return false;
    }
    SetError("No edge found");
    return false;
  }

 private:
  static std::queue<Position> Queue(double range) {
    std::queue<Position> queue;
    queue.emplace(0.0, 0.0, range, 0.0);
    queue.emplace(0.1, 0.0, range, 0.001);
    return queue;
  }

  std::deque<Finding> _findings;
  int _stages = 0;
};

/// Answers every drive with as many samples as the script says; afterwards with one.
class FakeDriver : public host::Driver {
 public:
  std::deque<std::size_t> counts;
  std::vector<std::string> steps;
  bool finished = false;

  std::string Name() const override { return "fake"; }
  std::vector<RawDataPoint> Drive(const std::vector<Position>& points,
                                  const std::string& step) override {
    steps.push_back(step + "@" + std::to_string(static_cast<int>(points.front().range)));
    std::size_t count = 1;
    if (!counts.empty()) {
      count = counts.front();
      counts.pop_front();
    }
    return std::vector<RawDataPoint>(count, RawDataPoint(0.0, 0.0, 2.0, 90.0, 1));
  }
  void Finish() override { finished = true; }
};

Conversation Hold(Scripted& feature, FakeDriver& driver, ConversationOptions options = {},
                  bool search_enabled = false) {
  return host::Measure(feature, driver, options, [search_enabled] { return search_enabled; });
}

TEST(ConversationTest, OnePassMeasures) {
  Scripted feature({Scripted::kGood});
  FakeDriver driver;
  const Conversation outcome = Hold(feature, driver);
  EXPECT_TRUE(outcome.successful);
  EXPECT_THAT(outcome.error, IsEmpty());
  EXPECT_THAT(driver.steps, ElementsAre("INITIAL@2"));
  EXPECT_TRUE(driver.finished);
}

TEST(ConversationTest, EveryQueueThatIsHandedOutIsDriven) {
  Scripted feature({Scripted::kGood});
  feature.AskForStages(2);
  FakeDriver driver;
  driver.counts = {3, 4, 5};
  EXPECT_TRUE(Hold(feature, driver).successful);
  EXPECT_THAT(driver.steps, ElementsAre("INITIAL@2", "INITIAL@1", "INITIAL@1"));
  EXPECT_EQ(feature.analysed, 5u);
}

TEST(ConversationTest, AFeatureThatNeverHasEnoughIsRefused) {
  Scripted feature({});
  feature.AskForStages(-1);
  FakeDriver driver;
  EXPECT_THROW(Hold(feature, driver), host::CallError);
  EXPECT_EQ(driver.steps.size(), 8u);
}

TEST(ConversationTest, OneEmptyAnswerIsDrivenAgain) {
  Scripted feature({Scripted::kGood});
  FakeDriver driver;
  driver.counts = {0, 7};
  EXPECT_TRUE(Hold(feature, driver).successful);
  EXPECT_EQ(feature.analysed, 7u);
  EXPECT_THAT(driver.steps, ElementsAre("INITIAL@2", "INITIAL@2"));
}

TEST(ConversationTest, TwoEmptyAnswersInARowEndTheMeasurement) {
  Scripted feature({Scripted::kGood});
  FakeDriver driver;
  driver.counts = {0, 0};
  try {
    Hold(feature, driver);
    FAIL() << "no error";
  } catch (const host::CallError& error) {
    EXPECT_THAT(error.what(), HasSubstr("no samples twice in a row"));
    EXPECT_THAT(error.what(), HasSubstr("INITIAL"));
  }
  EXPECT_EQ(feature.analyses, 0);
}

TEST(ConversationTest, AMovedNominalIsScannedAgainWithNewSamples) {
  Scripted feature({Scripted::kMoved, Scripted::kMoved, Scripted::kGood});
  FakeDriver driver;
  driver.counts = {1, 2, 3};
  const Conversation outcome = Hold(feature, driver);
  EXPECT_TRUE(outcome.successful);
  EXPECT_EQ(outcome.rescans, 2);
  EXPECT_EQ(feature.analysed, 3u);
  EXPECT_THAT(driver.steps, ElementsAre("INITIAL@2", "RESCAN@2", "RESCAN@2"));
}

TEST(ConversationTest, TheDoubtsOfTheLastAnalysisAreHandedOn) {
  FakeDriver driver;
  Scripted good({Scripted::kGood});
  const Conversation trusted = Hold(good, driver);
  EXPECT_THAT(trusted.warnings, IsEmpty());
  EXPECT_FALSE(trusted.IsDoubtful());
  Scripted doubtful({Scripted::kMoved, Scripted::kDoubtful});
  const Conversation doubted = Hold(doubtful, driver);
  EXPECT_TRUE(doubted.successful);
  EXPECT_THAT(doubted.warnings, ElementsAre("the rim is short"));
  EXPECT_TRUE(doubted.IsDoubtful());
}

TEST(ConversationTest, AFailureWithWarningsIsNoDoubtfulSuccess) {
  Conversation outcome;
  outcome.warnings = {"the rim is short"};
  EXPECT_FALSE(outcome.IsDoubtful());
  outcome.successful = true;
  EXPECT_TRUE(outcome.IsDoubtful());
}

TEST(ConversationTest, RescansAreBounded) {
  Scripted feature(std::deque<Scripted::Finding>(100, Scripted::kMoved));
  FakeDriver driver;
  const Conversation outcome = Hold(feature, driver);
  EXPECT_FALSE(outcome.successful);
  EXPECT_EQ(outcome.rescans, 3);
  EXPECT_EQ(driver.steps.size(), 4u);
  EXPECT_THAT(outcome.error, HasSubstr("after 3 re-scans"));
}

TEST(ConversationTest, NoRescanWhenNoneIsAllowed) {
  Scripted feature({Scripted::kMoved, Scripted::kGood});
  FakeDriver driver;
  const Conversation outcome = Hold(feature, driver, {.max_passes = 0});
  EXPECT_FALSE(outcome.successful);
  EXPECT_EQ(driver.steps.size(), 1u);
}

TEST(ConversationTest, ARescanThatFailsIsNotRepeated) {
  Scripted feature({Scripted::kMoved, Scripted::kBad, Scripted::kGood});
  FakeDriver driver;
  const Conversation outcome = Hold(feature, driver);
  EXPECT_FALSE(outcome.successful);
  EXPECT_EQ(outcome.error, "No edge found");
  EXPECT_EQ(driver.steps.size(), 2u);
}

TEST(ConversationTest, SearchesAfterAFirstFailure) {
  Scripted feature({Scripted::kBad, Scripted::kGood});
  feature.EnableSearch();
  FakeDriver driver;
  driver.counts = {1, 20, 30};
  const Conversation outcome = Hold(feature, driver, {.search = true}, true);
  EXPECT_TRUE(outcome.successful);
  EXPECT_TRUE(outcome.searched);
  EXPECT_EQ(feature.analysed, 30u);
  EXPECT_THAT(driver.steps, ElementsAre("INITIAL@2", "SEARCH@9", "FEATURE_SCAN_PATTERN@2"));
}

TEST(ConversationTest, SearchesOnlyOnce) {
  Scripted feature({Scripted::kBad, Scripted::kBad, Scripted::kGood});
  feature.EnableSearch();
  FakeDriver driver;
  const Conversation outcome = Hold(feature, driver, {.search = true}, true);
  EXPECT_FALSE(outcome.successful);
  EXPECT_EQ(driver.steps.size(), 3u);
}

TEST(ConversationTest, DoesNotSearchUnlessToldTo) {
  Scripted feature({Scripted::kBad, Scripted::kGood});
  feature.EnableSearch();
  FakeDriver driver;
  EXPECT_EQ(Hold(feature, driver, {.search = false}, true).error, "No edge found");
  EXPECT_EQ(driver.steps.size(), 1u);
}

TEST(ConversationTest, ARequestWithoutSearchKeepsItsFirstError) {
  Scripted feature({Scripted::kBad, Scripted::kGood});
  FakeDriver driver;
  EXPECT_EQ(Hold(feature, driver, {.search = true}, false).error, "No edge found");
  EXPECT_EQ(driver.steps.size(), 1u);
}

TEST(ConversationTest, APendingRescanBeatsASearch) {
  Scripted feature({Scripted::kMoved, Scripted::kGood});
  feature.EnableSearch();
  FakeDriver driver;
  const Conversation outcome = Hold(feature, driver, {.search = true, .max_passes = 0}, true);
  EXPECT_FALSE(outcome.searched);
  EXPECT_EQ(driver.steps.size(), 1u);
}

TEST(ConversationTest, ARefusedPlanDrivesNothing) {
  Scripted feature({Scripted::kGood});
  feature.EnableSearch();
  feature.RefusePlan();
  FakeDriver driver;
  const Conversation outcome = Hold(feature, driver, {.search = true}, true);
  EXPECT_FALSE(outcome.successful);
  EXPECT_EQ(outcome.error, "Scan lines are too many");
  EXPECT_THAT(driver.steps, IsEmpty());
}

TEST(ConversationTest, AnEmptyPathIsNoSuccessEvenWithoutScanData) {
  features::CustomScan feature(
      std::string(R"({"PointSpacing": 1, "Feature": {"Path": {"Segments": []}}})"));
  FakeDriver driver;
  const Conversation outcome =
      host::Measure(feature, driver, {.scan_data = host::ScanData::kNone}, [] { return false; });
  EXPECT_FALSE(outcome.successful);
  EXPECT_EQ(outcome.error, "All points filtered out");
}

}  // namespace
