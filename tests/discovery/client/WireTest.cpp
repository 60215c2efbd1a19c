// SPDX-License-Identifier: Apache-2.0
// Conversations between a server and a device, byte for byte. A file under tests/golden/wire holds one, line by line:
//   # comment          > message to the device          < message from the device
//   advance SECONDS    script ["command line", "its output", SECONDS]
// The device's lines are made anew by the test and the file compared; KX_UPDATE_GOLDEN writes it instead.
#include <filesystem>

#include "tests/SourceFolder.h"
#include "tests/discovery/client/Conversation.h"
#include "tests/discovery/common/Golden.h"

namespace KX::NMS::Discovery {
namespace {

std::vector<std::string> replay(const std::string& path) {
  Conversation conversation;
  std::vector<std::string> lines;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("< ")) continue;
    lines.push_back(line);
    if (line.starts_with("> ")) conversation.sendToDevice(line.substr(2));
    if (line.starts_with("advance ")) conversation.device.loop.advance(std::chrono::seconds(std::stoi(line.substr(8))));
    if (line.starts_with("script ")) conversation.addScript(json(line.substr(7)));
    for (const std::string& message : conversation.take()) lines.push_back("< " + message);
  }
  return lines;
}

class WireTest : public testing::TestWithParam<std::string> {};

TEST_P(WireTest, TheConversationIsTheRecordedOne) {
  const std::string name = "wire/" + GetParam() + ".txt";
  EXPECT_TRUE(equalsGolden(replay(std::string(Tests::SOURCE_FOLDER) + "/golden/" + name), name));
}

std::vector<std::string> recordings() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(std::string(Tests::SOURCE_FOLDER) + "/golden/wire")) {
    names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

INSTANTIATE_TEST_SUITE_P(Recorded, WireTest, testing::ValuesIn(recordings()),
                         [](const auto& recording) { return recording.param; });

}  // namespace
}  // namespace KX::NMS::Discovery
