// What a call writes takes the place of nothing that it reads or writes besides, and a file that
// cannot be written costs that file alone.

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "examples.h"
#include "program_test.h"

namespace mfx_test {
namespace {

namespace fs = std::filesystem;

const char* const kOneFile = "one file: one would take the place of the other";

/// A folder with a request, a scene, a recording of both and, under other names, the recording.
struct Files : Folder {
  Files() {
    const Example example("scan_path");
    Write("q.json", example.request.dump());
    Write("s.json", example.scene.dump());
    EXPECT_EQ(Shell("mfx measure q.json --scene s.json --record r.jsonl").status, 0);
    fs::create_hard_link(Path("r.jsonl"), Path("hard"));
    fs::create_symlink("r.jsonl", Path("soft"));
    fs::create_directory(Path("sub"));
    fs::create_directory_symlink("sub", Path("sub_link"));
  }

  /// Runs a line of a shell in the folder, with mfx to be found.
  Ended Shell(const std::string& line) const {
    const std::string mfx = fs::path(LIBMFX_MFX_PROGRAM).parent_path();
    return RunMfx({"-c", "cd '" + Path("") + "' && PATH='" + mfx + "':$PATH && " + line},
                  {.program = "/bin/sh"});
  }

  /// A call that is refused in one line and leaves every file as it was.
  void ExpectRefused(const std::string& line, const std::string& why) const {
    SCOPED_TRACE(line);
    const auto names = Names();
    const auto before = Read("q.json") + Read("s.json") + Read("r.jsonl");
    const Ended ended = Shell(line);
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.out, IsEmpty());
    EXPECT_THAT(Lines(ended.err), SizeIs(1)) << ended.err;
    EXPECT_THAT(ended.err, HasSubstr(why));
    EXPECT_EQ(Read("q.json") + Read("s.json") + Read("r.jsonl"), before);
    EXPECT_EQ(Names(), names);
  }
};

TEST(OutputsTest, NoOutputReplacesAnInput) {
  const Files files;
  for (const char* name : {"r.jsonl", "./r.jsonl", "hard", "soft", "sub/../r.jsonl"}) {
    files.ExpectRefused(std::string("mfx replay r.jsonl --report ") + name, kOneFile);
    files.ExpectRefused(std::string("mfx replay ") + name + " --report r.jsonl", kOneFile);
  }
  files.ExpectRefused("mfx replay - --report hard < r.jsonl",
                      "report hard and recording on standard input are one file");
  const std::string measure = "mfx measure q.json --scene s.json ";
  files.ExpectRefused(measure + "--report q.json", "report q.json and request q.json are one file");
  files.ExpectRefused(measure + "--record ./q.json", "recording ./q.json and request q.json");
  files.ExpectRefused(measure + "--record s.json", "recording s.json and scene s.json");
  files.ExpectRefused("mfx measure - --scene s.json --record q.json < q.json",
                      "request on standard input");
}

TEST(OutputsTest, NothingIsDrivenForACallThatIsRefused) {
  const Files files;
  files.ExpectRefused("mfx measure q.json --instrument 'touch started' --record q.json", kOneFile);
  files.ExpectRefused("mfx measure q.json --instrument 'touch started' --record a --report a",
                      kOneFile);
}

TEST(OutputsTest, TheScriptOfAnInstrumentIsNotReplaced) {
  const Files files;
  fs::copy_file(Source("examples/instrument/flat_wall.py"), files.Path("wall.py"));
  const std::string script = files.Read("wall.py");
  files.ExpectRefused("mfx measure q.json --instrument 'python3 ./wall.py' --record wall.py",
                      "recording wall.py and instrument's file ./wall.py are one file");
  EXPECT_EQ(files.Read("wall.py"), script);
  EXPECT_EQ(
      files.Shell("mfx measure q.json --instrument 'python3 ./wall.py' --record python3").status,
      0);
}

TEST(OutputsTest, APartFileIsAnInputToo) {
  const Files files;
  json scene = ReadJson(Source("examples/scenes/stl_plate.json"));
  const fs::path part =
      Source("examples/scenes") / fs::path(scene["part"]["file"].get<std::string>());
  fs::copy_file(part, files.Path("sub/plate.stl"));
  scene["part"]["file"] = "plate.stl";
  files.Write("sub/scene.json", scene.dump());
  const auto size = fs::file_size(part);
  files.ExpectRefused("mfx measure q.json --scene sub/scene.json --report sub_link/plate.stl",
                      "report sub_link/plate.stl and part file sub/plate.stl are one file");
  EXPECT_EQ(fs::file_size(files.Path("sub/plate.stl")), size);
}

TEST(OutputsTest, NoOutputReplacesAnother) {
  const Files files;
  const std::string measure = "mfx measure q.json --scene s.json ";
  for (const char* outputs :
       {"--record x --report x", "--record x --report ./x", "--record sub/x --report sub_link/x",
        "--record x --report X", "--record soft --report hard"}) {
    files.ExpectRefused(measure + outputs, kOneFile);
  }
  EXPECT_EQ(files.Shell(measure + "--record sub/x --report x").status, 0);
  EXPECT_EQ(files.Shell(measure + "--record /dev/null --report /dev/null").status, 0);
}

TEST(OutputsTest, StandardOutputIsAFileLikeAnother) {
  const Files files;
  const std::string recording = files.Read("r.jsonl");
  const auto refused = [&](const std::string& line, const std::string& why) {
    const Ended ended = files.Shell(line);
    EXPECT_EQ(ended.status, 2) << line;
    EXPECT_THAT(ended.err, HasSubstr(why)) << line;
    EXPECT_THAT(Lines(ended.err), SizeIs(1)) << line;
  };
  refused("mfx replay r.jsonl >> r.jsonl", "standard output and recording r.jsonl are one file");
  refused("mfx plan q.json >> ./q.json", "standard output and request q.json are one file");
  refused("mfx replay r.jsonl --report out > out", "report out and standard output are one file");
  EXPECT_EQ(files.Read("r.jsonl"), recording);
  // Else it would read its own answers as jobs for as long as there is room.
  files.Write("jobs", "{\"recording\": \"r.jsonl\"}\n");
  refused("mfx batch jobs >> jobs", "standard output and jobs jobs are one file");
  EXPECT_EQ(files.Read("jobs"), "{\"recording\": \"r.jsonl\"}\n");
  EXPECT_EQ(files.Shell("mfx replay r.jsonl > out").status, 0);
  EXPECT_EQ(Lines(files.Read("out")).size(), 1u);
}

// It has become what a recording is not by then, and is at least not read as one.
TEST(OutputsTest, ABatchAnswersThatItWritesBehindARecordingOfItsOwn) {
  const Files files;
  files.Write("jobs", "{\"recording\": \"soft\"}\n{\"recording\": \"copy\"}\n");
  fs::copy_file(files.Path("r.jsonl"), files.Path("copy"));
  for (const char* processes : {"1", "2"}) {
    const Ended ended = files.Shell(std::string("mfx batch jobs >> r.jsonl -j ") + processes);
    EXPECT_EQ(ended.status, 0) << ended.err;
    const auto lines = Lines(files.Read("r.jsonl"));
    EXPECT_THAT(lines.at(lines.size() - 2),
                HasSubstr("recording soft is the file that the answers go to"));
    EXPECT_THAT(lines.back(), HasSubstr("\"result\""));
  }
}

TEST(OutputsTest, AWriteProtectedFileIsNotReplaced) {
  const Files files;
  files.Write("kept", "kept");
  ASSERT_EQ(chmod(files.Path("kept").c_str(), 0444), 0);
  files.ExpectRefused("mfx replay r.jsonl --report kept", "kept: it is write-protected");
  files.ExpectRefused("mfx measure q.json --instrument 'touch started' --record kept",
                      "kept: it is write-protected");
  EXPECT_EQ(files.Read("kept"), "kept");
}

TEST(OutputsTest, AFullDiskCostsTheFileAndNotTheMeasurement) {
  const Files files;
  const std::string measure = "mfx measure q.json --scene s.json ";
  const std::string result = files.Shell(measure).out;
  ASSERT_THAT(result, HasSubstr("\"Success\":true"));
  const auto costs = [&](const std::string& line, const std::string& why) {
    const Ended ended = files.Shell(line);
    EXPECT_EQ(ended.status, 2) << line;
    EXPECT_EQ(ended.out, result) << line;
    EXPECT_THAT(ended.err, HasSubstr(why)) << line;
  };
  costs(measure + "--record /dev/full", "cannot write recording /dev/full: No space left");
  costs(measure + "--report /dev/full", "cannot write report /dev/full: No space left");
  costs("mfx replay r.jsonl --report /dev/full", "cannot write report /dev/full: No space left");
  // The one that fails does not take the other along.
  costs(measure + "--record /dev/full --report page", "cannot write recording");
  EXPECT_THAT(files.Read("page"), HasSubstr("</html>"));
  costs(measure + "--record again --report /dev/full", "cannot write report");
  EXPECT_EQ(Lines(files.Read("again")).size(), Lines(files.Read("r.jsonl")).size());
}

// A limit on the size of files stands for a disk that fills while the instrument is at work.
TEST(OutputsTest, ADiskThatFillsDuringTheMeasurementDoesNotEndIt) {
  const Files files;
  files.Write("r.jsonl", "old");
  json request = ReadJson(Source("examples/requests/scan_path.json"));
  request["PointSpacing"] = 0.0002;
  files.Write("fine.json", request.dump());
  const std::string measure = "mfx measure fine.json --scene s.json --scan-data none ";
  const Ended whole = files.Shell(measure + "--record whole");
  ASSERT_EQ(whole.status, 0);
  ASSERT_GT(fs::file_size(files.Path("whole")), 100'000u);
  const Ended ended = files.Shell("ulimit -f 100 && " + measure + "--record r.jsonl");
  EXPECT_EQ(ended.status, 2) << ended.err;
  EXPECT_EQ(ended.out, whole.out);
  EXPECT_THAT(ended.err, HasSubstr("cannot write recording"));
  EXPECT_EQ(files.Read("r.jsonl"), "old");
  EXPECT_THAT(files.Names(), Not(testing::Contains(StartsWith("r.jsonl.mfx"))));
}

TEST(OutputsTest, ACallWhoseResultNobodyTakesStillWritesItsFiles) {
  const Files files;
  const Ended ended = RunMfx({"measure", files.Path("q.json"), "--scene", files.Path("s.json"),
                              "--record", files.Path("kept"), "--report", files.Path("page")},
                             {.close_output = true});
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.err, HasSubstr("cannot write standard output"));
  EXPECT_EQ(Lines(files.Read("kept")).back(), Lines(files.Read("r.jsonl")).back());
  EXPECT_THAT(files.Read("page"), HasSubstr("</html>"));
}

TEST(OutputsTest, AFileThatCannotBeMadeEndsTheCallBeforeAnythingIsDriven) {
  const Files files;
  for (const char* option : {"--record", "--report"}) {
    files.ExpectRefused(std::string("mfx measure q.json --instrument 'touch started' ") + option +
                            " /no/such/folder/x",
                        "cannot write re");
  }
}

}  // namespace
}  // namespace mfx_test
