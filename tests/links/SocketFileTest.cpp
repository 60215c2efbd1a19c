// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <fstream>

#include "links/SocketFile.h"
#include "tests/links/TestPeer.h"

using KX::NMS::SocketFile;

namespace {

bool exists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

// A socket file as a process that was killed leaves it.
void leaveSocket(const std::string& path, int type = SOCK_STREAM) {
  const int descriptor = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  EXPECT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  close(descriptor);
}

class SocketFileTest : public testing::Test {
 protected:
  TemporaryFolder folder;
  std::string path = folder.file("socket");
};

}  // namespace

TEST_F(SocketFileTest, IsForItsOwnerOnlyWhateverTheUmask) {
  for (mode_t mask : {0U, 022U, 077U}) {
    const mode_t before = umask(mask);
    SocketFile file;
    const XCode result = file.listen(path.c_str());
    umask(before);
    ASSERT_TRUE(result.isSuccess()) << result.toString().c_str();
    struct stat status {};
    ASSERT_EQ(lstat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFSOCK | 0600));
  }
}

TEST_F(SocketFileTest, IsRemovedAtItsEnd) {
  {
    SocketFile file;
    ASSERT_TRUE(file.listen(path.c_str()).isSuccess());
    EXPECT_TRUE(exists(path));
  }
  EXPECT_FALSE(exists(path));
}

TEST_F(SocketFileTest, LeavesAFileThatSomebodyHasPutInItsPlace) {
  {
    SocketFile file;
    ASSERT_TRUE(file.listen(path.c_str()).isSuccess());
    unlink(path.c_str());
    std::ofstream(path) << "mine";
  }
  EXPECT_TRUE(exists(path));
}

TEST_F(SocketFileTest, SocketThatNobodyListensOnIsReplaced) {
  leaveSocket(path);
  ASSERT_TRUE(exists(path));
  SocketFile file;
  EXPECT_TRUE(file.listen(path.c_str()).isSuccess());
}

TEST_F(SocketFileTest, SocketThatSomebodyListensOnIsAnError) {
  SocketFile first;
  ASSERT_TRUE(first.listen(path.c_str()).isSuccess());
  {
    SocketFile second;
    EXPECT_EQ(second.listen(path.c_str()).toString(), (path + ": Somebody listens there").c_str());
  }
  EXPECT_TRUE(exists(path));
}

TEST_F(SocketFileTest, AnythingElseAtThePathIsAnErrorAndStays) {
  std::ofstream(path) << "mine";
  SocketFile file;
  EXPECT_EQ(file.listen(path.c_str()).toString(), (path + ": Not a socket").c_str());
  EXPECT_TRUE(exists(path));
}

TEST_F(SocketFileTest, SymbolicLinkAtThePathIsAnErrorAndStays) {
  const std::string target = folder.file("target");
  leaveSocket(target);
  ASSERT_EQ(symlink(target.c_str(), path.c_str()), 0);
  SocketFile file;
  EXPECT_EQ(file.listen(path.c_str()).toString(), (path + ": Not a socket").c_str());
  EXPECT_TRUE(exists(target));
}

TEST_F(SocketFileTest, PathThatIsTooLongIsAnError) {
  const std::string longest = "/tmp/" + std::string(sizeof(sockaddr_un::sun_path) - 6, 'x');
  SocketFile file;
  EXPECT_TRUE(file.listen(longest.c_str()).isSuccess());
  file.close();
  EXPECT_EQ(file.listen((longest + "x").c_str()).toString(), (longest + "x: Socket path too long").c_str());
}

TEST_F(SocketFileTest, PathThatIsNoneIsAnError) {
  SocketFile file;
  EXPECT_EQ(file.listen(""_s).toString(), ": Not a path");
  EXPECT_TRUE(file.listen(String("/tmp/a\0b", 8)).isErr());
  EXPECT_EQ(file.listen((path + "/none/x").c_str()).toString(), (path + "/none/x: No such file or directory").c_str());
}

TEST_F(SocketFileTest, DescriptorsAreCloseOnExecAndNonBlocking) {
  SocketFile file;
  ASSERT_TRUE(file.listen(path.c_str()).isSuccess());
  EXPECT_NE(fcntl(file.number(), F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_FALSE(static_cast<bool>(file.accept()));
}
