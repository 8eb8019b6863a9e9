// The built program as a script drives it: features, plan, arguments and exit statuses.

#include "program_test.h"

namespace mfx_test {
namespace {

using testing::ElementsAre;

const char* const kPath =
    R"({"$id": "p1", "PointSpacing": 0.5, "Feature": {"$type": "ScanPathFeature", "Name": "Path",
        "Path": {"Segments": [[[-1, 0, 2], [0, 0, 2], [1, 0, 2]]]}}})";

/// A call that cannot be carried out: status 2, nothing on standard output, one line that says why.
void ExpectRefused(const Ended& ended, const std::string& why) {
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.out, IsEmpty());
  ASSERT_THAT(Lines(ended.err), SizeIs(1)) << ended.err;
  EXPECT_THAT(ended.err, StartsWith("mfx: "));
  EXPECT_THAT(ended.err, HasSubstr(why));
}

TEST(CallTest, FeaturesAsJsonListEverySetting) {
  const Ended ended = RunMfx({"features", "--json"});
  EXPECT_EQ(ended.status, 0);
  ASSERT_THAT(Lines(ended.out), SizeIs(1));
  const json types = json::parse(ended.out);
  bool found = false;
  for (const json& type : types) {
    EXPECT_TRUE(type["label"].is_string());
    for (const json& row : type["settings"]) {
      for (const char* key : {"name", "label", "type", "kind"}) EXPECT_TRUE(row[key].is_string());
      EXPECT_TRUE(row.contains("default"));
    }
    if (type["name"] != "CustomScan") continue;
    found = true;
    EXPECT_EQ(type["request_type"], "ScanPathFeature");
    ASSERT_THAT(type["request"], SizeIs(7));
    EXPECT_EQ(type["request"][3], (json{{"key", "QualityThreshold"},
                                        {"place", "root"},
                                        {"kind", "number"},
                                        {"unit", "quality"},
                                        {"rule", "any"},
                                        {"group", "own"},
                                        {"required", false},
                                        {"default", 50.0},
                                        {"meaning", "samples of lower quality are dropped"}}));
    EXPECT_EQ(type["request"][6]["kind"], "segments");
    EXPECT_EQ(type["request"][6]["place"], "Path");
    EXPECT_EQ(type["request"][6]["default"], nullptr);
    ASSERT_THAT(type["settings"], SizeIs(2));
    EXPECT_EQ(type["settings"][0], (json{{"name", "QualityThreshold"},
                                         {"label", "Quality threshold"},
                                         {"type", "double"},
                                         {"kind", "parameter"},
                                         {"default", 50.0}}));
    EXPECT_EQ(type["settings"][1]["type"], "int");
    EXPECT_EQ(type["settings"][1]["default"], -1);
  }
  EXPECT_TRUE(found);
}

TEST(CallTest, FeaturesForPeopleNameTheSameSettings) {
  const std::string listed = RunMfx({"features"}).out;
  for (const json& type : json::parse(RunMfx({"features", "--json"}).out)) {
    EXPECT_THAT(listed, HasSubstr(type["name"].get<std::string>() + ": "));
    for (const json& row : type["settings"]) {
      EXPECT_THAT(listed, HasSubstr(row["label"].get<std::string>()));
    }
    if (type["request_type"] == "") continue;
    EXPECT_THAT(listed, HasSubstr("\"" + type["request_type"].get<std::string>() + "\":\n"));
    for (const json& row : type["request"]) {
      EXPECT_THAT(listed, HasSubstr("\n  " + row["key"].get<std::string>() + " "));
      EXPECT_THAT(listed, HasSubstr(" " + row["meaning"].get<std::string>()));
    }
  }
}

TEST(CallTest, PlanPrintsTheDriveLine) {
  const Ended ended = RunMfx({"plan", "-"}, {.input = kPath});
  EXPECT_EQ(ended.status, 0);
  ASSERT_THAT(Lines(ended.out), SizeIs(1));
  const json plan = json::parse(ended.out);
  EXPECT_TRUE(plan["step"].is_string());
  ASSERT_THAT(plan["drive"], SizeIs(3));
  for (const json& point : plan["drive"]) EXPECT_THAT(point, SizeIs(4));
  EXPECT_EQ(plan["drive"][0][0].get<double>(), std::atan2(1.0, 2.0));
  EXPECT_EQ(plan["drive"][0][3].get<double>(), 0.0);
  EXPECT_EQ(plan["drive"][2][3].get<double>(), 0.5);
}

TEST(CallTest, PlanAsCsvHoldsTheSameNumbers) {
  const Ended ended = RunMfx({"plan", "-", "--format", "csv"}, {.input = kPath});
  EXPECT_EQ(ended.status, 0);
  const auto lines = Lines(ended.out);
  ASSERT_THAT(lines, SizeIs(4));
  EXPECT_EQ(lines[0], "azimuth,elevation,range,point_spacing");
  const json plan = json::parse(RunMfx({"plan", "-", "--format", "json"}, {.input = kPath}).out);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(json::parse("[" + lines[i + 1] + "]"), plan["drive"][i]);
  }
}

TEST(CallTest, PlanOfARefusedRequestIsEmptyAndSaysWhy) {
  const Ended ended =
      RunMfx({"plan", "-"}, {.input = R"({"Feature":{"$type":"ScanPathFeature"}})"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(json::parse(ended.out)["drive"], json::array());
  EXPECT_THAT(ended.err, HasSubstr("mfx: nothing to drive: PointSpacing not specified!\n"));
  const Ended csv = RunMfx({"plan", "-", "--format", "csv"}, {.input = "{}"});
  EXPECT_EQ(csv.status, 1);
  EXPECT_EQ(csv.out, "azimuth,elevation,range,point_spacing\n");
  EXPECT_THAT(csv.err, HasSubstr("mfx: nothing to drive: Unknown feature\n"));
}

TEST(CallTest, PlanOfASearchThatIsNotEnabledIsRefused) {
  Folder folder;
  const std::string request = folder.Write("path.json", kPath);
  ExpectRefused(RunMfx({"-q", "plan", request, "--search"}), "does not enable search");
  EXPECT_EQ(RunMfx({"plan", request, "--search"}).status, 2);
}

TEST(CallTest, PlanOfARefusedRequestSaysSoBeforeItAsksForASearch) {
  const Ended ended =
      RunMfx({"plan", "-", "--search"}, {.input = R"({"Feature":{"$type":"ScanPathFeature"}})"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.err, HasSubstr("PointSpacing not specified!"));
}

TEST(CallTest, WrongArgumentsAreRefusedInOneLine) {
  ExpectRefused(RunMfx({"melt"}), "melt");
  ExpectRefused(RunMfx({"plan"}), "REQUEST");
  ExpectRefused(RunMfx({"plan", "-", "--format", "xml"}), "xml");
  ExpectRefused(RunMfx({"features", "--nonsense"}), "--nonsense");
  ExpectRefused(RunMfx({"measure", "-", "--max-passes", "-1"}), "--max-passes");
  ExpectRefused(RunMfx({"measure", "-", "--max-passes", "three"}), "'three'");
  ExpectRefused(RunMfx({"measure", "-", "--timeout", "nan"}), "--timeout");
  ExpectRefused(RunMfx({"measure", "-", "--timeout", "0"}), "--timeout");
  ExpectRefused(RunMfx({"measure", "-", "--scan-data", "xml"}), "xml");
  ExpectRefused(RunMfx({"replay"}), "RECORDING");
}

TEST(CallTest, FilesThatCannotBeReadAreNamed) {
  Folder folder;
  ExpectRefused(RunMfx({"plan", "/no/such/file"}), "/no/such/file: No such file");
  ExpectRefused(RunMfx({"plan", folder.Path("")}), "Is a directory");
  ExpectRefused(RunMfx({"measure", "/no/such/file", "--instrument", "cat"}), "/no/such/file");
  ExpectRefused(RunMfx({"replay", "/no/such/file"}), "recording /no/such/file");
}

TEST(CallTest, AMeasurementNeedsAnInstrument) {
  ExpectRefused(RunMfx({"measure", "-"}, {.input = kPath}), "--instrument");
}

TEST(CallTest, AnEndlessRequestIsRefused) {
  ExpectRefused(RunMfx({"plan", "/dev/zero"}), "longer than 256 MiB");
}

TEST(CallTest, HelpAndVersionAreAnswers) {
  const Ended version = RunMfx({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out, "mfx " LIBMFX_VERSION "\n");
  const Ended help = RunMfx({"--help"});
  EXPECT_EQ(help.status, 0);
  for (const char* call : {"features", "plan", "measure", "replay"}) {
    EXPECT_THAT(help.out, HasSubstr(call));
  }
  EXPECT_THAT(RunMfx({"measure", "--help"}).out, HasSubstr("--instrument"));
}

TEST(CallTest, AReaderThatIsGoneIsAnError) {
  const Ended ended = RunMfx({"features"}, {.close_output = true});
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.err, HasSubstr("cannot write standard output"));
}

TEST(CallTest, TracesOfTheLibraryStayOffStandardOutput) {
  // Asking for a search writes a trace and log lines.
  const Ended loud = RunMfx({"plan", "-", "--search"}, {.input = kPath});
  EXPECT_THAT(loud.out, IsEmpty());
  EXPECT_THAT(loud.err, HasSubstr("FeatureReset(false): "));
  EXPECT_THAT(loud.err, HasSubstr("[CustomScan 1] Nominals are valid."));
  // The line that the trace leaves open does not swallow what comes next.
  for (const std::string& line : Lines(loud.err)) {
    EXPECT_TRUE(line.find("mfx: ") == std::string::npos || line.starts_with("mfx: ")) << line;
  }
  EXPECT_THAT(RunMfx({"-q", "plan", "-", "--search"}, {.input = kPath}).err, StartsWith("mfx: "));
}

TEST(CallTest, APlanIsRefusedInTheLibrarysWords) {
  const auto plan = [](const std::string& unread, const std::string& spacing) {
    return RunMfx({"plan", "-"}, {.input = "{\"X\":" + unread + ",\"PointSpacing\":" + spacing +
                                           R"(,"Feature":{"$type":"ScanPathFeature",
                                "Path":{"Segments":[[[0,0,2],[0.1,0,2]]]}}} trailing)"});
  };
  const Ended refused = plan("1", "1e400");
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(json::parse(refused.out)["drive"], json::array());
  EXPECT_THAT(refused.err, HasSubstr("PointSpacing is not finite: inf"));
  for (const char* unread : {"1e400", "\"\xFF\"", "\"\\ud800\""}) {
    const Ended planned = plan(unread, "0.01");
    EXPECT_EQ(planned.status, 0) << planned.err;
    EXPECT_EQ(planned.out, plan("1", "0.01").out);
  }
}

}  // namespace
}  // namespace mfx_test
