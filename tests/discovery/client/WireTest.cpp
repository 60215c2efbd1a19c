// SPDX-License-Identifier: Apache-2.0
// Conversations between a server and a device, byte for byte. A file under tests/golden/wire holds one, line by line:
//   # comment          > message to the device          < message from the device
//   advance SECONDS    script ["command line", "its output", SECONDS]
// The device's lines are made anew by the test and the file compared; KX_UPDATE_GOLDEN writes it instead.
#include <filesystem>

#include "discovery/client/CClient.h"
#include "discovery/scheduling/Scheduler.h"
#include "platform/service/ServiceSession.h"
#include "tests/discovery/common/Golden.h"
#include "tests/discovery/nodescan/FakeDevice.h"

namespace KX::NMS::Discovery {
namespace {

class Transcript final : public ITransport {
 public:
  XCode send(const String& message) override {
    lines.push_back(std::string("< ") + message.c_str());
    return XCode();
  }
  std::vector<std::string> lines;
};

// A device with two LANs, and its agent's wires.
class Conversation {
 public:
  Conversation() {
    device_.addTwoLans();
    scheduler_->statusUpdated.connect(
        [this](Property::Value job) { static_cast<void>(client_->sendJobStatusEvent(job)); });
    EXPECT_TRUE(session_.open().isSuccess());
  }

  std::vector<std::string> replay(const std::string& path) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
      if (line.starts_with("< ")) continue;
      transcript_.lines.push_back(line);
      if (line.starts_with("> ")) session_.receive(line.substr(2));
      if (line.starts_with("advance ")) device_.loop.advance(std::chrono::seconds(std::stoi(line.substr(8))));
      if (line.starts_with("script ")) addScript(json(line.substr(7)));
    }
    return transcript_.lines;
  }

 private:
  void addScript(const Property::Value& script) {
    device_.shell.on(script[0].toString())
        .after(std::chrono::seconds(script[2].toIntOr(0)))
        .prints(script[1].toString());
  }

  FakeDevice device_;
  Transcript transcript_;
  KXPtr<Scheduler> scheduler_{new Scheduler(device_.loop, device_.repository)};
  KXPPtr<CClient> client_{new CClient("agent"_s, device_.repository, {},
                                      [this](Property::Value plan) { scheduler_->updateJobDescriptions(plan); })};
  ServiceSession session_{{client_->serviceFactory(), "discovery"_s}, transcript_};
};

class WireTest : public testing::TestWithParam<std::string> {};

TEST_P(WireTest, TheConversationIsTheRecordedOne) {
  const std::string name = "wire/" + GetParam() + ".txt";
  Conversation conversation;
  EXPECT_TRUE(equalsGolden(conversation.replay(std::string(TEST_SOURCE_DIR) + "/golden/" + name), name));
}

std::vector<std::string> recordings() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(TEST_SOURCE_DIR "/golden/wire")) {
    names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

INSTANTIATE_TEST_SUITE_P(Recorded, WireTest, testing::ValuesIn(recordings()),
                         [](const auto& recording) { return recording.param; });

}  // namespace
}  // namespace KX::NMS::Discovery
