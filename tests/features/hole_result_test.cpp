#include <gtest/gtest.h>

#include "feature_probe.h"
#include "ideal_hole.h"
#include "protected.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using namespace test;

TEST(HoleResult, SucceedsWithItsKeysInOrder) {
  json request = HoleRequest();
  request["Feature"]["Name"] = "bolt 7";
  const Hole hole = Measure(request, {});
  ASSERT_TRUE(hole.GetIsSuccessful());
  const LogCollector log;
  const std::string text = hole.GetResult();
  const std::vector<std::wstring> expected{L"GenerateResult() called.", L"GenerateResult() done."};
  EXPECT_EQ(LogCollector::Texts(), expected);
  const auto result = nlohmann::ordered_json::parse(text);
  std::vector<std::string> keys;
  for (const auto& [key, value] : result.items()) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::string>{"$type", "Location", "Normal", "Radius", "Quality",
                                            "ScanData", "Success", "Target", "Name"}));
  EXPECT_EQ(result["$type"], "HoleTargetResult");
  EXPECT_EQ(result["Radius"], 0.008);
  EXPECT_EQ(result["Success"], true);
  EXPECT_EQ(result["Target"], "h-1");
  EXPECT_EQ(result["Name"], "bolt 7");
  EXPECT_EQ(result["ScanData"]["DataFormat"], "LR_XYZ");
  EXPECT_EQ(result["ScanData"]["Count"], PROTECTED(hole, _scan_cloud).cols());
  EXPECT_EQ(result["ScanData"]["Data"].size(), hole.GetRawData().size());
  EXPECT_EQ(result["ScanData"]["Data"][0].size(), 5u);
  EXPECT_TRUE(result["ScanData"]["Data"][0][4].is_number_integer());
  EXPECT_NE(text.find("\"Radius\":0.00800000,"), std::string::npos);
  EXPECT_EQ(hole.GetResult(), text);
}

TEST(HoleResult, WithoutNameTheLastKeyIsTheTarget) {
  const Hole hole = Measure(HoleRequest(), {});
  const std::string text = hole.GetResult();
  EXPECT_EQ(text.find("\"Name\""), std::string::npos);
  EXPECT_TRUE(text.ends_with("\"Target\":\"h-1\"}"));
}

TEST(HoleResult, AFailureHasItsErrorAndTheScan) {
  const Hole hole = Measure(HoleRequest(), {.radius = 0.0092});
  const auto result = nlohmann::ordered_json::parse(hole.GetResult());
  std::vector<std::string> keys;
  for (const auto& [key, value] : result.items()) keys.push_back(key);
  EXPECT_EQ(keys,
            (std::vector<std::string>{"$type", "ErrorMessage", "ScanData", "Success", "Target"}));
  EXPECT_EQ(result["ErrorMessage"], hole.GetError());
  EXPECT_GT(result["ScanData"]["Count"], 0);
  EXPECT_EQ(result["Success"], false);
  const auto fresh = json::parse(Hole(HoleRequest().dump()).GetResult());
  EXPECT_EQ(fresh["ErrorMessage"], "");
  EXPECT_EQ(fresh["ScanData"]["Count"], 0);
}

}  // namespace
}  // namespace libmfx::features
