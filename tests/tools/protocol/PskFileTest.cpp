// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tools/protocol/PskFile.h"

namespace DeviceDiscovery {
namespace {

class PskFileTest : public testing::Test {
 protected:
  PskFileTest() {
    folder_ = (std::filesystem::temp_directory_path() / "psk-test-XXXXXX").string();
    EXPECT_NE(mkdtemp(folder_.data()), nullptr);
  }
  ~PskFileTest() override { std::filesystem::remove_all(folder_); }

  XCode read(const std::string& content, mode_t mode = 0600) {
    const std::string path = folder_ + "/psk";
    std::ofstream(path) << content;
    EXPECT_EQ(chmod(path.c_str(), mode), 0);
    return readPskFile(path.c_str(), key_);
  }

  std::string folder_;
  PreSharedKey key_;
};

TEST_F(PskFileTest, IdentityAndKeyAreRead) {
  for (const char* end : {"", "\n"}) {
    ASSERT_TRUE(read(std::string("site 1:0123456789abcdef:x") + end).isSuccess());
    EXPECT_EQ(key_.identity, "site 1");
    EXPECT_EQ(key_.key, "0123456789abcdef:x");
    EXPECT_TRUE(key_.isSet());
  }
}

TEST_F(PskFileTest, FilesThatOthersCanReadAreRefused) {
  for (const mode_t mode : {0640U, 0604U, 0660U, 0644U}) {
    EXPECT_TRUE(read("site:0123456789abcdef\n", mode).isErr()) << mode;
    EXPECT_FALSE(key_.isSet());
  }
  EXPECT_TRUE(read("site:0123456789abcdef\n", 0400).isSuccess());
}

TEST_F(PskFileTest, OtherContentsAreRefusedWithoutRepeatingThem) {
  for (const std::string& content :
       {std::string(), std::string("\n"), std::string("SECRETSECRETSECRET"), std::string(":SECRETSECRETSECRET"),
        std::string("site:SECRET"), "site:" + std::string(65, 'S'), std::string(65, 'i') + ":SECRETSECRETSECRET",
        std::string("site:SECRETSECRETSECRET\n\n"), std::string("site:SECRETSECRETSECRET\nb:SECRETSECRETSECRET\n"),
        std::string("site:SECRETSECRET\0SECRET", 24)}) {
    const XCode result = read(content);
    EXPECT_TRUE(result.isErr()) << content;
    EXPECT_EQ(result.toString().view().find("SECRET"), std::string_view::npos);
    EXPECT_FALSE(key_.isSet());
  }
}

TEST_F(PskFileTest, AFileThatIsNotThereIsAnErrorOnlyWhereItWasNamed) {
  const String path = String((folder_ + "/none").c_str());
  EXPECT_TRUE(readPskFile(path, key_).isErr());
  EXPECT_TRUE(readPskFileIfAny(path, key_).isSuccess());
  EXPECT_FALSE(key_.isSet());
}

TEST_F(PskFileTest, ALinkToNowhereIsAnError) {
  std::filesystem::create_symlink("nowhere", folder_ + "/link");
  EXPECT_TRUE(readPskFileIfAny((folder_ + "/link").c_str(), key_).isErr());
}

}  // namespace
}  // namespace DeviceDiscovery
