// Which of several names a mistyped word probably meant.

#include "host/nearest.h"

#include <gtest/gtest.h>

namespace libmfx::host {
namespace {

const std::vector<std::string> kCalls = {"features", "plan", "measure", "replay", "batch"};
const std::vector<std::string> kOptions = {"--scene", "--seed", "--search", "--record", "--report"};

TEST(NearestTest, AMistypedNameIsFound) {
  EXPECT_EQ(Nearest("mesure", kCalls), "measure");    // one missing
  EXPECT_EQ(Nearest("meassure", kCalls), "measure");  // one too many
  EXPECT_EQ(Nearest("patch", kCalls), "batch");       // one wrong
  EXPECT_EQ(Nearest("paln", kCalls), "plan");         // two swapped
  EXPECT_EQ(Nearest("--scena", kOptions), "--scene");
  EXPECT_EQ(Nearest("--reprot", kOptions), "--report");
}

TEST(NearestTest, CaseIsNoMistype) {
  EXPECT_EQ(Nearest("RADIUS", {"Range", "Radius"}), "Radius");
  EXPECT_EQ(Nearest("plan", {"PLAN"}), "PLAN");
}

TEST(NearestTest, ANameMayBeCutOrContinued) {
  EXPECT_EQ(Nearest("feat", kCalls), "features");
  EXPECT_EQ(Nearest("--record-into-the-file", kOptions), "--record");
  EXPECT_EQ(Nearest("fe", kCalls), "");
  EXPECT_EQ(Nearest("--", kOptions), "");
}

TEST(NearestTest, WhatIsFarFromAllGivesNothing) {
  EXPECT_EQ(Nearest("melt", kCalls), "");
  EXPECT_EQ(Nearest("", kCalls), "");
  EXPECT_EQ(Nearest("plan", {}), "");
  EXPECT_EQ(Nearest("--nonsense", kOptions), "");
  // A third of the characters at most: 2 of 6 are near, 3 are not.
  EXPECT_EQ(Nearest("abcdXY", {"abcdef"}), "abcdef");
  EXPECT_EQ(Nearest("abXYZf", {"abcdef"}), "");
}

TEST(NearestTest, TheFewestMistypesCountAndThenTheFirst) {
  EXPECT_EQ(Nearest("Radiuss", {"RadiusX2", "Radius"}), "Radius");
  EXPECT_EQ(Nearest("ab", {"ac", "ad"}), "ac");
  // A name that only begins alike comes after one that is mistyped.
  EXPECT_EQ(Nearest("scan", {"scanner", "scen"}), "scen");
}

TEST(NearestTest, AnEndlessWordIsCompared) {
  const std::string endless(std::size_t{1} << 26, 'x');
  EXPECT_EQ(Nearest(endless, kCalls), "");
  EXPECT_EQ(Nearest("measure" + endless, kCalls), "measure");
}

}  // namespace
}  // namespace libmfx::host
