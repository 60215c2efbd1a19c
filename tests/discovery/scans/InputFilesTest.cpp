// SPDX-License-Identifier: Apache-2.0
#include <list>

#include "discovery/common/Limits.h"
#include "discovery/scans/InputFile.h"
#include "platform/testing/VirtualEventLoop.h"
#include "tests/discovery/scans/InputFolder.h"

namespace KX::NMS::Discovery {
namespace {

// A job as far as its input file goes.
struct FakeJob {
  FakeJob(KXEventLoop& loop, const std::string& id) : file(loop, String(id), status) { status.start(); }

  Status status;
  InputFile file;
};

class InputFilesTest : public testing::Test {
 protected:
  // A job that writes its file; it stays until it is told to go.
  FakeJob& run(const std::string& id) {
    FakeJob& job = jobs_.emplace_back(loop_, id);
    EXPECT_TRUE(job.file.open().isSuccess());
    EXPECT_TRUE(job.file.writeLine("a", " http:80").isSuccess());
    job.file.close();
    return job;
  }
  // A job that is gone, its file left behind.
  void finish(const std::string& id) {
    run(id);
    jobs_.pop_back();
  }
  void finishMany(const std::string& id, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) finish(id + "." + std::to_string(i));
  }

  Testing::VirtualEventLoop loop_;
  InputFolder folder_{loop_};
  std::list<FakeJob> jobs_;
};

constexpr std::size_t OF_ONE = Limits::INPUT_FILES_OF_ONE_JOB;

TEST_F(InputFilesTest, AFileOutlivesItsJob) {
  finish("nightly.0");
  EXPECT_EQ(folder_.contentOf("nightly.0"), "a http:80\n");
}

TEST_F(InputFilesTest, OfTheRunsOfOneJobTheLatestAreKept) {
  finishMany("nightly", 10 * OF_ONE);
  EXPECT_EQ(folder_.count(), OF_ONE);
  EXPECT_FALSE(folder_.has("nightly." + std::to_string(9 * OF_ONE - 1)));
  EXPECT_TRUE(folder_.has("nightly." + std::to_string(9 * OF_ONE)));
}

TEST_F(InputFilesTest, TheJobsOfSequencesCountForTheSequence) {
  for (std::size_t run = 0; run < OF_ONE; ++run) finishMany("nightly." + std::to_string(run), 3);
  finishMany("nightly.7.1", 3);
  EXPECT_EQ(folder_.count(), OF_ONE);
}

TEST_F(InputFilesTest, ClearRemovesAllButWhatAJobUses) {
  finishMany("nightly", 3);
  run("hourly.0");
  loop_.ownService<InputFiles>().clear();
  EXPECT_EQ(folder_.count(), 1U);
  EXPECT_TRUE(folder_.has("hourly.0"));
}

TEST_F(InputFilesTest, EveryJobHasItsOwnShare) {
  finish("hourly.0");
  finish("nightly.b.0");
  finishMany("nightly", 3 * OF_ONE);
  EXPECT_TRUE(folder_.has("hourly.0"));
  EXPECT_TRUE(folder_.has("nightly.b.0"));
}

TEST_F(InputFilesTest, JobsThatComeAndGoAreBoundedTogether) {
  for (std::size_t i = 0; i < 3 * Limits::INPUT_FILES; ++i) finish("plan-" + std::to_string(i) + ".0");
  EXPECT_EQ(folder_.count(), Limits::INPUT_FILES);
  EXPECT_TRUE(folder_.has("plan-" + std::to_string(3 * Limits::INPUT_FILES - 1) + ".0"));
}

TEST_F(InputFilesTest, IdsMayBeEmptyOrNumbers) {
  for (const char* id : {"", ".", "7", "7.7", "..0"}) finishMany(id, 2 * OF_ONE);
  EXPECT_LE(folder_.count(), Limits::INPUT_FILES);
  EXPECT_GE(folder_.count(), OF_ONE);
}

TEST_F(InputFilesTest, AFileThatIsWrittenAgainCountsOnceAndAsTheLatest) {
  finishMany("nightly", OF_ONE);
  for (int i = 0; i < 5; ++i) finish("nightly.0");
  EXPECT_EQ(folder_.count(), OF_ONE);
  finish("nightly.x");
  finish("nightly.100");
  EXPECT_TRUE(folder_.has("nightly.0"));
  EXPECT_FALSE(folder_.has("nightly.1"));
  EXPECT_TRUE(folder_.has("nightly.2"));
}

TEST_F(InputFilesTest, AFileInUseStays) {
  run("nightly.0");
  run("nightly.1");
  finishMany("nightly.9", 3 * OF_ONE);
  EXPECT_TRUE(folder_.has("nightly.0"));
  EXPECT_TRUE(folder_.has("nightly.1"));
  EXPECT_EQ(folder_.count(), OF_ONE);
}

TEST_F(InputFilesTest, AJobThatHasEndedUsesItsFileNoMore) {
  FakeJob& ended = run("nightly.0");
  EXPECT_TRUE(ended.status.successful(Property::Value()));
  FakeJob& abandoned = run("nightly.1");
  abandoned.file.abandon();
  EXPECT_TRUE(folder_.has("nightly.0"));
  finishMany("nightly.9", OF_ONE);
  EXPECT_FALSE(folder_.has("nightly.0"));
  EXPECT_FALSE(folder_.has("nightly.1"));
}

TEST_F(InputFilesTest, AnAbandonedFileThatIsWrittenAgainIsInUse) {
  FakeJob& job = run("nightly.0");
  job.file.abandon();
  EXPECT_FALSE(job.file.isInUse());
  ASSERT_TRUE(job.file.open().isSuccess());
  EXPECT_TRUE(job.file.isInUse());
}

TEST_F(InputFilesTest, WhenAllAreInUseNoneGoes) {
  for (std::size_t i = 0; i < 2 * OF_ONE; ++i) run("nightly." + std::to_string(i));
  EXPECT_EQ(folder_.count(), 2 * OF_ONE);
  jobs_.clear();
  finish("nightly.100");
  EXPECT_EQ(folder_.count(), OF_ONE);
}

TEST_F(InputFilesTest, WhatSomeoneElsePutInPlaceOfAFileStays) {
  finish("nightly.0");
  finish("nightly.1");
  finish("nightly.2");
  // Freed just before, the inode is likely to be given to the new file.
  std::filesystem::remove(folder_.fileOf("nightly.0"));
  std::ofstream(folder_.fileOf("nightly.0")) << "theirs";
  std::filesystem::remove(folder_.fileOf("nightly.1"));
  std::filesystem::create_directory(folder_.fileOf("nightly.1"));
  std::filesystem::remove(folder_.fileOf("nightly.2"));
  std::filesystem::create_symlink("/dev/null", folder_.fileOf("nightly.2"));
  finishMany("nightly.9", 2 * OF_ONE);
  EXPECT_EQ(folder_.contentOf("nightly.0"), "theirs");
  EXPECT_TRUE(std::filesystem::is_directory(folder_.fileOf("nightly.1")));
  EXPECT_TRUE(std::filesystem::is_symlink(folder_.fileOf("nightly.2")));
  EXPECT_EQ(folder_.count(), OF_ONE + 3);
}

TEST_F(InputFilesTest, WhatSomeoneElseHasWrittenToStays) {
  finish("nightly.0");
  std::ofstream(folder_.fileOf("nightly.0"), std::ios::app) << "a note\n";
  finishMany("nightly.9", 2 * OF_ONE);
  EXPECT_EQ(folder_.contentOf("nightly.0"), "a http:80\na note\n");
}

TEST_F(InputFilesTest, FilesThatItHasNotWrittenAreNotTouched) {
  for (std::size_t i = 0; i < 2 * OF_ONE; ++i) std::ofstream(folder_.fileOf("nightly." + std::to_string(i))) << "old";
  finish("nightly.100");
  EXPECT_EQ(folder_.count(), 2 * OF_ONE + 1);
}

TEST_F(InputFilesTest, FilesThatAreGoneDoNotMatter) {
  finishMany("nightly", OF_ONE);
  std::filesystem::remove_all(folder_.path());
  std::filesystem::create_directory(folder_.path());
  finishMany("nightly.9", 2 * OF_ONE);
  EXPECT_EQ(folder_.count(), OF_ONE);
}

TEST_F(InputFilesTest, EveryLoopHasItsOwn) {
  InputFiles& ofThis = loop_.ownService<InputFiles>();
  Testing::VirtualEventLoop other;
  InputFiles& ofOther = other.ownService<InputFiles>();
  EXPECT_NE(&ofThis, &ofOther);
  EXPECT_EQ(&ofOther, &other.ownService<InputFiles>());
  EXPECT_EQ(ofOther.pathFor("nightly.0"), "/tmp/servicescan-input-nightly.0");
}

}  // namespace
}  // namespace KX::NMS::Discovery
