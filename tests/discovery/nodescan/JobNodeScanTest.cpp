// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/discovery/common/Golden.h"
#include "tests/discovery/common/Rows.h"
#include "tests/discovery/nodescan/FakeDevice.h"

namespace KX::NMS::Discovery {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;

class JobNodeScanTest : public testing::Test {
 protected:
  void prepareJob(const char* description = R"({"id":"n","scanType":"node"})") {
    job_ = device_.makeJob(description);
    job_->statusUpdated.connect([this](Property::Value value) { published_.push_back(value); });
    job_->prepare(needed_);
  }
  void answerAll(const char* arpOutput, const char* discoveryOutput) {
    for (const char* device : {"eth1", "eth2"}) {
      device_.shell.on(FakeDevice::arpScanOf(device)).after(24s).prints(arpOutput);
      device_.shell.on(FakeDevice::discoveryScanOf(device)).after(2s).prints(discoveryOutput);
    }
  }
  std::vector<std::string> nodes() const {
    std::vector<std::string> found;
    for (const auto& node : device_.repository.getNodes()) {
      found.push_back(node->toPropertyValue(Node::WithServices).toJson().c_str());
    }
    return found;
  }
  std::vector<std::string> publishedStates() const {
    std::vector<std::string> states;
    for (const auto& value : published_) states.push_back(std::as_const(value)["status"].toString().c_str());
    return states;
  }

  FakeDevice device_;
  std::vector<Property::Value> published_;
  bool needed_ = false;
  KXPtr<JobNodeScan> job_;  // goes first, since it publishes its cancellation
};

TEST_F(JobNodeScanTest, TheConstructorLogsTheDescription) {
  device_.log.setVerbosity(2);
  prepareJob(R"({"id":"n","scanType":"node","interfaces":[{"regex":"a"}]})");
  const auto lines = device_.log.takeLines();
  ASSERT_GE(lines.size(), 4U);
  EXPECT_EQ(lines[0], "[Job n.0] Created");
  const std::string yaml = json(R"({"id":"n","scanType":"node","interfaces":[{"regex":"a"}]})").toYaml(2, 2).c_str();
  EXPECT_EQ(lines[1], "[Job n.0]   " + yaml);
  EXPECT_EQ(lines[2], "[Job n.0] Preparing...");
  EXPECT_EQ(lines[3], "[Job n.0]   " + yaml);
}

// Starts nothing, and keeps the arguments that programs would have got.
class ArgumentRecorder final : public Shell::Runner {
 public:
  [[nodiscard]] XCode invoke(const Shell::Command& command, Shell::Terminated, Shell::Output, Shell::Output,
                             Future<String>&) override {
    XCode result = command.check();
    if (result.isErr()) return result;
    auto& arguments = commands.emplace_back();
    for (const String& argument : command.arguments()) arguments.emplace_back(argument.view());
    return XCode::error("Not started");
  }
  [[nodiscard]] XCode execute(const Shell::Command&) override { return XCode(); }

  std::vector<std::vector<std::string>> commands;
};

TEST_F(JobNodeScanTest, ADeviceNameStaysOneArgumentWhateverItHolds) {
  ArgumentRecorder recorder;
  device_.loop.provide<Shell::Runner>(&recorder);
  device_.addInterface("LAN1", "eth1 --file=/etc/passwd", "10.1.0.0/16");
  prepareJob();
  ASSERT_TRUE(needed_);
  device_.log.clear();
  job_->invoke();
  EXPECT_THAT(recorder.commands, ElementsAre(ElementsAre("arp-scan", "--interface=eth1 --file=/etc/passwd",
                                                         "--localnet", "--quiet", "--timeout=5000", "--retry=3"),
                                             ElementsAre("discovery-client", "-j", "-i", "eth1 --file=/etc/passwd")));
  // The log and the status show the line as ever.
  const std::string line = "arp-scan --interface=eth1 --file=/etc/passwd --localnet --quiet --timeout=5000 --retry=3";
  EXPECT_THAT(device_.log.takeLines(), Contains("[ARP scan n.0.LAN1]   " + line));
  EXPECT_EQ(job_->toPropertyValue()["scans"][0]["cmd"].toString(), line.c_str());
}

TEST_F(JobNodeScanTest, ADeviceNameWithANulIsRefusedAndNotCut) {
  ArgumentRecorder recorder;
  device_.loop.provide<Shell::Runner>(&recorder);
  device_.addInterface("LAN1", "eth1' || char(0) || 'x", "10.1.0.0/16");
  prepareJob();
  job_->invoke();
  EXPECT_TRUE(recorder.commands.empty());
  const Property::Value scans = job_->toPropertyValue()["scans"];
  ASSERT_EQ(scans.size(), 2U);
  EXPECT_EQ(scans[0]["reason"].toString(), "Argument contains a NUL byte");
  EXPECT_EQ(scans[1]["reason"].toString(), "Argument contains a NUL byte");
}

TEST_F(JobNodeScanTest, AllInterfacesAreScannedOneAfterAnother) {
  device_.addTwoLans();
  answerAll("10.1.0.5\t02:00:5e:00:00:05\n", R"({"nodes":[]})");
  prepareJob();
  ASSERT_TRUE(needed_);
  job_->invoke();
  device_.loop.advance(23s);
  EXPECT_THAT(device_.shell.running(), ElementsAre(FakeDevice::arpScanOf("eth1")));
  device_.loop.advance(2s);
  EXPECT_THAT(device_.shell.running(), ElementsAre(FakeDevice::discoveryScanOf("eth1")));
  device_.loop.advance(60s);
  EXPECT_THAT(device_.shell.invoked(), ElementsAre(FakeDevice::arpScanOf("eth1"), FakeDevice::discoveryScanOf("eth1"),
                                                   FakeDevice::arpScanOf("eth2"), FakeDevice::discoveryScanOf("eth2")));
  EXPECT_EQ(job_->status().state(), State::SUCCESSFUL);
  EXPECT_THAT(publishedStates(), ElementsAre("running", "successful"));
}

TEST_F(JobNodeScanTest, TheWholeRunIsLoggedInOrder) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  answerAll("10.1.0.5\t02:00:5e:00:00:05\n10.1.0.6\t02:00:5e:00:00:06\n",
            R"({"nodes":[{"physicalAddress":"02:00:5E:00:00:06","ipAddress":"10.1.0.6","model":"X","build":"1.2",)"
            R"("supportsOnboarding":true}]})");
  device_.log.setVerbosity(3);
  prepareJob();
  job_->invoke();
  device_.loop.advance(60s);
  job_ = nullptr;
  EXPECT_TRUE(equalsGolden(device_.log.takeKindsAndLines(), "logs/node-scan.txt"));
}

TEST_F(JobNodeScanTest, TheInterfacesMessageCountsScans) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  prepareJob();
  job_->invoke();
  EXPECT_TRUE(device_.log.capture().has("[Job n.0]   2 interfaces found to scan for nodes"));
}

TEST_F(JobNodeScanTest, InvokedWithoutAnInterfaceItFails) {
  prepareJob();
  EXPECT_FALSE(needed_);
  device_.log.clear();
  job_->invoke();
  EXPECT_THAT(device_.log.takeKindsAndLines(),
              ElementsAre("1 [Job n.0] Invoking...", "1 [Job n.0]   0 interfaces found to scan for nodes",
                          "5 [Job n.0] Job failed: Cannot invoke next scan"));
  EXPECT_EQ(job_->status().state(), State::FAILED);
  EXPECT_EQ(job_->status().text(), "Cannot invoke next scan");
}

TEST_F(JobNodeScanTest, AScanThatFailsDoesNotStopTheJob) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  device_.shell.on(FakeDevice::arpScanOf("eth1")).exits(1);
  device_.shell.on(FakeDevice::discoveryScanOf("eth1"))
      .prints(R"({"nodes":[{"physicalAddress":"02:00:5E:00:00:07","ipAddress":"10.1.0.7"}]})");
  prepareJob();
  job_->invoke();
  device_.loop.advance(1s);
  EXPECT_EQ(job_->status().state(), State::SUCCESSFUL);
  ASSERT_EQ(device_.repository.getNodes().size(), 1U);
  EXPECT_EQ(device_.repository.getNodes()[0]->ipAddress(), "10.1.0.7");
}

TEST_F(JobNodeScanTest, WithoutTheDiscoveryToolTheArpNodesRemain) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  device_.shell.on(FakeDevice::arpScanOf("eth1")).prints("10.1.0.5\t02:00:5e:00:00:05\n");
  prepareJob();
  job_->invoke();
  device_.loop.advance(1s);
  EXPECT_EQ(job_->status().state(), State::SUCCESSFUL);
  EXPECT_EQ(device_.repository.getNodes().size(), 1U);
  const Property::Value value = job_->toPropertyValue();
  EXPECT_EQ(value["scans"][1]["status"].toString(), "failed");
  EXPECT_EQ(value["scans"][1]["reason"].toString(), "No such file or directory");
}

TEST_F(JobNodeScanTest, WhenEveryScanFailsTheJobIsStillSuccessful) {
  device_.addTwoLans();
  prepareJob();
  job_->invoke();
  device_.loop.settle();
  EXPECT_EQ(job_->status().state(), State::SUCCESSFUL);
  EXPECT_EQ(job_->status().result().toJson(), R"({"nodes":[]})");
}

TEST_F(JobNodeScanTest, ModelAndBuildMakeTheModelText) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  answerAll("", R"({"nodes":[{"physicalAddress":"A","ipAddress":"10.1.0.1","model":"X","build":"1.2"},)"
                R"({"physicalAddress":"B","ipAddress":"10.1.0.2","model":"X"},)"
                R"({"physicalAddress":"C","ipAddress":"10.1.0.3","build":"1.2"}]})");
  prepareJob();
  job_->invoke();
  device_.loop.advance(60s);
  const auto& nodes = device_.repository.getNodes();
  ASSERT_EQ(nodes.size(), 3U);
  EXPECT_EQ(nodes[0]->model(), "Varnel X 1.2");
  EXPECT_EQ(nodes[1]->model(), "Varnel X");
  EXPECT_EQ(nodes[2]->model(), "");
}

TEST_F(JobNodeScanTest, ResultsAreJoinedInOrderWithoutMergingAndCarryTheInterface) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  answerAll(
      "10.1.0.5\t02:00:5e:00:00:05\n",
      R"({"nodes":[{"physicalAddress":"02:00:5E:00:00:05","ipAddress":"10.1.0.5","model":"X","interface":"?"}]})");
  prepareJob();
  job_->invoke();
  device_.loop.advance(60s);
  EXPECT_EQ(job_->status().result().toJson(),
            R"({"nodes":[{"physicalAddress":"02:00:5E:00:00:05","ipAddress":"10.1.0.5","interface":"LAN1"},)"
            R"({"physicalAddress":"02:00:5E:00:00:05","ipAddress":"10.1.0.5","model":"X","interface":"LAN1"}]})");
  ASSERT_EQ(nodes().size(), 1U);
  EXPECT_EQ(device_.repository.getNodes()[0]->model(), "Varnel X");
}

TEST_F(JobNodeScanTest, NodesWithoutStringsAreEnteredWithEmptyOnes) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  answerAll("", R"({"nodes":[{},7,{"ipAddress":5}]})");
  prepareJob();
  job_->invoke();
  device_.loop.advance(60s);
  // All three lack a physical address and so are one node, which ends at the last one's address.
  ASSERT_EQ(device_.repository.getNodes().size(), 1U);
  EXPECT_EQ(device_.repository.getNodes()[0]->ipAddress(), "5");
  EXPECT_EQ(device_.repository.getNodes()[0]->interface(), "LAN1");
}

TEST_F(JobNodeScanTest, NewAndChangedNodesAreLoggedAboveVerbosityOne) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  static_cast<void>(device_.repository.addDiscoveredNode("02:00:5E:00:00:05", "10.1.0.9", "LAN1", "", false,
                                                         Repository::UpdateExisting, nullptr, nullptr));
  answerAll("10.1.0.5\t02:00:5e:00:00:05\n10.1.0.6\t02:00:5e:00:00:06\n", R"({"nodes":[]})");
  device_.log.setVerbosity(2);
  prepareJob();
  job_->invoke();
  device_.loop.advance(60s);
  const auto& log = device_.log.capture();
  EXPECT_TRUE(log.has(RTD::TRACE_2, "[Job n.0]   Changed node: 10.1.0.5 at 02:00:5E:00:00:05 on interface LAN1 ()"));
  EXPECT_TRUE(log.has(RTD::TRACE_2, "[Job n.0]   New node: 10.1.0.6 at 02:00:5E:00:00:06 on interface LAN1 ()"));
}

TEST_F(JobNodeScanTest, NodesAboveTheLimitAreLeftOutWithOneLine) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  for (unsigned i = 1; i < device_.repository.nodeLimit(); ++i) {
    static_cast<void>(device_.repository.addManualNode(String::format("%u", i), nullptr));
  }
  answerAll("10.1.0.5\t02:00:5e:00:00:05\n10.1.0.6\t02:00:5e:00:00:06\n10.1.0.7\t02:00:5e:00:00:07\n",
            R"({"nodes":[]})");
  prepareJob();
  job_->invoke();
  device_.log.clear();
  device_.loop.advance(60s);
  EXPECT_EQ(job_->status().state(), State::SUCCESSFUL);
  EXPECT_EQ(device_.repository.getNodes().size(), device_.repository.nodeLimit());
  EXPECT_NE(device_.repository.getNodeByIpAddress("10.1.0.5"), nullptr);
  EXPECT_TRUE(device_.log.capture().has(RTD::REFUSAL, "[Job n.0] Node limit of 100000 reached"));
  EXPECT_EQ(device_.log.capture().count("Node limit of 100000 reached"), 1U);
}

TEST_F(JobNodeScanTest, CancelledInTheMiddleTheRestNeverStarts) {
  device_.addTwoLans();
  answerAll("", R"({"nodes":[]})");
  prepareJob();
  job_->invoke();
  device_.loop.advance(25s);
  ASSERT_EQ(device_.shell.invoked().size(), 2U);
  device_.log.clear();
  published_.clear();
  job_->cancel();
  EXPECT_THAT(device_.log.takeKindsAndLines(),
              ElementsAre("1 [Job n.0] Cancelling...", "1 [Job n.0] Cancel running scan",
                          "1 [Discovery scan n.0.LAN1] Cancelling...", "1 [Discovery scan n.0.LAN1] Cancelled",
                          "1 [Job n.0] Scan 2 update", "5 [Job n.0] Job failed: Cannot invoke next scan",
                          "1 [Job n.0] Cancelled"));
  device_.loop.advance(600s);
  EXPECT_EQ(device_.shell.invoked().size(), 2U);
  EXPECT_EQ(job_->status().state(), State::CANCELLED);
  EXPECT_THAT(publishedStates(), ElementsAre("cancelled"));
}

TEST_F(JobNodeScanTest, ALateTerminationIsOnlyLogged) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  answerAll("", R"({"nodes":[]})");
  prepareJob();
  job_->invoke();
  job_->cancel();
  device_.log.clear();
  published_.clear();
  device_.loop.advance(1s);
  EXPECT_THAT(device_.log.takeKindsAndLines(),
              ElementsAre("5 [ARP scan n.0.LAN1] Network scan failed: Killed by signal 9"));
  EXPECT_TRUE(published_.empty());
}

TEST_F(JobNodeScanTest, OnlyARunningJobIsCancelled) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  prepareJob();
  device_.log.clear();
  job_->cancel();
  EXPECT_TRUE(device_.log.takeLines().empty());
  EXPECT_EQ(job_->status().state(), State::IDLE);
}

TEST_F(JobNodeScanTest, PreparingAndInvokingAreRefusedOutsideTheInitialState) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  answerAll("", R"({"nodes":[]})");
  prepareJob();
  job_->invoke();
  device_.log.clear();
  bool needed = true;
  job_->prepare(needed);
  EXPECT_FALSE(needed);
  job_->invoke();
  EXPECT_THAT(device_.log.takeKindsAndLines(),
              ElementsAre("1 [Job n.0] Preparing...", "4 [Job n.0] Cannot prepare in state running",
                          "1 [Job n.0] Invoking...", "4 [Job n.0] Cannot re-invoke in state running"));
  EXPECT_EQ(device_.shell.invoked().size(), 1U);
}

TEST_F(JobNodeScanTest, DestroyedWhileRunningItKillsItsCommand) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  answerAll("", R"({"nodes":[]})");
  prepareJob();
  job_->invoke();
  job_ = nullptr;
  device_.loop.advance(1s);
  EXPECT_TRUE(device_.shell.running().empty());
}

TEST_F(JobNodeScanTest, CancelledInsideItsFirstStatusUpdateNoScanStarts) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  prepareJob();
  job_->statusUpdated.connect([this](Property::Value) { job_->cancel(); });
  job_->invoke();
  EXPECT_TRUE(device_.shell.invoked().empty());
  EXPECT_EQ(job_->status().state(), State::CANCELLED);
}

TEST_F(JobNodeScanTest, ItMayBeReleasedInsideAnyOfItsStatusUpdates) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  answerAll("", R"({"nodes":[]})");
  for (const char* last : {"running", "successful", "cancelled"}) {
    prepareJob();
    job_->statusUpdated.connect([this, last](Property::Value value) {
      if (std::as_const(value)["status"].toString() == last) job_ = nullptr;
    });
    job_->invoke();
    if (job_ != nullptr && std::string(last) == "cancelled") job_->cancel();
    device_.loop.advance(60s);
    EXPECT_EQ(job_, nullptr) << last;
    EXPECT_TRUE(device_.shell.running().empty()) << last;
  }
}

TEST_F(JobNodeScanTest, ManyScansThatCannotStartDoNotGrowTheStack) {
  for (int i = 0; i < 20000; ++i) device_.addInterface("LAN", "eth", "10.1.0.0/16");
  device_.log.setVerbosity(0);
  prepareJob();
  job_->invoke();
  device_.loop.settle();
  EXPECT_EQ(job_->status().state(), State::SUCCESSFUL);
  EXPECT_EQ(device_.shell.invoked().size(), 40000U);
}

TEST_F(JobNodeScanTest, ItsValueHoldsTheScans) {
  prepareJob(R"({"id":"n","scanType":"node","status":"?"})");
  EXPECT_EQ(job_->toPropertyValue().toJson(), R"({"id":"n","scanType":"node","status":"idle","scans":[]})");
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  prepareJob();
  EXPECT_EQ(job_->toPropertyValue().toJson(),
            R"({"id":"n","scanType":"node","status":"idle","scans":[{"id":"n.0.LAN1","type":"ARP","name":"LAN1",)"
            R"("cmd":"arp-scan --interface=eth1 --localnet --quiet --timeout=5000 --retry=3","status":"idle"},)"
            R"({"id":"n.0.LAN1","type":"Discovery","name":"LAN1","cmd":"discovery-client -j -i eth1",)"
            R"("status":"idle"}]})");
}

TEST_F(JobNodeScanTest, DiagnosticsShowTheScansAndMarkTheActiveOne) {
  prepareJob();
  EXPECT_THAT(rowsOf(*job_), ElementsAre("0,0 Job Instance: n.0", "1,0 Status: idle", "1,0 Scans: none"));
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  answerAll("", R"({"nodes":[]})");
  prepareJob();
  job_->invoke();
  device_.loop.advance(25s);
  EXPECT_THAT(rowsOf(*job_, {}, "Running "),
              ElementsAre("0,0 Running Job Instance: n.0", "1,0 Status: running", "1,1 ARP scan: n.0.LAN1",
                          "2,1 Command: arp-scan --interface=eth1 --localnet --quiet --timeout=5000 --retry=3",
                          "2,1 Status: successful", "1,1 Active Discovery scan: n.0.LAN1",
                          "2,1 Command: discovery-client -j -i eth1", "2,1 Status: running"));
  EXPECT_THAT(rowsOf(*job_, {.maxLevel = 0}), ElementsAre("0,0 Job Instance: n.0"));
  EXPECT_THAT(rowsOf(*job_, {.maxColumn = 0}), ElementsAre("0,0 Job Instance: n.0", "1,0 Status: running"));
}

}  // namespace
}  // namespace KX::NMS::Discovery
