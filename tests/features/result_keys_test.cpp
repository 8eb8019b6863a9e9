#include "features/shared/result_keys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "feature_probe.h"

namespace libmfx::features::shared {
namespace {

using test::FeatureProbe;

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

TEST(ResultKeysTest, FrameOfASuccessAndOfAFailure) {
  EXPECT_EQ(Told(true, "", "").Result(),
            R"({"$type":"T","Radius":0.50000000,"ScanData":{"$type":"ScanData",)"
            R"("DataFormat":"LR_AER","Data":[],"Count":0},"Success":true,"Target":"id"})");
  EXPECT_EQ(Told(false, "bad", "name").Result(),
            R"({"$type":"T","ErrorMessage":"bad","ScanData":{"$type":"ScanData",)"
            R"("DataFormat":"LR_AER","Data":[],"Count":0},"Success":false,"Target":"id",)"
            R"("Name":"name"})");
}

TEST(ResultKeysTest, WarningsAreTheLastKeyWhereThereAreAny) {
  Told told(true, "", "name");
  told.doubts = {"a \"b\"", "c"};
  EXPECT_THAT(told.Result(), testing::EndsWith(R"("Success":true,"Target":"id","Name":"name",)"
                                               R"("Warnings":["a \"b\"","c"]})"));
}

}  // namespace
}  // namespace libmfx::features::shared
