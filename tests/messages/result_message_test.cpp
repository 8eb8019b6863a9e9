#include "messages/result_message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

namespace libmfx::messages {
namespace {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::RawDataPoint;
using data_structures::VectorXYZW;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

std::string Number(double value, int decimals = 8) {
  std::string text;
  AppendNumber(text, value, decimals);
  return text;
}

TEST(ResultMessage, NumbersHaveAFixedCountOfDecimals) {
  EXPECT_EQ(Number(0.1), "0.10000000");
  EXPECT_EQ(Number(-2.0), "-2.00000000");
  EXPECT_EQ(Number(1.0 / 3.0, 2), "0.33");
  EXPECT_EQ(Number(0.0, 1), "0.0");
}

TEST(ResultMessage, WhatIsNotFiniteIsNull) {
  EXPECT_EQ(Number(kNan), "null");
  EXPECT_EQ(Number(kInf), "null");
  EXPECT_EQ(Number(-kInf), "null");
}

TEST(ResultMessage, NoNegativeZeroIsPrinted) {
  EXPECT_EQ(Number(-0.0), "0.00000000");
  EXPECT_EQ(Number(-4e-9), "0.00000000");
  EXPECT_EQ(Number(-6e-9), "-0.00000001");
}

TEST(ResultMessage, HugeNumbersStayValidJson) {
  const std::string text = Number(-std::numeric_limits<double>::max());
  EXPECT_EQ(nlohmann::json::parse(text).get<double>(), -std::numeric_limits<double>::max());
}

TEST(ResultMessage, KeysStandInTheOrderOfTheCalls) {
  ResultMessage message;
  message.Add("z", "text \"quoted\"\n")
      .Add("a", true)
      .Add("n", -5)
      .Add("u", 7U)
      .Add("p", PointXYZW(1, -0.0, kNan))
      .Add("v", VectorXYZW(0, 0, 0), 1);
  EXPECT_EQ(message.Finish(), R"({"z":"text \"quoted\"\n","a":true,"n":-5,"u":7,)"
                              R"("p":[1.00000000,0.00000000,null],"v":[0.0,0.0,0.0]})");
}

TEST(ResultMessage, AnEmptyMessageIsAnObject) { EXPECT_EQ(ResultMessage().Finish(), "{}"); }

TEST(ResultMessage, InvalidUtf8IsReplaced) {
  ResultMessage message;
  message.Add("k", std::string_view("a\xFF"));
  EXPECT_EQ(message.Finish(), "{\"k\":\"a\xEF\xBF\xBD\"}");
}

TEST(ResultMessage, ScanDataOfACloud) {
  Eigen::MatrixXd data(5, 2);
  data.col(0) << 1, 2, 3, 60, -1;
  data.col(1) << 4, 5, 6, 70, 12;
  ResultMessage message;
  message.AddScanData("LR_XYZ", PointCloud(data));
  EXPECT_EQ(message.Finish(), R"({"ScanData":{"$type":"ScanData","DataFormat":"LR_XYZ","Data":[)"
                              R"([1.00000000,2.00000000,3.00000000,60.00000000,-1],)"
                              R"([4.00000000,5.00000000,6.00000000,70.00000000,12]],"Count":2}})");
}

TEST(ResultMessage, ScanDataOfAnEmptyCloudAndOfSamples) {
  ResultMessage empty;
  empty.AddScanData("LR_XYZ", PointCloud());
  EXPECT_EQ(empty.Finish(),
            R"({"ScanData":{"$type":"ScanData","DataFormat":"LR_XYZ","Data":[],"Count":0}})");
  ResultMessage samples;
  samples.AddScanData({RawDataPoint(0.5, kNan, 2, 10, -1)});
  EXPECT_EQ(samples.Finish(), R"({"ScanData":{"$type":"ScanData","DataFormat":"LR_AER","Data":[)"
                              R"([0.50000000,null,2.00000000,10.00000000,-1]],"Count":1}})");
}

TEST(ResultMessage, IntegerOfADouble) {
  EXPECT_EQ(IntegerOf(-1.0), -1);
  EXPECT_EQ(IntegerOf(kNan), 0);
  EXPECT_EQ(IntegerOf(1e300), std::numeric_limits<std::int32_t>::max());
}

}  // namespace
}  // namespace libmfx::messages
