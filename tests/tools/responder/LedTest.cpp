// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/testing/VirtualEventLoop.h"
#include "tools/responder/Led.h"

namespace DeviceDiscovery::Responder {
namespace {

using std::chrono::milliseconds;

// Files in the place of the kernel's, which keep what was last written to them in their first line.
class LedTest : public testing::Test {
 protected:
  LedTest() {
    folder_ = (std::filesystem::temp_directory_path() / "led-XXXXXX").string();
    EXPECT_NE(mkdtemp(folder_.data()), nullptr);
    write("trigger", "none timer [heartbeat]");
    write("brightness", "1");
  }
  ~LedTest() override { std::filesystem::remove_all(folder_); }

  void write(const char* name, const char* text) const { std::ofstream(folder_ + "/" + name) << text << "\n"; }
  std::string read(const char* name) const {
    std::string line;
    std::getline(std::ifstream(folder_ + "/" + name), line);
    return line;
  }

  std::string folder_;
  KX::Testing::VirtualEventLoop loop_;
  Led led_{loop_, 2};
};

TEST_F(LedTest, ItBlinksForItsTimeAndThenShowsWhatItShowedBefore) {
  ASSERT_TRUE(led_.open(folder_.c_str()).isSuccess());
  ASSERT_TRUE(led_.blink().isSuccess());
  EXPECT_EQ(read("trigger"), "none");
  int changes = 0;
  std::string last = read("brightness");
  EXPECT_EQ(last, "255");
  for (int i = 0; i < 7; ++i) {
    loop_.advance(milliseconds(250));
    changes += read("brightness") != last ? 1 : 0;
    last = read("brightness");
  }
  EXPECT_EQ(changes, 7);
  loop_.advance(milliseconds(250));
  EXPECT_EQ(read("trigger"), "heartbeat");
  EXPECT_EQ(read("brightness"), "1");
}

TEST_F(LedTest, OneThatBlinksAlreadyGoesOnForAsLongAgain) {
  ASSERT_TRUE(led_.open(folder_.c_str()).isSuccess());
  ASSERT_TRUE(led_.blink().isSuccess());
  loop_.advance(milliseconds(1500));
  ASSERT_TRUE(led_.blink().isSuccess());
  loop_.advance(milliseconds(1500));
  EXPECT_EQ(read("trigger"), "none");
  loop_.advance(milliseconds(500));
  EXPECT_EQ(read("trigger"), "heartbeat");
}

TEST_F(LedTest, OneThatIsNotThereIsAnError) {
  const XCode result = led_.open((folder_ + "/none").c_str());
  EXPECT_TRUE(result.isErr());
  EXPECT_NE(result.toString().view().find("none/trigger"), std::string_view::npos);
}

}  // namespace
}  // namespace DeviceDiscovery::Responder
