// Cuts in the text of a result, which leave all else its bytes.

#include "host/json_text.h"

#include <gtest/gtest.h>

namespace libmfx::host {
namespace {

TEST(JsonTextTest, SamplesAreCutOut) {
  EXPECT_EQ(WithoutSamples(R"({"a":1.50,"ScanData":{"$type":"ScanData","DataFormat":"LR_XYZ",)"
                           R"("Data":[[1.0,2.0,null,4.0,5],[1,2,3,4,5]],"Count":2},"b":[1]})"),
            R"({"a":1.50,"ScanData":{"$type":"ScanData","DataFormat":"LR_XYZ",)"
            R"("Data":[],"Count":0},"b":[1]})");
  EXPECT_EQ(WithoutSamples(R"({"ScanData":{"Count":12,"Data":[[1],[2]],"DataFormat":"LR_AER"}})"),
            R"({"ScanData":{"Count":0,"Data":[],"DataFormat":"LR_AER"}})");
  EXPECT_EQ(WithoutSamples(R"({"ScanData":{"Data":[],"Count":0}})"),
            R"({"ScanData":{"Data":[],"Count":0}})");
}

TEST(JsonTextTest, WhatHoldsNoRowsStays) {
  for (const char* text :
       {"", "{}", R"({"Success":"false"})", R"({"ScanData":"AAAA\n","Success":true})",
        R"({"Name":"\"ScanData\":{\"Data\":[[1]],\"Count\":1}"})", R"({"Name":"ScanData"})"}) {
    EXPECT_EQ(WithoutSamples(text), text);
  }
}

TEST(JsonTextTest, NamesThatLookAlikeStay) {
  const std::string name = R"("Name":"\"ScanData\":{\"Data\":[[1]],\"Count\":1}")";
  EXPECT_EQ(WithoutSamples("{" + name + R"(,"ScanData":{"Data":[[1]],"Count":1}})"),
            "{" + name + R"(,"ScanData":{"Data":[],"Count":0}})");
  EXPECT_EQ(WithoutSamples(R"({"ScanData":{"Data":[[1]],"Count":1},)" + name + "}"),
            R"({"ScanData":{"Data":[],"Count":0},)" + name + "}");
}

}  // namespace
}  // namespace libmfx::host
