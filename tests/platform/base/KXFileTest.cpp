// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/base/KXFile.h"

namespace {

class KXFileTest : public testing::Test {
 protected:
  KXFileTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kxfile-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
  }
  ~KXFileTest() override { std::filesystem::remove_all(folder_); }

  String path(const char* name) const { return String((folder_ / name).string()); }

  String make(const char* name, const std::string& content) const {
    std::ofstream(path(name).c_str()) << content;
    return path(name);
  }
  static std::string contentOf(const String& path) {
    std::ifstream file(path.c_str());
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  // The descriptor that the next open gets.
  static int nextDescriptor() {
    const int descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(descriptor);
    return descriptor;
  }

 private:
  std::filesystem::path folder_;
};

TEST_F(KXFileTest, WritesAndReadsBack) {
  KXFile file(path("input"), true, true);
  ASSERT_TRUE(file.open(O_WRONLY | O_CREAT | O_TRUNC, 0600).isSuccess());
  EXPECT_TRUE(file.isOpen());
  EXPECT_TRUE(file.write("{\n").isSuccess());
  EXPECT_TRUE(file.writeF("  \"%s\": %u\n", std::string(300, 'x').c_str(), 80U).isSuccess());
  EXPECT_TRUE(file.write("").isSuccess());
  EXPECT_TRUE(file.close().isSuccess());
  EXPECT_FALSE(file.isOpen());

  String content;
  bool endOfFile = false;
  ASSERT_TRUE(file.open(O_RDONLY, 0).isSuccess());
  ASSERT_TRUE(file.read(content, endOfFile).isSuccess());
  EXPECT_EQ(content, "{\n  \"" + std::string(300, 'x') + "\": 80\n");
  EXPECT_TRUE(endOfFile);
}

TEST_F(KXFileTest, CreatesWithThePermissionsGiven) {
  KXFile file(path("secret"), true, true);
  ASSERT_TRUE(file.open(O_WRONLY | O_CREAT, 0600).isSuccess());
  struct stat status {};
  ASSERT_EQ(stat(path("secret").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(KXFileTest, ReadStopsAtTheLimit) {
  KXFile file(make("long", std::string(100000, 'x')), true, false);
  ASSERT_TRUE(file.open(O_RDONLY, 0).isSuccess());
  String content("old");
  bool endOfFile = true;
  EXPECT_TRUE(file.read(content, endOfFile, 40000).isSuccess());
  EXPECT_EQ(content.length(), 40000U);
  EXPECT_FALSE(endOfFile);
  EXPECT_TRUE(file.read(content, endOfFile).isSuccess());
  EXPECT_EQ(content.length(), 60000U);
  EXPECT_TRUE(endOfFile);
}

TEST_F(KXFileTest, MissingFileIsAnError) {
  KXFile file(path("missing"), true, true);
  const XCode result = file.open(O_RDONLY, 0);
  EXPECT_EQ(result.code(), 1000 + ENOENT);
  EXPECT_EQ(result.toString(), "No such file or directory");
  EXPECT_FALSE(file.isOpen());
}

TEST_F(KXFileTest, ClosedFileIsNeitherReadNorWritten) {
  KXFile file(path("closed"), true, true);
  String content("old");
  bool endOfFile = true;
  EXPECT_EQ(file.write("text").code(), 1000 + EBADF);
  EXPECT_EQ(file.read(content, endOfFile).code(), 1000 + EBADF);
  EXPECT_TRUE(content.isEmpty());
  EXPECT_FALSE(endOfFile);
  EXPECT_TRUE(file.close().isSuccess());
}

TEST_F(KXFileTest, FileOpenedForReadingIsNotWritten) {
  KXFile file(make("input", "text"), true, true);
  ASSERT_TRUE(file.open(O_RDONLY, 0).isSuccess());
  EXPECT_EQ(file.write("more").code(), 1000 + EBADF);
}

TEST_F(KXFileTest, SymbolicLinkIsRefusedAndItsTargetLeftAlone) {
  const String target = make("target", "precious");
  std::filesystem::create_symlink(target.c_str(), path("link").c_str());
  KXFile careful(path("link"), true, true);
  EXPECT_EQ(careful.open(O_WRONLY | O_CREAT | O_TRUNC, 0600).code(), 1000 + ELOOP);
  EXPECT_FALSE(careful.isOpen());
  EXPECT_EQ(contentOf(target), "precious");
  KXFile trusting(path("link"), true, false);
  EXPECT_TRUE(trusting.open(O_RDONLY, 0).isSuccess());
}

TEST_F(KXFileTest, HardLinkIsNotWrittenAndItsTargetLeftAlone) {
  const String target = make("target", "precious");
  std::filesystem::create_hard_link(target.c_str(), path("link").c_str());
  KXFile file(path("link"), true, true);
  EXPECT_EQ(file.open(O_WRONLY | O_CREAT | O_TRUNC, 0600).toString(), "File with further names");
  EXPECT_EQ(file.open(O_RDWR, 0).toString(), "File with further names");
  EXPECT_FALSE(file.isOpen());
  EXPECT_EQ(contentOf(target), "precious");
  EXPECT_TRUE(file.open(O_RDONLY, 0).isSuccess());
}

TEST_F(KXFileTest, FileOfAnotherUserIsNotWritten) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  const String target = make("target", "precious");
  ASSERT_EQ(chown(target.c_str(), 65534, static_cast<gid_t>(-1)), 0);
  KXFile file(target, true, true);
  EXPECT_EQ(file.open(O_WRONLY | O_CREAT | O_TRUNC, 0600).toString(), "File of another user");
  EXPECT_EQ(contentOf(target), "precious");
  EXPECT_TRUE(file.open(O_RDONLY, 0).isSuccess());
}

TEST_F(KXFileTest, FifoIsRefusedWithoutWaitingForItsOtherEnd) {
  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
  KXFile file(path("fifo"), true, true);
  EXPECT_EQ(file.open(O_RDONLY, 0).toString(), "Not a regular file");
  EXPECT_TRUE(file.open(O_WRONLY | O_CREAT | O_TRUNC, 0600).isErr());
  EXPECT_EQ(file.open(O_RDWR, 0).toString(), "Not a regular file");
  EXPECT_FALSE(file.isOpen());
}

TEST_F(KXFileTest, DirectoryIsRefused) {
  std::filesystem::create_directory(path("folder").c_str());
  KXFile file(path("folder"), true, true);
  EXPECT_EQ(file.open(O_RDONLY, 0).toString(), "Not a regular file");
  EXPECT_EQ(file.open(O_WRONLY, 0).code(), 1000 + EISDIR);
}

TEST_F(KXFileTest, DeviceIsRefused) {
  KXFile file("/dev/null", true, true);
  EXPECT_EQ(file.open(O_WRONLY | O_TRUNC, 0).toString(), "Not a regular file");
  EXPECT_FALSE(file.isOpen());
}

TEST_F(KXFileTest, RegularFileIsTruncatedWhenAskedFor) {
  const String target = make("input", "old content");
  KXFile file(target, true, true);
  ASSERT_TRUE(file.open(O_WRONLY | O_CREAT, 0600).isSuccess());
  EXPECT_EQ(contentOf(target), "old content");
  ASSERT_TRUE(file.open(O_WRONLY | O_CREAT | O_TRUNC, 0600).isSuccess());
  EXPECT_EQ(contentOf(target), "");
}

TEST_F(KXFileTest, FullDiskIsAnErrorOfTheWrite) {
  KXFile file("/dev/full", true, false);
  ASSERT_TRUE(file.open(O_WRONLY, 0).isSuccess());
  EXPECT_EQ(file.write("x").code(), 1000 + ENOSPC);
  EXPECT_EQ(file.writeF("%d", 1).toString(), "No space left on device");
  EXPECT_TRUE(file.close().isSuccess());
}

TEST_F(KXFileTest, DescriptorIsCloseOnExec) {
  for (const bool noFollow : {false, true}) {
    const int descriptor = nextDescriptor();
    KXFile file(make("input", ""), true, noFollow);
    ASSERT_TRUE(file.open(O_RDONLY, 0).isSuccess());
    EXPECT_EQ(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor)), path("input").view());
    EXPECT_EQ(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  }
}

TEST_F(KXFileTest, DestructorClosesWhenAskedTo) {
  const int descriptor = nextDescriptor();
  {
    KXFile file(make("input", ""), true, true);
    ASSERT_TRUE(file.open(O_RDONLY, 0).isSuccess());
  }
  EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
  {
    KXFile file(path("input"), false, true);
    ASSERT_TRUE(file.open(O_RDONLY, 0).isSuccess());
  }
  EXPECT_NE(fcntl(descriptor, F_GETFD), -1);
  ::close(descriptor);
}

TEST_F(KXFileTest, OpeningAgainClosesFirst) {
  const int descriptor = nextDescriptor();
  KXFile file(make("input", "text"), true, true);
  ASSERT_TRUE(file.open(O_RDONLY, 0).isSuccess());
  ASSERT_TRUE(file.open(O_RDONLY, 0).isSuccess());
  EXPECT_EQ(nextDescriptor(), descriptor + 1);
  EXPECT_TRUE(file.isOpen());
}

}  // namespace
