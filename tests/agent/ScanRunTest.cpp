// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "agent/ScanRun.h"
#include "discovery/scans/InputFiles.h"
#include "platform/testing/FakeShell.h"
#include "platform/testing/VirtualEventLoop.h"

namespace {

using KX::NMS::Discovery::NodeStatus;
using KX::NMS::Discovery::Repository;
using KX::Testing::FakeShell;
using KX::Testing::VirtualEventLoop;
using std::chrono::milliseconds;

// Finds what the test tells it to.
class FakeSearch final : public Search {
 public:
  void start() override { hasStarted = true; }
  void cancel() override { isCancelled = true; }
  void poll() override {}
  bool isBusy() const override { return busy; }
  bool hasEnded() const override { return ended; }
  ScanStage stage() const override { return {busy ? 1U : 0U, 1, "ARP on lan0"_s, 2}; }
  bool judge(ScanFailures& failures) const override {
    if (!succeeds) failures.add("ARP sweep"_s, "lan0"_s, "no"_s);
    return succeeds;
  }
  void end() {
    busy = false;
    ended = true;
  }

  bool hasStarted = false;
  bool isCancelled = false;
  bool busy = true;
  bool ended = false;
  bool succeeds = true;
};

class ScanRunTest : public testing::Test {
 protected:
  ScanRunTest() {
    auto search = std::make_unique<FakeSearch>();
    search_ = search.get();
    run_ = std::make_unique<ScanRun>(loop_, repository_, options_, "scan-run-test"_s, std::move(search));
    shell_.onPrefix("/usr/bin/servicescan").hangs();
    run_->start([this] { ++ends_; });
  }
  ~ScanRunTest() override {
    run_.reset();
    loop_.ownService<KX::NMS::Discovery::InputFiles>().clear();
  }
  void find(const char* address, const char* mac) {
    static_cast<void>(
        repository_.addDiscoveredNode(mac, address, "lan0", "", false, Repository::UpdateExisting, nullptr, nullptr));
  }
  void pass(int time) { loop_.advance(milliseconds(time)); }
  void answer(const char* nodes) {
    ASSERT_FALSE(shell_.running().empty());
    EXPECT_TRUE(shell_.end(shell_.running().front(), XCode(), String::format(R"({"nodes":[%s]})", nodes)));
    pass(40);
  }
  void answerPing(const char* address) {
    answer(String::format(R"({"ipAddress":"%s","services":[{"service":"ping","port":0,"successful":true}]})", address)
               .c_str());
  }
  void fail() {
    ASSERT_FALSE(shell_.running().empty());
    EXPECT_TRUE(shell_.end(shell_.running().front(), XCode::error("Exit status 1 (out of luck)"_s)));
    pass(40);
  }

  VirtualEventLoop loop_;
  FakeShell shell_{loop_};
  Repository repository_;
  Options options_;
  FakeSearch* search_;
  std::unique_ptr<ScanRun> run_;
  int ends_ = 0;
};

TEST_F(ScanRunTest, WithoutNodesItEndsWithTheSearch) {
  pass(1000);
  EXPECT_EQ(ends_, 0);
  search_->end();
  pass(1000);
  EXPECT_EQ(ends_, 1);
  EXPECT_TRUE(shell_.invoked().empty());
  EXPECT_EQ(run_->outcome().failure, "");
}

TEST_F(ScanRunTest, NodesAreAskedOnceNoMoreComeForAMoment) {
  for (int host = 1; host < 6; ++host) {
    find(String::format("10.0.0.%d", host).c_str(), String::format("%d", host).c_str());
    pass(200);
    EXPECT_TRUE(shell_.running().empty());
  }
  pass(100);
  EXPECT_EQ(shell_.running().size(), 1U);
}

TEST_F(ScanRunTest, ALateNodeIsAskedBesideTheOthers) {
  find("10.0.0.1", "A");
  pass(300);
  find("10.0.0.2", "B");
  pass(300);
  EXPECT_EQ(shell_.running().size(), 2U);
}

TEST_F(ScanRunTest, TheEndOfTheSearchWaitsForNoMoment) {
  find("10.0.0.1", "A");
  search_->end();
  pass(40);
  EXPECT_EQ(shell_.running().size(), 1U);
}

TEST_F(ScanRunTest, TheStatusComesLast) {
  find("10.0.0.1", "A");
  pass(300);
  answerPing("10.0.0.1");
  EXPECT_TRUE(shell_.running().empty());  // there may be more
  EXPECT_EQ(run_->stage().text, "ARP on lan0");
  search_->end();
  pass(40);
  ASSERT_EQ(shell_.running().size(), 1U);
  EXPECT_EQ(run_->stage().number, 3U);
  EXPECT_EQ(run_->stage().total, 3U);
  EXPECT_EQ(run_->stage().text, "status of 1 node");
  answerPing("10.0.0.1");
  EXPECT_EQ(ends_, 1);
  EXPECT_EQ(repository_.getNodes()[0]->status(), NodeStatus::UP);
  EXPECT_EQ(run_->outcome().warning, "");
}

TEST_F(ScanRunTest, WhatANodeHasRefusedIsKnown) {
  find("10.0.0.1", "A");
  search_->end();
  pass(40);
  answer(
      R"({"ipAddress":"10.0.0.1","services":[{"service":"http","successful":false,"reason":"Connection refused"}]})");
  EXPECT_EQ(ends_, 1);
  EXPECT_EQ(run_->answers().of("10.0.0.1"), ServiceAnswers::Answer::REFUSED);
}

TEST_F(ScanRunTest, AFailedServiceScanIsOneWarningAndNotTriedAgain) {
  find("10.0.0.1", "A");
  pass(300);
  fail();
  find("10.0.0.2", "B");
  pass(1000);
  search_->end();
  pass(40);
  EXPECT_EQ(ends_, 1);
  EXPECT_EQ(shell_.invoked().size(), 1U);
  EXPECT_EQ(run_->outcome().warning, "some scans failed: service scan (servicescan): Exit status 1 (out of luck)");
}

TEST_F(ScanRunTest, AFailedStatusScanIsAWarning) {
  find("10.0.0.1", "A");
  search_->end();
  pass(40);
  answerPing("10.0.0.1");
  fail();
  EXPECT_EQ(ends_, 1);
  EXPECT_EQ(run_->outcome().warning, "some scans failed: status scan (servicescan): Exit status 1 (out of luck)");
}

TEST_F(ScanRunTest, ASearchThatFailsIsAFailure) {
  search_->succeeds = false;
  search_->end();
  pass(40);
  EXPECT_EQ(run_->outcome().failure, "no scan succeeded: ARP sweep on lan0: no");
}

TEST_F(ScanRunTest, CancelledItLeavesNothingRunning) {
  find("10.0.0.1", "A");
  pass(300);
  run_->cancel();
  pass(1000);
  EXPECT_TRUE(search_->isCancelled);
  EXPECT_TRUE(shell_.running().empty());
  EXPECT_EQ(ends_, 0);
}

}  // namespace
