// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "tools/responder/KeyStore.h"

namespace DeviceDiscovery::Responder {
namespace {

class KeyStoreTest : public testing::Test {
 protected:
  KeyStoreTest() {
    folder_ = (std::filesystem::temp_directory_path() / "key-store-XXXXXX").string();
    EXPECT_NE(mkdtemp(folder_.data()), nullptr);
  }
  ~KeyStoreTest() override { std::filesystem::remove_all(folder_); }

  std::string stored() const {
    std::ostringstream text;
    text << std::ifstream(folder_ + "/organisation-key").rdbuf();
    return text.str();
  }
  ino_t fileNumber() const {
    struct stat status {};
    EXPECT_EQ(stat((folder_ + "/organisation-key").c_str(), &status), 0);
    return status.st_ino;
  }
  XCode store(const char* key, const char* server) {
    Organisation organisation;
    organisation.key = key;
    organisation.server = server;
    return KeyStore(folder_.c_str()).store(organisation);
  }

  std::string folder_;
};

TEST_F(KeyStoreTest, TheLastKeyIsStoredAndNobodyElseCanReadIt) {
  const mode_t before = umask(0);
  ASSERT_TRUE(store("K", "s").isSuccess());
  ASSERT_TRUE(store("L", "").isSuccess());
  umask(before);
  EXPECT_EQ(stored(), "L\n\n");
  struct stat status {};
  ASSERT_EQ(stat((folder_ + "/organisation-key").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
  EXPECT_FALSE(std::filesystem::exists(folder_ + "/organisation-key.new"));
}

TEST_F(KeyStoreTest, WhatIsStoredAlreadyIsNotWrittenAgain) {
  ASSERT_TRUE(store("K", "s").isSuccess());
  const ino_t before = fileNumber();
  ASSERT_TRUE(store("K", "s").isSuccess());
  EXPECT_EQ(fileNumber(), before);
  ASSERT_TRUE(store("K", "").isSuccess());
  EXPECT_EQ(stored(), "K\n\n");
}

TEST_F(KeyStoreTest, AStoredKeyThatOthersCanReadIsWrittenAgain) {
  ASSERT_TRUE(store("K", "s").isSuccess());
  ASSERT_EQ(chmod((folder_ + "/organisation-key").c_str(), 0644), 0);
  ASSERT_TRUE(store("K", "s").isSuccess());
  struct stat status {};
  ASSERT_EQ(stat((folder_ + "/organisation-key").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(KeyStoreTest, WhatAKilledRunLeftBehindIsReplaced) {
  std::ofstream(folder_ + "/organisation-key.new") << "half";
  ASSERT_TRUE(store("K", "s").isSuccess());
  EXPECT_EQ(stored(), "K\ns\n");
}

TEST_F(KeyStoreTest, ALinkIsNotFollowed) {
  std::ofstream(folder_ + "/victim") << "victim";
  std::filesystem::create_symlink(folder_ + "/victim", folder_ + "/organisation-key.new");
  std::filesystem::create_symlink(folder_ + "/victim", folder_ + "/organisation-key");
  ASSERT_TRUE(store("K", "s").isSuccess());
  EXPECT_EQ(stored(), "K\ns\n");
  EXPECT_EQ(std::filesystem::file_size(folder_ + "/victim"), 6U);
}

TEST_F(KeyStoreTest, TroubleIsAnErrorWithoutTheKey) {
  std::filesystem::create_directory(folder_ + "/organisation-key");
  const XCode result = store("SECRET", "s");
  EXPECT_TRUE(result.isErr());
  EXPECT_EQ(result.toString().view().find("SECRET"), std::string_view::npos);
  EXPECT_FALSE(std::filesystem::exists(folder_ + "/organisation-key.new"));
}

}  // namespace
}  // namespace DeviceDiscovery::Responder
