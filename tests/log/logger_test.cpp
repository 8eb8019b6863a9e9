#include "libmfx/log/logger.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "feature_probe.h"

namespace libmfx::log {
namespace {

using test::LogCollector;
using test::LogLine;
using Lines = std::vector<LogLine>;

TEST(Logger, LevelsAreClamped) {
  const LogCollector collector;
  LibMfxLogger logger("probe");
  logger[7] << "high" << std::endl;
  logger[-1] << "low" << std::endl;
  EXPECT_EQ(collector.Lines(),
            (Lines{{L"probe", 4, L"high\n"}, {L"probe", 4, L""}, {L"probe", 0, L"low\n"}}));
}

TEST(Logger, WithoutCallbackNothingIsQueued) {
  LibMfxLogger logger("probe");
  logger[LOG_LEVEL_1] << "gone" << std::endl;
  const LogCollector collector;
  logger[LOG_LEVEL_1] << "heard" << std::endl;
  EXPECT_EQ(collector.Lines(), (Lines{{L"probe", 1, L"heard\n"}}));
}

TEST(Logger, LineLeftOpenIsDeliveredByTheNextCallAtItsOwnLevel) {
  const LogCollector collector;
  test::FeatureProbe feature;
  LibMfxLogger logger(&feature);
  logger[LOG_LEVEL_3] << "open";
  EXPECT_TRUE(collector.Lines().empty());
  logger[LOG_LEVEL_1];
  EXPECT_EQ(collector.Lines(), (Lines{{L"Probe", 3, L"open"}}));
}

TEST(Logger, TwoLineEndsInARow) {
  const LogCollector collector;
  LibMfxLogger logger("probe");
  logger[LOG_LEVEL_1] << "a" << std::endl << std::endl;
  EXPECT_EQ(collector.Lines(), (Lines{{L"probe", 1, L"a\n"}, {L"probe", 1, L"\n"}}));
}

TEST(Logger, NamedLoggerKeepsOneStreamALevel) {
  const LogCollector collector;
  LibMfxLogger logger("probe");
  LibMfxLogStream* const first = &logger[LOG_LEVEL_1];
  EXPECT_EQ(&logger[LOG_LEVEL_1], first);
  logger[LOG_LEVEL_1] << "pending";
  logger[LOG_LEVEL_2] << "next" << std::endl;
  EXPECT_EQ(collector.Lines(), (Lines{{L"probe", 1, L"pending"}, {L"probe", 2, L"next\n"}}));
}

TEST(Logger, LoggerWithAnOwnerGetsAFreshStreamOnEveryCall) {
  const LogCollector collector;
  test::FeatureProbe feature;
  LibMfxLogger logger(&feature);
  logger[LOG_LEVEL_1] << "a" << std::endl;
  logger[LOG_LEVEL_1] << "b" << std::endl;
  // The first stream ends empty, and that end is one more call.
  EXPECT_EQ(collector.Lines(),
            (Lines{{L"Probe", 1, L"a\n"}, {L"Probe", 1, L""}, {L"Probe", 1, L"b\n"}}));
}

TEST(Logger, DestructionDelivers) {
  const LogCollector collector;
  {
    LibMfxLogger logger("probe");
    logger[LOG_LEVEL_1] << "last";
  }
  EXPECT_EQ(collector.Lines(), (Lines{{L"probe", 1, L"last"}}));
}

TEST(Logger, FlushWithoutStreamDoesNothing) {
  const LogCollector collector;
  LibMfxLogger logger("probe");
  logger.Flush();
  EXPECT_TRUE(collector.Lines().empty());
  logger[LOG_LEVEL_1] << "x";
  logger.Flush();
  EXPECT_EQ(collector.Lines(), (Lines{{L"probe", 1, L"x"}}));
}

TEST(Logger, ConvertsToTheStreamOfLevelOne) {
  const LogCollector collector;
  LibMfxLogger logger("probe");
  LibMfxLogStream& stream = logger;
  stream << "x" << std::endl;
  EXPECT_EQ(collector.Lines(), (Lines{{L"probe", 1, L"x\n"}}));
}

TEST(Logger, ACopyTakesTheNameAndStartsWithoutAStream) {
  const LogCollector collector;
  {
    LibMfxLogger logger("probe");
    logger[LOG_LEVEL_1] << "source";
    LibMfxLogger copy(logger);
    LibMfxLogger assigned;
    assigned[LOG_LEVEL_1] << "dropped stream";
    assigned = logger;
    copy.Flush();
    EXPECT_EQ(collector.Lines(), (Lines{{L"", 1, L"dropped stream"}}));
    copy[LOG_LEVEL_2] << "copy" << std::endl;
    assigned[LOG_LEVEL_2] << "assigned" << std::endl;
  }
  const auto texts = LogCollector::Texts();
  EXPECT_EQ(std::count(texts.begin(), texts.end(), L"source"), 1);
  EXPECT_EQ(collector.Lines()[1], (LogLine{L"probe", 2, L"copy\n"}));
  EXPECT_EQ(collector.Lines()[2], (LogLine{L"probe", 2, L"assigned\n"}));
}

TEST(Logger, TextBecomesUtf16CodeUnits) {
  const LogCollector collector;
  LibMfxLogger logger("probe");
  logger[LOG_LEVEL_1] << "\xC2\xB5\xF0\x9F\x98\x80" << std::endl;
  const std::wstring& text = collector.Lines().front().text;
  ASSERT_EQ(text.size(), 4U);
  EXPECT_EQ(static_cast<unsigned>(text[0]), 0xB5U);
  EXPECT_EQ(static_cast<unsigned>(text[1]), 0xD83DU);
  EXPECT_EQ(static_cast<unsigned>(text[2]), 0xDE00U);
}

TEST(Logger, InvalidUtf8ReachesTheWriter) {
  const LogCollector collector;
  LibMfxLogger logger("probe");
  try {
    logger[LOG_LEVEL_1] << "\xFF" << std::endl;
    FAIL() << "no exception";
  } catch (const std::range_error& error) {
    EXPECT_STREQ(error.what(), "bad conversion");
  }
  // The text is gone; the stream of another level works.
  logger[LOG_LEVEL_2] << "fine" << std::endl;
  EXPECT_EQ(collector.Lines().back(), (LogLine{L"probe", 2, L"fine\n"}));
}

TEST(Logger, InvalidUtf8LeftOpenReachesTheNextWriter) {
  const LogCollector collector;
  test::FeatureProbe feature;
  LibMfxLogger logger(&feature);
  logger[LOG_LEVEL_1] << "\xFF";
  EXPECT_THROW(logger[LOG_LEVEL_1], std::range_error);
  logger[LOG_LEVEL_1] << "fine" << std::endl;
  EXPECT_EQ(collector.Lines(), (Lines{{L"Probe", 1, L"fine\n"}}));
}

TEST(Logger, NumbersReadTheSameUnderEveryLocale) {
  struct Comma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Comma));
  const LogCollector collector;
  {
    LibMfxLogger logger("probe");
    logger[LOG_LEVEL_1] << 1234567 << " " << 0.5 << std::endl;
  }
  std::locale::global(before);
  EXPECT_EQ(collector.Lines().front().text, L"1234567 0.5\n");
}

}  // namespace
}  // namespace libmfx::log
