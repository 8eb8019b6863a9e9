// Odd texts: which class answers them, with which error, and that a class reads a text as it reads
// what the factory has parsed of it.

#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "documents.h"
#include "libmfx/features/custom_scan.h"
#include "libmfx/features/edge.h"
#include "libmfx/features/hole.h"
#include "libmfx/features/polygon.h"
#include "libmfx/features/pvi.h"
#include "libmfx/features/rectangle.h"
#include "libmfx/features/slot.h"
#include "libmfx/features/sphere_fit.h"
#include "libmfx/features/stud.h"
#include "libmfx/features/threaded_hole.h"
#include "libmfx/features/unknown_feature.h"
#include "paths.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using FeaturePtr = std::unique_ptr<Feature>;

const std::string kHole = R"({"$type":"HoleFeature","Location":[0,0,2],"Radius":0.005})";
const std::string kPath = R"("PointSpacing":1,"Feature":{"$type":"ScanPathFeature",)"
                          R"("Path":{"Segments":[[[0,0,2],[0.1,0,2]]]}})";

std::string Nested(int depth) {
  const auto levels = static_cast<std::size_t>(depth);
  return std::string(levels, '[') + std::string(levels, ']');
}

struct Odd {
  std::string text;
  std::string name;   ///< of the class that answers
  std::string error;  ///< that it has from its request
};

std::vector<Odd> OddTexts() {
  const std::string unknown = "UnknownFeature";
  const std::string hole = "RobustHole";
  const std::string scan = "CustomScan";
  const std::string no_nominal = "Request does not contain nominal location and/or radius!";
  const std::string no_segments = "Segments are not specified!";
  return {
      // No request.
      {"", unknown, ""},
      {"[]", unknown, ""},
      {"[{\"Feature\":" + kHole + "}]", unknown, ""},
      {"{\"Feature\":" + kHole, unknown, ""},
      {"{\"Feature\":" + kHole + ",}", unknown, ""},
      {"{\"Feature\":" + kHole + ",\"x\":NaN}", unknown, ""},
      {"{\"Feature\":" + kHole + ",\"x\":Infinity}", unknown, ""},
      {"{'Feature':" + kHole + "}", unknown, ""},
      {"{\"x\":" + Nested(50) + ",\"Feature\":" + kHole + "}", unknown, ""},
      {"{\"x\":1e400,\"y\":" + Nested(50) + ",\"Feature\":" + kHole + "}", unknown, ""},
      {"\xFE\xFF{\"Feature\":" + kHole + "}", unknown, ""},
      // A request that names no class.
      {"{}", unknown, ""},
      {"{\"$type\":\"HoleFeature\"}", unknown, ""},
      {"{\"Feature\":null}", unknown, ""},
      {"{\"Feature\":\"HoleFeature\"}", unknown, ""},
      {"{\"Feature\":[" + kHole + "]}", unknown, ""},
      {"{\"feature\":" + kHole + "}", unknown, ""},
      {R"({"Feature":{"$type":7}})", unknown, ""},
      {R"({"Feature":{"$type":["HoleFeature"]}})", unknown, ""},
      {R"({"Feature":{"$type":"holefeature"}})", unknown, ""},
      {R"({"Feature":{"$type":"HoleFeature "}})", unknown, ""},
      {R"({"Feature":{"$type":"HoleFeature\u0000"}})", unknown, ""},
      {R"({"Feature":{"$type":"UnknownFeature"}})", unknown, ""},
      {"{\"Feature\":" + kHole + ",\"Feature\":{}}", unknown, ""},
      {R"({"Feature":{"$type":"HoleFeature","$type":"\ud800"}})", unknown, ""},
      // A hole, whatever stands around it.
      {"{\"Feature\":" + kHole + "}", hole, ""},
      {"\xEF\xBB\xBF{\"Feature\":" + kHole + "}", hole, ""},
      {"// a hole\n{\"Feature\":/**/" + kHole + "} and so on {[", hole, ""},
      {"{\"x\":" + Nested(49) + ",\"Feature\":" + kHole + "}", hole, ""},
      {"{\"x\":[1e400,-1e400],\"\xFF\":\"\\udc00\",\"Feature\":" + kHole + "}", hole, ""},
      {"{\"Feature\":{},\"Feature\":" + kHole + "}", hole, ""},
      {R"({"Feature":{"$type":"SlotFeature","Radius":1,"Location":[1,2,3],"$type":"HoleFeature"}})",
       hole, ""},
      {R"({"Feature":{"$type":"HoleFeatur\u0065","Location":null,"Radius":"x"}})", hole, ""},
      {R"({"Feature":{"$type":"HoleFeature"}})", hole, no_nominal},
      {R"({"Feature":{"$type":"HoleFeature","location":[0,0,2],"Radius":1}})", hole, no_nominal},
      {"{\"Feature\":" + kHole + R"(,"Feature":{"$type":"HoleFeature","Radius":1}})", hole,
       no_nominal},
      // A scan path: its errors in their order.
      {"{" + kPath + "}", scan, ""},
      {R"({"Feature":{"$type":"ScanPathFeature"}})", scan, "PointSpacing not specified!"},
      {"{" + kPath + R"(,"PointSpacing":"1"})", scan, "PointSpacing type is not double or array"},
      {"{" + kPath + R"(,"PointSpacing":[]})", scan, "PointSpacing array is empty"},
      {"{" + kPath + R"(,"PointSpacing":1e400})", scan, "PointSpacing is not finite: inf"},
      {"{" + kPath + R"(,"PointSpacing":"1e400"})", scan, "PointSpacing is not finite: inf"},
      {R"({"PointSpacing":1,"Feature":{"$type":"ScanPathFeature","Path":[]}})", scan, no_segments},
      {R"({"PointSpacing":1,"Feature":{"$type":"ScanPathFeature","Path":{"Segments":{}}}})", scan,
       no_segments},
      {R"({"PointSpacing":1,"Feature":{"$type":"ScanPathFeature","Path":{"Segments":[7,{},[8]]}}})",
       scan, ""},
      {R"({"PointSpacing":[1],"Feature":{"$type":"ScanPathFeature",
           "Path":{"Segments":[[[0,0,1],[0,0,2]],[[0,0,1],[1e400,0,2]]]}}})",
       scan, "PointSpacing array is too short for the path"},
      {R"({"PointSpacing":1,"Feature":{"$type":"ScanPathFeature",
           "Path":{"Segments":[[[0,0,1],["0.1",-1e400,true]]]}}})",
       scan, "Path has a point that is not finite"},
      // The others' words.
      {R"({"Feature":{"$type":"SurfaceNormalFeature","Location":[0,0,2],"Normal":[0,"0",false]}})",
       "PVI", "Nominal normal is zero!"},
      {R"({"Feature":{"$type":"MatteSphereFeature"}})", "MatteSphere",
       "Request does not contain nominal location!"},
      {R"({"Feature":{"$type":"StudFeature","Location":[],"Axis":[],"Offset":1,"Height":1}})",
       "Stud", "Request does not contain valid nominal radius!"},
      {R"({"ScanPassesPerArc":"0","Feature":{"$type":"SlotFeature"}})", "Slot",
       "Request does not contain valid scan passes number for slot arcs!"},
  };
}

TEST(OddRequests, AreAnsweredByTheClassAndInTheWordsThatTheyAlwaysHad) {
  for (const Odd& odd : OddTexts()) {
    const FeaturePtr feature(Feature::Create(odd.text));
    EXPECT_EQ(feature->FeatureName(), odd.name) << odd.text;
    EXPECT_EQ(feature->GetError(), odd.error) << odd.text;
  }
}

/// All that a host sees of a feature before samples.
void ExpectTheSame(Feature& a, Feature& b, const std::string& text) {
  EXPECT_EQ(a.FeatureName(), b.FeatureName()) << text;
  EXPECT_EQ(a.GetError(), b.GetError()) << text;
  EXPECT_EQ(a.GetUuid(), b.GetUuid()) << text;
  EXPECT_EQ(a.QualityThreshold(), b.QualityThreshold()) << text;
  EXPECT_EQ(test::PointsOf(a.GetDrivePoints(false)), test::PointsOf(b.GetDrivePoints(false)))
      << text;
  EXPECT_EQ(a.GetError(), b.GetError()) << text;
  EXPECT_EQ(a.GetResult(), b.GetResult()) << text;
}

template <typename T>
class OddRequestsOfEachClass : public testing::Test {};

using Classes = testing::Types<PVI, SphereFit, Hole, CustomScan, UnknownFeature, Slot, Edge,
                               Polygon, Rectangle, ThreadedHole, Stud>;
TYPED_TEST_SUITE(OddRequestsOfEachClass, Classes);

TYPED_TEST(OddRequestsOfEachClass, TheTextIsReadAsTheFactoryReadsIt) {
  const std::string name = TypeParam().FeatureName();
  int created = 0;
  for (const Odd& odd : OddTexts()) {
    const FeaturePtr made(Feature::Create(odd.text));
    if (made->FeatureName() != name) continue;
    TypeParam own(odd.text);
    ExpectTheSame(*made, own, odd.text);
    ++created;
  }
  for (const char* example : {"edge", "hole", "matte-sphere", "polygon", "rectangle", "scan_path",
                              "slot", "stud", "surface-normal", "threaded-hole"}) {
    const std::string text =
        test::ReadDocument("examples/requests/" + std::string(example) + ".json");
    const FeaturePtr made(Feature::Create(text));
    if (made->FeatureName() != name) continue;
    TypeParam own(text);
    ExpectTheSame(*made, own, text);
    ++created;
  }
  EXPECT_GT(created, 0);
}

}  // namespace
}  // namespace libmfx::features
