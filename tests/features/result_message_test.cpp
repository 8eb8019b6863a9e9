#include "features/shared/result_message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "feature_probe.h"
#include "features/shared/plan_limits.h"
#include "features/shared/result_keys.h"

namespace libmfx::features::shared {
namespace {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::RawDataPoint;
using data_structures::VectorXYZW;
using test::FeatureProbe;

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

/// A feature with one key of its own.
class Told : public FeatureProbe {
 public:
  Told(bool successful, const std::string& error, const std::string& name) {
    analysis_succeeds = successful;
    _uuid = "id";
    _name = name;
    if (!error.empty()) SetError(error);
  }
  double radius = 0.5;

  std::string Result() {
    AnalyzeFeature();
    return ResultKeys("T").Add("Radius", &Told::radius).Write(*this);
  }
};

TEST(ResultMessage, FrameOfASuccessAndOfAFailure) {
  EXPECT_EQ(Told(true, "", "").Result(),
            R"({"$type":"T","Radius":0.50000000,"ScanData":{"$type":"ScanData",)"
            R"("DataFormat":"LR_AER","Data":[],"Count":0},"Success":true,"Target":"id"})");
  EXPECT_EQ(Told(false, "bad", "name").Result(),
            R"({"$type":"T","ErrorMessage":"bad","ScanData":{"$type":"ScanData",)"
            R"("DataFormat":"LR_AER","Data":[],"Count":0},"Success":false,"Target":"id",)"
            R"("Name":"name"})");
}

TEST(ResultMessage, WarningsAreTheLastKeyWhereThereAreAny) {
  Told told(true, "", "name");
  told.doubts = {"a \"b\"", "c"};
  EXPECT_THAT(told.Result(), testing::EndsWith(R"("Success":true,"Target":"id","Name":"name",)"
                                               R"("Warnings":["a \"b\"","c"]})"));
}

TEST(ResultMessage, IntegerOfADouble) {
  EXPECT_EQ(IntegerOf(-1.0), -1);
  EXPECT_EQ(IntegerOf(kNan), 0);
  EXPECT_EQ(IntegerOf(1e300), std::numeric_limits<std::int32_t>::max());
}

TEST(PlanLimits, RefusalsNameTheValue) {
  EXPECT_EQ(RefuseCount("ScanLines", 1e6), "");
  EXPECT_EQ(RefuseCount("ScanLines", 2e6),
            "ScanLines asks for a plan of 2e+06 drive points; the limit is 1000000");
  EXPECT_NE(RefuseCount("ScanLines", kNan), "");
  EXPECT_EQ(RefuseNotPositive("PointSpacing", 1e-4), "");
  EXPECT_EQ(RefuseNotPositive("PointSpacing", 0.0),
            "PointSpacing has to be positive and finite: 0");
  EXPECT_NE(RefuseNotPositive("PointSpacing", kNan), "");
  EXPECT_NE(RefuseNotPositive("PointSpacing", kInf), "");
  EXPECT_EQ(RefuseNotFinite("Location", PointXYZW(1, 2, 3)), "");
  EXPECT_EQ(RefuseNotFinite("Location", PointXYZW(1, kNan, kInf)),
            "Location is not finite: (1, nan, inf)");
  EXPECT_EQ(RefuseNotFinite("Radius", 1e300), "");
  EXPECT_EQ(RefuseNotFinite("Radius", -kInf), "Radius is not finite: -inf");
}

}  // namespace
}  // namespace libmfx::features::shared
