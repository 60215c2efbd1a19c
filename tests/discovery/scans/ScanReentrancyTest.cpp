// SPDX-License-Identifier: Apache-2.0
// What slots may do to a scan from inside its own calls.
#include "tests/discovery/scans/ScanFixture.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ScanReentrancyTest : public ScanFixture {
 protected:
  // Runs the action when the scan publishes the given state.
  void inSlotOf(State state, std::function<void()> action) {
    scan_->statusUpdated.connect(Function<void()>([this, state, action = std::move(action)] {
      if (scan_ && scan_->status().state() == state) action();
    }));
  }
};

TEST_F(ScanReentrancyTest, ScanCancelledAsItStartsStartsNoCommand) {
  shell_.on(COMMAND).hangs();
  scan_ = makeScan();
  inSlotOf(State::RUNNING, [this] { scan_->cancel(); });
  connect();
  scan_->invoke();
  EXPECT_EQ(scan_->status().state(), State::CANCELLED);
  EXPECT_THAT(shell_.invoked(), IsEmpty());
  // The slot that comes second hears of both changes when the cancelled state is there already.
  EXPECT_THAT(states_, ElementsAre("cancelled", "cancelled"));
}

TEST_F(ScanReentrancyTest, ScanReleasedAsItStartsStaysUntilItsStartIsDone) {
  shell_.on(COMMAND).hangs();
  scan_ = makeScan();
  inSlotOf(State::RUNNING, [this] { scan_.reset(); });
  {
    const KXPtr<Scan> held = scan_;
    held->invoke();
    EXPECT_EQ(held->status().state(), State::RUNNING);
  }
  loop_.settle();
  EXPECT_THAT(shell_.running(), IsEmpty());
}

TEST_F(ScanReentrancyTest, SlotMayDropTheLastReferenceToAScanThatStarts) {
  shell_.on(COMMAND).hangs();
  scan_ = makeScan();
  inSlotOf(State::RUNNING, [this] { scan_.reset(); });
  scan_->invoke();
  EXPECT_EQ(scan_, nullptr);
  // It was there until its start was done, and killed its command as it went.
  EXPECT_EQ(shell_.invoked().size(), 1U);
  loop_.settle();
  EXPECT_THAT(shell_.running(), IsEmpty());
}

TEST_F(ScanReentrancyTest, SlotMayDropTheLastReferenceToAScanThatIsCancelled) {
  shell_.on(COMMAND).hangs();
  startScan();
  inSlotOf(State::CANCELLED, [this] { scan_.reset(); });
  scan_->cancel();
  EXPECT_EQ(scan_, nullptr);
  EXPECT_EQ(log_.takeLines().back(), "[ARP scan nightly.3.LAN] Destroyed");
}

TEST_F(ScanReentrancyTest, ScanMayBeReleasedAtItsEnd) {
  for (const char* output : {"ok", ""}) {
    shell_.on(COMMAND).prints(output).exits(*output == '\0' ? 1 : 0);
    scan_ = makeScan();
    inSlotOf(*output == '\0' ? State::FAILED : State::SUCCESSFUL, [this] { scan_.reset(); });
    scan_->invoke();
    log_.clear();
    loop_.settle();
    EXPECT_EQ(scan_, nullptr);
    EXPECT_EQ(log_.takeLines().back(), "[ARP scan nightly.3.LAN] Destroyed");
  }
}

TEST_F(ScanReentrancyTest, CancelInTheSlotOfTheEndDoesNothing) {
  shell_.on(COMMAND);
  startScan();
  inSlotOf(State::SUCCESSFUL, [this] { scan_->cancel(); });
  loop_.settle();
  EXPECT_EQ(scan_->status().state(), State::SUCCESSFUL);
  EXPECT_THAT(log_.takeLines(), ElementsAre("[ARP scan nightly.3.LAN] Scan succeeded",
                                            "[ARP scan nightly.3.LAN] State changed to successful"));
}

TEST_F(ScanReentrancyTest, InvokeInASlotIsRefused) {
  shell_.on(COMMAND).hangs();
  scan_ = makeScan();
  inSlotOf(State::RUNNING, [this] { scan_->invoke(); });
  scan_->invoke();
  EXPECT_EQ(shell_.invoked().size(), 1U);
  EXPECT_TRUE(log_.capture().has(RTD::REFUSAL, "[ARP scan nightly.3.LAN] Cannot start network scan in state running"));
}

TEST_F(ScanReentrancyTest, NextScanStartsInTheSlotOfThePreviousOne) {
  shell_.on(COMMAND);
  startScan();
  const KXPtr<Scan> next(new Scan(loop_, "nightly.3", "Discovery", "LAN", COMMAND, parser_));
  inSlotOf(State::SUCCESSFUL, [&] { next->invoke(); });
  loop_.settle();
  EXPECT_EQ(next->status().state(), State::SUCCESSFUL);
}

}  // namespace
}  // namespace KX::NMS::Discovery
