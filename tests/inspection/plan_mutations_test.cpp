// Whatever is done to the text of a plan, it is read or refused, in little time.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "host/json_places.h"
#include "inspection/plan_reader.h"
#include "plan_text.h"

namespace libmfx::inspection {
namespace {

using plan_test::kGoodPlan;
using plan_test::Listed;

class Mutator {
 public:
  explicit Mutator(unsigned seed) : _random(seed) {}

  std::string Mutated(std::string text) {
    Mutate(text);
    if (Below(3) == 0) Mutate(text);
    return text;
  }

 private:
  std::size_t Below(std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(_random);
  }

  void Mutate(std::string& text) {
    static const std::string kBytes =
        std::string("{}[]\",:0-9e.truefalsn\\u\x01\x80\xff/* \n") + '\0';
    if (text.size() < 100) return;
    const std::size_t at = Below(text.size() - 60);
    const std::size_t length = 1 + Below(50);
    switch (Below(6)) {
      case 0:
        text.erase(at, length);
        break;
      case 1:
        text.insert(Below(text.size()), text.substr(at, length));
        break;
      case 2:
        std::swap(text[at], text[Below(text.size())]);
        break;
      case 3:
        text[at] = kBytes[Below(kBytes.size())];
        break;
      case 4:
        ChangeNumber(text, at);
        break;
      default:
        SwapNames(text, at);
    }
  }

  /// Puts another number in the place of the next one: the text stays JSON.
  void ChangeNumber(std::string& text, std::size_t at) {
    static const char* const kNumbers[] = {"0",    "-1",     "1",   "2",     "3.5",   "7",
                                           "12",   "30",     "100", "1e400", "1e308", "-1e-320",
                                           "null", "\"12\"", "[]",  "{}"};
    const std::size_t from = text.find_first_of("0123456789", at);
    if (from == std::string::npos) return;
    const std::size_t to = std::min(text.find_first_not_of("0123456789.", from), text.size());
    text.replace(from, to - from, kNumbers[Below(std::size(kNumbers))]);
  }

  /// Puts a name of the plan in the place of the next text.
  void SwapNames(std::string& text, std::size_t at) {
    static const char* const kNames[] = {"H1",       "B1",       "F1",     "E1", "left",
                                         "position", "features", "",       "x",  "tangent",
                                         "size",     "datums",   "Normal", "m"};
    const std::size_t from = text.find('"', at);
    const std::size_t to = from == std::string::npos ? from : text.find('"', from + 1);
    if (to == std::string::npos) return;
    text.replace(from + 1, to - from - 1, kNames[Below(std::size(kNames))]);
  }

  std::mt19937 _random;
};

void ExpectIndices(const std::vector<std::size_t>& indices, std::size_t count) {
  for (const std::size_t index : indices) EXPECT_LT(index, count);
}

/// What a caller relies on when there is no error.
void ExpectUsable(const Plan& plan) {
  const std::size_t count = plan.features.size();
  EXPECT_GE(count, 1u);
  EXPECT_GE(plan.stations.size(), 1u);
  EXPECT_GE(plan.references.size(), 3u);
  EXPECT_TRUE(std::isfinite(plan.part.Growth()));
  for (const PlannedFeature& feature : plan.features) {
    EXPECT_FALSE(feature.name.empty());
    EXPECT_TRUE(feature.place.allFinite() && feature.direction.allFinite());
    EXPECT_TRUE(feature.tangent.allFinite());
    EXPECT_FALSE(feature.stations.empty());
    ExpectIndices(feature.stations, plan.stations.size());
    EXPECT_EQ(feature.request["Feature"]["$type"], feature.type);
  }
  for (const Reference& reference : plan.references) {
    EXPECT_LT(reference.feature, count);
    EXPECT_GT(reference.tolerance, 0.0);
  }
  for (const Datum& datum : plan.datums) ExpectIndices(datum.features, count);
  ExpectIndices(plan.alignment.features, count);
  for (const Characteristic& asked : plan.characteristics) {
    ExpectIndices(asked.features, count);
    EXPECT_TRUE(std::isfinite(asked.nominal));
    EXPECT_LT(asked.lower, asked.upper);
  }
}

TEST(PlanMutationsTest, FiveHundredEndWithoutACrash) {
  constexpr unsigned kSeed = 20261123;
  Mutator mutator(kSeed);
  int sound = 0;
  int refused = 0;
  for (int i = 0; i < 500; ++i) {
    const std::string text = mutator.Mutated(kGoodPlan);
    SCOPED_TRACE("mutation " + std::to_string(i));
    const ReadPlan read = ReadPlanText(text);
    const host::TextPlace end = host::PlaceOf(text, text.size());
    host::TextPlace last;
    for (const host::Finding& finding : read.findings) {
      EXPECT_LE(std::pair(finding.line, finding.column), std::pair(end.line, end.column));
      EXPECT_LE(std::pair(last.line, last.column), std::pair(finding.line, finding.column));
      EXPECT_FALSE(finding.text.empty());
      last = {finding.line, finding.column};
    }
    if (host::HasErrors(read.findings)) {
      ++refused;
      continue;
    }
    ++sound;
    ExpectUsable(read.plan);
    ASSERT_FALSE(HasFailure()) << text << Listed(read.findings);
  }
  // Both come up, or the mutations try nothing.
  EXPECT_GE(sound, 10);
  EXPECT_GE(refused, 250);
}

}  // namespace
}  // namespace libmfx::inspection
