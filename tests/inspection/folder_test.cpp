#include "inspection/folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "bracket.h"
#include "host/errors.h"
#include "host/files.h"

namespace inspection_test {
namespace {

using libmfx::host::CallError;
using libmfx::inspection::Beginning;
using libmfx::inspection::Folder;
using testing::HasSubstr;

const Beginning kBeginning = {.program = "p", .time = kTime, .seed = 7, .trials = 9};

std::string Message(const std::function<void()>& call) {
  try {
    call();
  } catch (const CallError& error) {
    return error.what();
  }
  return {};
}

void Append(const std::string& file, const std::string& text) {
  std::ofstream(file, std::ios::app | std::ios::binary) << text;
}

std::string TextOf(const std::string& file) { return libmfx::host::ReadText(file, "file"); }

/// A recording of a conversation in which nothing was driven.
void WriteRecording(const std::string& file) {
  libmfx::host::RecordingWriter writer(file);
  writer.Begin(
      {.request = "{}", .options = {}, .program = {}, .time = {}, .instrument = "i", .labels = {}});
  writer.Finish("{\"Success\":false}");
}

TEST(InspectionFolder, OpensWithWhatItWasBegunWith) {
  const TemporaryFolder temporary;
  Folder::Begin(temporary / "f", "{\"a\": 1}", "{}", kBeginning);
  const Folder folder = Folder::Open(temporary / "f", true);
  EXPECT_EQ(folder.plan(), "{\"a\": 1}");
  EXPECT_EQ(folder.beginning().program, "p");
  EXPECT_EQ(folder.beginning().time, kTime);
  EXPECT_EQ(folder.beginning().seed, 7U);
  EXPECT_EQ(folder.beginning().trials, 9);
  EXPECT_EQ(folder.ModelFile(), temporary / "f/instrument-model.json");
}

TEST(InspectionFolder, IsNotBegunWhereSomethingIsAlready) {
  const TemporaryFolder temporary;
  Folder::Begin(temporary / "f", "{}", "", kBeginning);
  EXPECT_THAT(Message([&] { Folder::Begin(temporary / "f", "{}", "", kBeginning); }),
              HasSubstr("--resume"));
  fs::create_directories(temporary / "g");
  Append(temporary / "g/notes.txt", "mine");
  EXPECT_THAT(Message([&] { Folder::Begin(temporary / "g", "{}", "", kBeginning); }),
              HasSubstr("it exists already"));
  EXPECT_EQ(TextOf(temporary / "g/notes.txt"), "mine");
  Append(temporary / "file", "mine");
  EXPECT_NE(Message([&] { Folder::Begin(temporary / "file", "{}", "", kBeginning); }), "");
  EXPECT_EQ(TextOf(temporary / "file"), "mine");
}

TEST(InspectionFolder, IsBegunAnewWhereItWasKilledBeforeTheFirstLine) {
  const TemporaryFolder temporary;
  fs::create_directories(temporary / "f/recordings");
  Append(temporary / "f/plan.json", "{\"half");
  Append(temporary / "f/journal.jsonl", "{\"inspection\":1,\"pro");
  EXPECT_FALSE(Folder::IsBegun(temporary / "f"));
  Folder::Begin(temporary / "f", "{}", "", kBeginning);
  EXPECT_TRUE(Folder::IsBegun(temporary / "f"));
  EXPECT_EQ(Folder::Open(temporary / "f", true).beginning().seed, 7U);
}

TEST(InspectionFolder, KnowsWhatWasRecordedAtEveryByteOfItsJournal) {
  const TemporaryFolder temporary;
  std::string file;
  {
    Folder folder = Folder::Begin(temporary / "f", "{}", "", kBeginning);
    file = folder.NextRecording("H/1 \xC3\xA9");
    EXPECT_EQ(file, "recordings/001-H_1___.rec");
    EXPECT_FALSE(folder.Find(file).has_value());
    WriteRecording(folder.File(file));
    folder.Ended("H/1", file, false);
  }
  const std::string journal = TextOf(temporary / "f/journal.jsonl");
  const std::size_t first = journal.find('\n') + 1;
  for (std::size_t size = first; size <= journal.size(); ++size) {
    fs::resize_file(temporary / "f/journal.jsonl", 0);
    Append(temporary / "f/journal.jsonl", journal.substr(0, size));
    Folder folder = Folder::Open(temporary / "f", true);
    ASSERT_TRUE(folder.Find(folder.NextRecording("H/1 \xC3\xA9")).has_value()) << size;
    folder.Ended("H/1", file, false);
    EXPECT_EQ(TextOf(temporary / "f/journal.jsonl"), journal) << size;
  }
}

TEST(InspectionFolder, TellsWhatIsMissingOrDamaged) {
  const TemporaryFolder temporary;
  EXPECT_THAT(Message([&] { Folder::Open(temporary / "none", true); }),
              HasSubstr("no inspection was begun there"));
  std::string file;
  {
    Folder folder = Folder::Begin(temporary / "f", "{}", "", kBeginning);
    file = folder.NextRecording("H1");
    WriteRecording(folder.File(file));
    folder.Ended("H1", file, false);
  }
  // One that the journal does not know may have been cut off; one that it knows may not.
  Append(temporary / "f/recordings/002-H2.rec", "{\"request\"");
  const Folder folder = Folder::Open(temporary / "f", false);
  EXPECT_FALSE(folder.Find("recordings/002-H2.rec").has_value());
  fs::resize_file(temporary / ("f/" + file), 5);
  EXPECT_NE(Message([&] { folder.Find(file); }), "");
  fs::remove(temporary / ("f/" + file));
  EXPECT_THAT(Message([&] { folder.Find(file); }), HasSubstr("is missing"));
  Append(temporary / "f/journal.jsonl", "[1]\n");
  EXPECT_THAT(Message([&] { Folder::Open(temporary / "f", false); }), HasSubstr("line 3"));
}

TEST(InspectionFolder, RefusesANewerOneAndASecondProcess) {
  const TemporaryFolder temporary;
  const Folder held = Folder::Begin(temporary / "f", "{}", "", kBeginning);
  EXPECT_THAT(Message([&] { Folder::Open(temporary / "f", true); }),
              HasSubstr("another process is at work in it"));
  EXPECT_EQ(Message([&] { Folder::Open(temporary / "f", false); }), "");
  fs::create_directories(temporary / "g");
  Append(temporary / "g/journal.jsonl",
         "{\"inspection\":2,\"program\":\"\",\"time\":\"\",\"seed\":1,\"trials\":0}\n");
  EXPECT_THAT(Message([&] { Folder::Open(temporary / "g", false); }), HasSubstr("newer version"));
}

TEST(InspectionFolder, RemovesWhatAKilledProcessHadNotFinished) {
  const TemporaryFolder temporary;
  Folder::Begin(temporary / "f", "{}", "", kBeginning);
  Append(temporary / "f/recordings/001-H1.rec.mfx-123", "half");
  Append(temporary / "f/result.json.mfx-123", "half");
  Folder::Open(temporary / "f", false);
  EXPECT_TRUE(fs::exists(temporary / "f/result.json.mfx-123"));
  Folder::Open(temporary / "f", true);
  EXPECT_FALSE(fs::exists(temporary / "f/result.json.mfx-123"));
  EXPECT_FALSE(fs::exists(temporary / "f/recordings/001-H1.rec.mfx-123"));
}

}  // namespace
}  // namespace inspection_test
