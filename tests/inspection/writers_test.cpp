// The files of a sheet but QIF: each is read back, by rules that are not the writer's.

#include "inspection/writers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <clocale>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <locale>
#include <map>
#include <nlohmann/json.hpp>
#include <numbers>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "documents.h"
#include "full_sheet.h"
#include "host/numbers.h"
#include "inspection/written.h"

#if __has_include(<valijson/validator.hpp>)
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validator.hpp>
#define MFX_HAS_VALIDATOR 1
#endif

namespace libmfx::inspection::sheet_test {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

json SchemaOfResults() { return json::parse(test::ReadDocument("schemas/inspection-result.json")); }

#ifdef MFX_HAS_VALIDATOR
/// What the schema says against a value; empty: nothing.
std::string Against(const json& value) {
  const json document = SchemaOfResults();
  valijson::Schema schema;
  valijson::SchemaParser(valijson::SchemaParser::kDraft7)
      .populateSchema(valijson::adapters::NlohmannJsonAdapter(document), schema);
  valijson::ValidationResults results;
  valijson::Validator validator;
  if (validator.validate(schema, valijson::adapters::NlohmannJsonAdapter(value), &results)) {
    return {};
  }
  std::string said = "refused";
  for (valijson::ValidationResults::Error error; results.popError(error);) {
    for (const std::string& part : error.context) said += part;
    said += ": " + error.description + "\n";
  }
  return said;
}
#else
std::string Against(const json&) {
  return "there is no validator on this machine: run scripts/setup.sh test, and build again";
}
#endif

/// The cells of a table by RFC 4180.
std::vector<std::vector<std::string>> CellsOf(const std::string& csv) {
  std::vector<std::vector<std::string>> lines;
  std::vector<std::string> line;
  std::string cell;
  bool quoted = false;
  for (std::size_t i = 0; i < csv.size(); ++i) {
    const char c = csv[i];
    if (quoted) {
      if (c != '"') {
        cell += c;
      } else if (i + 1 < csv.size() && csv[i + 1] == '"') {
        cell += csv[++i];
      } else {
        quoted = false;
      }
    } else if (c == '"') {
      EXPECT_TRUE(cell.empty()) << "a quote inside of a bare cell";
      quoted = true;
    } else if (c == ',') {
      line.push_back(std::exchange(cell, {}));
    } else if (c == '\r') {
      EXPECT_TRUE(i + 1 < csv.size() && csv[i + 1] == '\n');
      ++i;
      line.push_back(std::exchange(cell, {}));
      lines.push_back(std::exchange(line, {}));
    } else {
      EXPECT_NE(c, '\n') << "a bare end of line";
      cell += c;
    }
  }
  EXPECT_FALSE(quoted);
  EXPECT_TRUE(cell.empty() && line.empty()) << "the last line has no end";
  return lines;
}

struct Vertex {
  Vector3d place;
  int red = 0, green = 0, blue = 0;
  std::uint32_t feature = 0;
};

/// The vertices of a file, as its own header tells them.
std::vector<Vertex> VerticesOf(const std::string& ply) {
  const std::string end = "end_header\n";
  const std::size_t begin = ply.find(end) + end.size();
  std::istringstream header(ply.substr(0, begin));
  std::size_t count = 0;
  std::string properties;
  for (std::string line; std::getline(header, line);) {
    if (line.starts_with("element vertex ")) count = std::stoul(line.substr(15));
    if (line.starts_with("property ")) properties += line.substr(9) + ";";
  }
  EXPECT_TRUE(ply.starts_with("ply\nformat binary_little_endian 1.0\n"));
  EXPECT_EQ(properties, "double x;double y;double z;uchar red;uchar green;uchar blue;int feature;");
  EXPECT_EQ(ply.size() - begin, count * 31);
  const auto whole = [&](std::size_t at, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = size; i-- > 0;) {
      value = value << 8 | static_cast<unsigned char>(ply.at(at + i));
    }
    return value;
  };
  std::vector<Vertex> vertices(count);
  for (std::size_t v = 0; v < count; ++v) {
    const std::size_t at = begin + v * 31;
    for (int k = 0; k < 3; ++k) {
      vertices[v].place[k] = std::bit_cast<double>(whole(at + 8 * static_cast<std::size_t>(k), 8));
    }
    vertices[v].red = static_cast<int>(whole(at + 24, 1));
    vertices[v].green = static_cast<int>(whole(at + 25, 1));
    vertices[v].blue = static_cast<int>(whole(at + 26, 1));
    vertices[v].feature = static_cast<std::uint32_t>(whole(at + 27, 4));
  }
  return vertices;
}

Vector3d TripleOf(const json& numbers) {
  return {numbers.at(0).get<double>(), numbers.at(1).get<double>(), numbers.at(2).get<double>()};
}

/// All files of a sheet, one after the other.
std::string AllFiles(const Sheet& sheet) {
  return ResultJson(sheet) + ResultCsv(sheet) + PointsPly(sheet) + ResultQif(sheet);
}

TEST(ResultJsonTest, IsValidByItsSchema) {
  EXPECT_EQ(Against(json::parse(ResultJson(FullSheet()))), "");
  EXPECT_EQ(Against(json::parse(ResultJson(Sheet()))), "");
}

TEST(ResultJsonTest, ItsSchemaRefusesWhatIsNotSo) {
  const json sound = json::parse(ResultJson(FullSheet()));
  const std::vector<std::pair<std::string, json>> wrong = {
      {"/more", 1},
      {"/verdict", "fine"},
      {"/counts/conforms", -1},
      {"/plan/units/length", "ft"},
      {"/stations/0/pose/rotation/0", {1, 0}},
      {"/alignment/references/0/left_out", false},
      {"/features/0/type", "GearFeature"},
      {"/features/0/place/measured", nullptr},
      {"/characteristics/0/measured", nullptr},
      {"/characteristics/0/verdict", "not measured"},
      {"/characteristics/0/share_within", 1.5},
      {"/characteristics/17/measured", 1.0}};
  for (const auto& [place, value] : wrong) {
    json changed = sound;
    changed[json::json_pointer(place)] = value;
    EXPECT_NE(Against(changed), "") << place;
  }
  for (const char* key : {"plan", "features", "verdict", "counts"}) {
    json changed = sound;
    changed.erase(key);
    EXPECT_NE(Against(changed), "") << key;
  }
}

TEST(ResultJsonTest, TellsTheValuesInThePlansUnits) {
  Sheet sheet = FullSheet();
  const double degree = std::numbers::pi / 180.0;
  for (const auto& [length, angle, metres, radians] : {std::tuple{"mm", "deg", 1e-3, degree},
                                                       {"m", "rad", 1.0, 1.0},
                                                       {"in", "rad", 0.0254, 1.0}}) {
    SCOPED_TRACE(length);
    sheet.plan.units = {length, angle};
    const json result = json::parse(ResultJson(sheet));
    EXPECT_EQ(result["plan"]["units"], (json{{"length", length}, {"angle", angle}}));
    // Half of the last decimal that is told: at most 0.5 nm and 0.5 nrad.
    const double half = 0.51e-9;
    for (std::size_t i = 0; i < sheet.plan.characteristics.size(); ++i) {
      const Characteristic& asked = sheet.plan.characteristics[i];
      const CharacteristicResult& judged = sheet.characteristics[i];
      const json& told = result["characteristics"][i];
      const double unit = asked.is_angle ? radians : metres;
      EXPECT_EQ(told["unit"], asked.is_angle ? angle : length);
      EXPECT_EQ(told["verdict"], VerdictName(judged.verdict));
      EXPECT_NEAR(told["nominal"].get<double>() * unit, asked.nominal, half);
      EXPECT_EQ(told["upper"].is_null(), !std::isfinite(asked.upper));
      EXPECT_EQ(told["lower"].is_null(), !std::isfinite(asked.lower));
      EXPECT_EQ(told.contains("measured"), judged.verdict != Verdict::kNotMeasured);
      if (!told.contains("measured")) continue;
      EXPECT_NEAR(told["measured"].get<double>() * unit, judged.measured, half);
      EXPECT_NEAR(told["deviation"].get<double>() * unit, 60e-6, half);
      EXPECT_NEAR(told["standard"].get<double>() * unit, 20e-6, half);
      EXPECT_NEAR(told["interval95"][1].get<double>() * unit, judged.measured + 40e-6, half);
    }
    const json& hole = result["features"][kHole];
    const Vector3d place = TripleOf(hole["place"]["measured"]) * metres;
    EXPECT_LT((place - sheet.features[kHole].measured.place).cwiseAbs().maxCoeff(), half);
    EXPECT_NEAR(hole["place"]["covariance"][0][1].get<double>() * metres * metres, -0.5e-10,
                1e-15);  // six digits of 9e-10
    EXPECT_NEAR(hole["direction"]["deviation"].get<double>() * radians, std::atan(0.001), half);
    const Vector3d position = TripleOf(result["stations"][0]["pose"]["position"]) * metres;
    EXPECT_LT((position - sheet.stations[0].pose.translation()).cwiseAbs().maxCoeff(), half);
  }
}

TEST(ResultJsonTest, TellsWhatWasMeasuredOfEachType) {
  const json result = json::parse(ResultJson(FullSheet()));
  const json& features = result["features"];
  EXPECT_FALSE(features[kHole]["radius"].contains("measured"));
  EXPECT_EQ(features[kHole]["radius"]["nominal"], 6.0);
  EXPECT_EQ(
      features[kPolygon]["radius"],
      (json{{"nominal", 6.0}, {"measured", 5.993}, {"deviation", -0.007}, {"standard", 0.002}}));
  EXPECT_EQ(features[kSlot]["length"]["measured"], 30.05);
  EXPECT_FALSE(features[kBall].contains("direction"));
  EXPECT_FALSE(features[kPath].contains("place"));
  EXPECT_EQ(features[kPath]["measured"], true);
  EXPECT_EQ(features[kNasty]["measured"], false);
  EXPECT_EQ(features[kNasty]["reason"], "the rim was not found");
  EXPECT_EQ(features[kNasty]["name"], kNastyName);
  // What was doubted tells no numbers, though the sheet holds some.
  EXPECT_FALSE(features[kNasty]["place"].contains("measured"));
  EXPECT_FALSE(features[kNasty].contains("station"));
  EXPECT_EQ(features[kHole]["station"], "front");
  EXPECT_EQ(result["alignment"]["references"][2]["left_out"], true);
  EXPECT_FALSE(result["alignment"]["references"][2].contains("residual"));
  EXPECT_EQ(result["alignment"]["references"][1]["residual"], 0.007);
  EXPECT_EQ(result["alignment"]["scale"], 1.0000575);
}

TEST(ResultJsonTest, TheVerdictOfTheWholeIsItsWorst) {
  Sheet sheet = FullSheet();
  EXPECT_EQ(json::parse(ResultJson(sheet))["counts"], (json{{"conforms", 6},
                                                            {"does not conform", 6},
                                                            {"cannot be decided", 5},
                                                            {"not measured", 1}}));
  const auto whole = [&] { return json::parse(ResultJson(sheet))["verdict"]; };
  const auto turn = [&](Verdict from, Verdict to) {
    for (CharacteristicResult& result : sheet.characteristics) {
      if (result.verdict == from) result.verdict = to;
    }
  };
  EXPECT_EQ(whole(), "does not conform");
  turn(Verdict::kDoesNotConform, Verdict::kConforms);
  EXPECT_EQ(whole(), "not measured");
  sheet.plan.characteristics.pop_back();
  sheet.characteristics.pop_back();
  EXPECT_EQ(whole(), "cannot be decided");
  turn(Verdict::kUndecided, Verdict::kConforms);
  EXPECT_EQ(whole(), "conforms");
  sheet.plan.characteristics.clear();
  sheet.characteristics.clear();
  EXPECT_EQ(whole(), "cannot be decided") << "nothing was asked, so nothing conforms";
}

TEST(ResultJsonTest, ANumberThatIsNoneIsNeverTold) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  Sheet sheet = FullSheet();
  sheet.characteristics[0].measured = nan;
  sheet.characteristics[1].standard = nan;
  sheet.characteristics[2].is_sure = false;
  sheet.features[kStud].measured.direction.setConstant(nan);
  sheet.features[kSlot].measured.length = nan;
  sheet.features[kHole].measured.place.setConstant(nan);
  sheet.features[kHole].spread.place.setConstant(nan);
  sheet.stations[0].pose.translation().setConstant(nan);
  sheet.stations[0].turn_standard.setConstant(nan);
  const json result = json::parse(ResultJson(sheet));
  EXPECT_EQ(Against(result), "");
  // A verdict about no number is none.
  EXPECT_EQ(result["characteristics"][0]["verdict"], "not measured");
  EXPECT_EQ(result["characteristics"][0]["reason"], "its value is not a number");
  for (const std::size_t i : {1u, 2u}) {
    EXPECT_TRUE(result["characteristics"][i].contains("measured"));
    for (const char* key : {"standard", "interval95", "share_within"}) {
      EXPECT_FALSE(result["characteristics"][i].contains(key)) << key;
    }
  }
  EXPECT_FALSE(result["stations"][0].contains("pose"));
  EXPECT_FALSE(result["features"][kHole]["place"].contains("measured"));
}

TEST(ResultJsonTest, ListsThatAreTooShortEndNowhere) {
  Sheet sheet = FullSheet();
  sheet.stations.clear();
  sheet.features.clear();
  sheet.characteristics.resize(3);
  sheet.alignment.residuals.clear();
  sheet.plan.characteristics[0].features = {99};
  const json result = json::parse(ResultJson(sheet));
  EXPECT_EQ(Against(result), "");
  EXPECT_EQ(result["characteristics"][5]["verdict"], "not measured");
  EXPECT_EQ(result["features"][kHole]["measured"], false);
  EXPECT_THAT(CellsOf(ResultCsv(sheet)), SizeIs(1 + sheet.plan.characteristics.size()));
  EXPECT_THAT(VerticesOf(PointsPly(sheet)), IsEmpty());
}

TEST(ResultCsvTest, IsReadBackCellByCell) {
  const Sheet sheet = FullSheet();
  const auto lines = CellsOf(ResultCsv(sheet));
  ASSERT_THAT(lines, SizeIs(1 + sheet.plan.characteristics.size()));
  EXPECT_THAT(lines[0],
              ElementsAre("characteristic", "type", "features", "unit", "nominal", "lower", "upper",
                          "measured", "deviation", "standard uncertainty", "low95", "high95",
                          "probability within", "verdict", "reason"));
  EXPECT_THAT(lines[1],
              ElementsAre("S1 diameter", "size", "S1", "mm", "12", "11.9", "12.1", "12.06", "0.06",
                          "0.02", "12.02", "12.1", "0.998765", "conforms", ""));
  EXPECT_THAT(lines[3],
              ElementsAre("L1 length", "size", "L1", "mm", "30", "", "30.2", "30.06", "0.06",
                          "0.02", "30.02", "30.1", "0.5", "cannot be decided", ""));
  EXPECT_EQ(lines[11][2], "H1; S1");
  EXPECT_EQ(lines[13][3], "deg");
  EXPECT_EQ(lines[13][0], "H1, L1");
  for (const auto& line : lines) {
    EXPECT_THAT(line, SizeIs(15));
    EXPECT_TRUE(line[7].empty() || host::NumberOf<double>(line[7]) || line[7] == "measured");
  }
}

TEST(ResultCsvTest, NoTextIsTakenForAFormula) {
  const Sheet sheet = FullSheet();
  const auto lines = CellsOf(ResultCsv(sheet));
  const auto& nasty = lines.back();
  EXPECT_EQ(nasty[0], "'" + kNastyName);
  EXPECT_EQ(nasty[2], "'" + kNastyName);
  EXPECT_EQ(nasty[14], "\"" + kNastyName + "\" was not measured");
  EXPECT_EQ(nasty[7], "");
  EXPECT_EQ(lines[15][0], "'-level");
  // A number that begins with a minus stays one.
  EXPECT_EQ(lines[7][5], "-0.1");
  Sheet other = sheet;
  for (const char* name : {"+1", "@cmd", "\tx", "=1"}) {
    other.plan.characteristics[0].name = name;
    EXPECT_EQ(CellsOf(ResultCsv(other))[1][0], std::string("'") + name);
  }
  other.plan.characteristics[0].name = "a=1\xFF";
  EXPECT_EQ(CellsOf(ResultCsv(other))[1][0], "a=1\xEF\xBF\xBD");
}

TEST(PointsPlyTest, HoldsTheSamplesAndThenThePlaces) {
  Sheet sheet = FullSheet();
  sheet.features[kEdge].points.push_back(Vector3d::Constant(FeatureNumbers::kNone));
  const std::vector<Vertex> vertices = VerticesOf(PointsPly(sheet));
  // Ten features were measured, with two samples each; the path has no place.
  ASSERT_THAT(vertices, SizeIs(29));
  for (std::size_t i = 0; i < 20; ++i) {
    EXPECT_EQ(vertices[i].feature, i / 2);
    EXPECT_LT((vertices[i].place - sheet.features[i / 2].points[i % 2]).norm(), 1e-9);
  }
  for (std::size_t i = 0; i < 9; ++i) {
    EXPECT_EQ(vertices[20 + i].feature, i);
    EXPECT_LT((vertices[20 + i].place - sheet.features[i].measured.place).norm(), 1e-9);
  }
}

TEST(PointsPlyTest, AFeatureHasTheColourOfItsWorstVerdict) {
  const Sheet sheet = FullSheet();
  const auto verdicts = FeatureVerdicts(sheet, ToldResults(sheet));
  std::map<std::tuple<int, int, int>, std::set<std::optional<Verdict>>> seen;
  for (const Vertex& vertex : VerticesOf(PointsPly(sheet))) {
    seen[{vertex.red, vertex.green, vertex.blue}].insert(verdicts.at(vertex.feature));
  }
  EXPECT_EQ(verdicts[kPath], std::nullopt);
  EXPECT_EQ(verdicts[kHole], Verdict::kDoesNotConform);
  EXPECT_EQ(verdicts[kNasty], Verdict::kNotMeasured);
  EXPECT_THAT(seen, SizeIs(4));
  EXPECT_THAT((seen[{0, 158, 115}]), ElementsAre(Verdict::kConforms));
  EXPECT_THAT((seen[{213, 94, 0}]), ElementsAre(Verdict::kDoesNotConform));
  EXPECT_THAT((seen[{240, 228, 66}]), ElementsAre(Verdict::kUndecided));
  EXPECT_THAT((seen[{86, 180, 233}]), ElementsAre(std::nullopt));
}

TEST(WritersTest, EmptySheetsAreFilesToo) {
  Sheet sheet;
  EXPECT_THAT(CellsOf(ResultCsv(sheet)), SizeIs(1));
  EXPECT_THAT(VerticesOf(PointsPly(sheet)), IsEmpty());
  sheet.plan.stations.resize(1);
  sheet.plan.characteristics.clear();
  const json result = json::parse(ResultJson(sheet));
  EXPECT_THAT(result["characteristics"], SizeIs(0));
  EXPECT_THAT(result["features"], SizeIs(0));
  EXPECT_THAT(result["stations"], SizeIs(1));
  EXPECT_EQ(Against(result), "");
}

class Comma : public std::numpunct<char> {
 protected:
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(WritersTest, TheLocaleDoesNotMatter) {
  const Sheet sheet = FullSheet();
  const std::string files = AllFiles(sheet);
  const std::string before_c = std::setlocale(LC_ALL, nullptr);
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Comma));
  // The C locale too, where the machine has one with a comma.
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8"}) {
    if (std::setlocale(LC_ALL, name)) break;
  }
  EXPECT_EQ(std::use_facet<std::numpunct<char>>(std::locale()).decimal_point(), ',');
  EXPECT_TRUE(AllFiles(sheet) == files);
  std::locale::global(before);
  std::setlocale(LC_ALL, before_c.c_str());
}

// Compilers round differently in the last bits; the files do not show it.
TEST(WritersTest, TheLastBitsDoNotReachAFile) {
  const Sheet sheet = FullSheet();
  for (const double factor : {1.0 + 1e-14, 1.0 - 1e-14}) {
    Sheet other = sheet;
    for (FeatureResult& feature : other.features) {
      feature.measured.place *= factor;
      feature.measured.direction *= factor;
      feature.measured.tangent *= factor;
      feature.measured.length *= factor;
      feature.measured.radius *= factor;
      feature.spread.place *= factor;
      for (Vector3d& point : feature.points) point *= factor;
    }
    for (CharacteristicResult& result : other.characteristics) {
      result.measured *= factor;
      result.standard *= factor;
      result.share_within *= factor;
    }
    other.stations[0].pose.translation() *= factor;
    EXPECT_TRUE(AllFiles(other) == AllFiles(sheet));
  }
}

TEST(RoundedToTest, KeepsWhatHasNoDecimals) {
  EXPECT_EQ(RoundedTo(1.23456789, 4), 1.2346);
  EXPECT_EQ(RoundedTo(-1.23456789, 4), -1.2346);
  EXPECT_EQ(RoundedTo(123456.0, -3), 123000.0);
  EXPECT_FALSE(std::signbit(RoundedTo(-1e-9, 4)));
  EXPECT_EQ(RoundedTo(1e300, 9), 1e300);
  EXPECT_EQ(RoundedTo(1.5e-310, 400), 1.5e-310);
  EXPECT_TRUE(std::isnan(RoundedTo(std::nan(""), 3)));
  EXPECT_TRUE(std::isinf(RoundedTo(-INFINITY, 3)));
}

}  // namespace
}  // namespace libmfx::inspection::sheet_test
