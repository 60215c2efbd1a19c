// SPDX-License-Identifier: Apache-2.0
#include "discovery/scans/Scan.h"
#include "discovery/scans/ScanOutputParserArpScan.h"
#include "discovery/scans/ScanOutputParserDiscoveryScan.h"
#include "tests/discovery/common/Rows.h"
#include "tests/discovery/scans/ScanFixture.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

class ScanTest : public ScanFixture {};

TEST_F(ScanTest, ANulCutsNoLineOfTheLog) {
  log_.setVerbosity(3);
  shell_.on(COMMAND).hangs();
  startScan();
  ASSERT_TRUE(shell_.print(COMMAND, String(std::string_view("one\0two", 7))));
  EXPECT_EQ(log_.takeLines().back(), "[ARP scan nightly.3.LAN] output> one\\x00two");
  scan_ = KXPtr<Scan>(new Scan(loop_, "n.0", "ARP", String(std::string_view("L\0N", 3)), COMMAND, parser_));
  EXPECT_EQ(scan_->toPropertyValue()["id"].toString(), std::string_view("n.0.L\0N", 7));
}

TEST_F(ScanTest, NewOneIsIdleAndHasTheIdOfOwnerAndName) {
  scan_ = makeScan();
  EXPECT_EQ(scan_->status().state(), State::IDLE);
  EXPECT_EQ(scan_->name(), "LAN");
  EXPECT_EQ(scan_->toPropertyValue()["id"].toString(), "nightly.3.LAN");
  EXPECT_THAT(log_.takeKindsAndLines(), ElementsAre("2 [ARP scan nightly.3.LAN] Created"));
  EXPECT_THAT(shell_.invoked(), IsEmpty());
}

TEST_F(ScanTest, WholeRunLogsItsCourseInOrder) {
  shell_.on(COMMAND).prints("first\n").printsError("warning\n").prints("second\n").ends(XCode(), "rest\n");
  scan_ = makeScan();
  connect();
  scan_->invoke();
  loop_.settle();
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("2 [ARP scan nightly.3.LAN] Created",                   //
                          "1 [ARP scan nightly.3.LAN] Starting ARP scan LAN:",    //
                          "1 [ARP scan nightly.3.LAN]   scan eth0",               //
                          "2 [ARP scan nightly.3.LAN] State changed to running",  //
                          "3 [ARP scan nightly.3.LAN] output> first\n",           //
                          "3 [ARP scan nightly.3.LAN] info> warning\n",           //
                          "3 [ARP scan nightly.3.LAN] output> second\n",          //
                          "3 [ARP scan nightly.3.LAN] output> rest\n",            //
                          "6 [ARP scan nightly.3.LAN] Scan succeeded",            //
                          "2 [ARP scan nightly.3.LAN] State changed to successful"));
  EXPECT_THAT(states_, ElementsAre("running", "successful"));
  scan_.reset();
  EXPECT_THAT(log_.takeKindsAndLines(), ElementsAre("2 [ARP scan nightly.3.LAN] Destroying...",  //
                                                    "2 [ARP scan nightly.3.LAN] Destroyed"));
}

TEST_F(ScanTest, StateIsPublishedBeforeTheCommandIsStarted) {
  shell_.on(COMMAND).hangs();
  scan_ = makeScan();
  std::size_t invokedAtStart = 99;
  scan_->statusUpdated.connect(Function<void()>([&] { invokedAtStart = shell_.invoked().size(); }));
  scan_->invoke();
  EXPECT_EQ(invokedAtStart, 0U);
  EXPECT_THAT(shell_.invoked(), ElementsAre(COMMAND));
  scan_.reset();
}

TEST_F(ScanTest, SecondInvokeIsRefusedAndLeavesTheFirstRunAlone) {
  shell_.on(COMMAND).hangs();
  startScan();
  scan_->invoke();
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("4 [ARP scan nightly.3.LAN] Cannot start network scan in state running"));
  EXPECT_EQ(shell_.invoked().size(), 1U);
  EXPECT_TRUE(end(XCode()).isSuccess());
  EXPECT_EQ(scan_->status().state(), State::SUCCESSFUL);
  log_.clear();
  scan_->invoke();
  EXPECT_THAT(log_.takeLines(), ElementsAre("[ARP scan nightly.3.LAN] Cannot start network scan in state successful"));
  EXPECT_EQ(shell_.invoked().size(), 1U);
}

TEST_F(ScanTest, CommandThatTheShellRefusesFailsTheScanInsideInvoke) {
  shell_.on(COMMAND).isRefused(XCode::fromErrno(ENOENT));
  scan_ = makeScan();
  connect();
  log_.clear();
  scan_->invoke();
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("1 [ARP scan nightly.3.LAN] Starting ARP scan LAN:",                          //
                          "1 [ARP scan nightly.3.LAN]   scan eth0",                                     //
                          "2 [ARP scan nightly.3.LAN] State changed to running",                        //
                          "5 [ARP scan nightly.3.LAN] Network scan failed: No such file or directory",  //
                          "2 [ARP scan nightly.3.LAN] State changed to failed"));
  EXPECT_THAT(states_, ElementsAre("running", "failed"));
  EXPECT_EQ(scan_->status().text(), "No such file or directory");
  EXPECT_THAT(parser_.outputs, IsEmpty());
}

TEST_F(ScanTest, CommandThatEndsWithAnErrorFailsTheScanAndIsNotParsed) {
  shell_.on(COMMAND).prints("half").exits(2);
  startScan();
  loop_.settle();
  EXPECT_THAT(log_.takeKindsAndLines(), ElementsAre("3 [ARP scan nightly.3.LAN] output> half",                        //
                                                    "5 [ARP scan nightly.3.LAN] Network scan failed: Exit status 2",  //
                                                    "2 [ARP scan nightly.3.LAN] State changed to failed"));
  EXPECT_EQ(scan_->status().text(), "Exit status 2");
  EXPECT_THAT(parser_.outputs, IsEmpty());
  EXPECT_THAT(states_, ElementsAre("failed"));
}

TEST_F(ScanTest, OutputThatTheParserRefusesFailsTheScan) {
  parser_.answer = XCode::error("Invalid value at byte 7");
  shell_.on(COMMAND).prints("garbage");
  startScan();
  loop_.settle();
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("3 [ARP scan nightly.3.LAN] output> garbage",                                //
                          "5 [ARP scan nightly.3.LAN] Network scan failed: Incompatible scan output",  //
                          "2 [ARP scan nightly.3.LAN] State changed to failed"));
  EXPECT_EQ(scan_->status().text(), "Incompatible scan output");
  EXPECT_FALSE(scan_->status().result().isValid());
}

TEST_F(ScanTest, ErrorWithoutATextIsCalledError) {
  shell_.on(COMMAND).ends(XCode(1));
  startScan();
  loop_.settle();
  EXPECT_EQ(scan_->status().text(), "Error");
}

TEST_F(ScanTest, SilentCommandIsParsedAllTheSame) {
  shell_.on(COMMAND);
  startScan();
  loop_.settle();
  EXPECT_THAT(parser_.outputs, ElementsAre(""));
  EXPECT_EQ(scan_->status().state(), State::SUCCESSFUL);
}

TEST_F(ScanTest, SilentArpScanSucceedsWithoutNodes) {
  const ScanOutputParserArpScan parser;
  shell_.on(COMMAND);
  scan_ = KXPtr<Scan>(new Scan(loop_, "nightly.3", "ARP", "LAN", COMMAND, parser));
  scan_->invoke();
  loop_.settle();
  EXPECT_EQ(scan_->status().state(), State::SUCCESSFUL);
  EXPECT_EQ(scan_->status().result().toJson(), R"({"nodes":[]})");
}

TEST_F(ScanTest, SilentDiscoveryScanIsIncompatible) {
  const ScanOutputParserDiscoveryScan parser;
  shell_.on(COMMAND);
  scan_ = KXPtr<Scan>(new Scan(loop_, "nightly.3", "Discovery", "LAN", COMMAND, parser));
  scan_->invoke();
  loop_.settle();
  EXPECT_EQ(scan_->status().state(), State::FAILED);
  EXPECT_EQ(scan_->status().text(), "Incompatible scan output");
}

TEST_F(ScanTest, PiecesOfOutputAreJoinedAsTheyCame) {
  shell_.on(COMMAND).prints("192.0").prints(".2.20\t02").prints("").prints(":00\r").prints("\n");
  startScan();
  loop_.settle();
  EXPECT_THAT(parser_.outputs, ElementsAre("192.0.2.20\t02:00\r\n"));
  EXPECT_TRUE(parser_.wasUnset);
}

TEST_F(ScanTest, RestIsAppendedBeforeParsing) {
  shell_.on(COMMAND).prints("first ").ends(XCode(), "rest");
  startScan();
  loop_.settle();
  EXPECT_THAT(parser_.outputs, ElementsAre("first rest"));
  EXPECT_EQ(scan_->status().result()["parsed"].toString(), "first rest");
}

TEST_F(ScanTest, OutputWithNulBytesIsKeptWhole) {
  const String output("a\0b", 3);
  shell_.on(COMMAND).prints(output);
  startScan();
  loop_.settle();
  EXPECT_THAT(parser_.outputs, ElementsAre(std::string("a\0b", 3)));
}

TEST_F(ScanTest, EmptyPiecesAreNotLogged) {
  shell_.on(COMMAND).prints("").printsError("");
  startScan();
  loop_.settle();
  EXPECT_THAT(log_.takeLines(), ElementsAre("[ARP scan nightly.3.LAN] Scan succeeded",
                                            "[ARP scan nightly.3.LAN] State changed to successful"));
}

TEST_F(ScanTest, ErrorOutputIsLoggedAndNeitherKeptNorAFailure) {
  shell_.on(COMMAND).printsError("eth0: no carrier");
  startScan();
  loop_.settle();
  EXPECT_THAT(log_.takeKindsAndLines(), ElementsAre("3 [ARP scan nightly.3.LAN] info> eth0: no carrier",
                                                    "6 [ARP scan nightly.3.LAN] Scan succeeded",
                                                    "2 [ARP scan nightly.3.LAN] State changed to successful"));
  EXPECT_THAT(parser_.outputs, ElementsAre(""));
}

// --- cancel

TEST_F(ScanTest, CancelKillsTheCommandAndPublishesTheCancelledState) {
  shell_.on(COMMAND).hangs();
  startScan();
  scan_->cancel();
  EXPECT_THAT(log_.takeKindsAndLines(), ElementsAre("1 [ARP scan nightly.3.LAN] Cancelling...",  //
                                                    "1 [ARP scan nightly.3.LAN] Cancelled",      //
                                                    "2 [ARP scan nightly.3.LAN] State changed to cancelled"));
  EXPECT_THAT(states_, ElementsAre("cancelled"));
  loop_.settle();
  EXPECT_THAT(shell_.running(), IsEmpty());
}

TEST_F(ScanTest, LateEndOfAKilledCommandIsLoggedAndChangesNothing) {
  shell_.on(COMMAND).hangs();
  startScan();
  shell_.print(COMMAND, "early ");
  scan_->cancel();
  shell_.print(COMMAND, "late");
  log_.clear();
  states_.clear();
  loop_.settle();
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("3 [ARP scan nightly.3.LAN] output> late",
                          "5 [ARP scan nightly.3.LAN] Network scan failed: Killed by signal 9"));
  EXPECT_THAT(states_, IsEmpty());
  EXPECT_EQ(scan_->status().state(), State::CANCELLED);
  EXPECT_EQ(scan_->status().text(), "");
}

TEST_F(ScanTest, LateSuccessOfACancelledScanIsParsedAndChangesNothing) {
  shell_.on(COMMAND).hangs();
  startScan();
  scan_->cancel();
  log_.clear();
  states_.clear();
  EXPECT_TRUE(end(XCode(), "rest").isSuccess());
  EXPECT_THAT(log_.takeLines(),
              ElementsAre("[ARP scan nightly.3.LAN] output> rest", "[ARP scan nightly.3.LAN] Scan succeeded"));
  EXPECT_THAT(parser_.outputs, ElementsAre("rest"));
  EXPECT_THAT(states_, IsEmpty());
  EXPECT_EQ(scan_->status().state(), State::CANCELLED);
  EXPECT_FALSE(scan_->status().result().isValid());
}

TEST_F(ScanTest, NothingButARunningScanIsCancelled) {
  shell_.on(COMMAND);
  scan_ = makeScan();
  log_.clear();
  scan_->cancel();
  EXPECT_EQ(scan_->status().state(), State::IDLE);
  scan_->invoke();
  loop_.settle();
  EXPECT_EQ(scan_->status().state(), State::SUCCESSFUL);
  log_.clear();
  scan_->cancel();
  EXPECT_EQ(scan_->status().state(), State::SUCCESSFUL);
  EXPECT_THAT(log_.takeLines(), IsEmpty());
}

TEST_F(ScanTest, SecondCancelDoesNothing) {
  shell_.on(COMMAND).hangs();
  startScan();
  scan_->cancel();
  log_.clear();
  scan_->cancel();
  EXPECT_THAT(log_.takeLines(), IsEmpty());
}

TEST_F(ScanTest, CancelledScanCannotBeStartedAnew) {
  shell_.on(COMMAND).hangs();
  startScan();
  scan_->cancel();
  log_.clear();
  scan_->invoke();
  EXPECT_THAT(log_.takeLines(), ElementsAre("[ARP scan nightly.3.LAN] Cannot start network scan in state cancelled"));
  EXPECT_EQ(shell_.invoked().size(), 1U);
}

// --- destruction

TEST_F(ScanTest, DestroyedWhileItsCommandRunsItKillsTheCommandFirst) {
  shell_.on(COMMAND).hangs();
  startScan();
  scan_.reset();
  EXPECT_THAT(log_.takeLines(),
              ElementsAre("[ARP scan nightly.3.LAN] Destroying...",  //
                          "[ARP scan nightly.3.LAN] Cancelling...",  //
                          "[ARP scan nightly.3.LAN] Cancelled",      //
                          "[ARP scan nightly.3.LAN] State changed to cancelled", "[ARP scan nightly.3.LAN] Destroyed"));
  loop_.settle();
  EXPECT_THAT(shell_.running(), IsEmpty());
  EXPECT_THAT(log_.takeLines(), IsEmpty());
}

TEST_F(ScanTest, DestroyedAfterItsEndItKillsNothing) {
  shell_.on(COMMAND);
  startScan();
  loop_.settle();
  log_.clear();
  scan_.reset();
  EXPECT_THAT(log_.takeLines(),
              ElementsAre("[ARP scan nightly.3.LAN] Destroying...", "[ARP scan nightly.3.LAN] Destroyed"));
}

// --- logs

TEST_F(ScanTest, CourseOfEventsIsLoggedAtLevelOne) {
  log_.setVerbosity(1);
  shell_.on(COMMAND).prints("x");
  scan_ = makeScan();
  scan_->invoke();
  loop_.settle();
  scan_.reset();
  EXPECT_THAT(log_.takeLines(),
              ElementsAre("[ARP scan nightly.3.LAN] Starting ARP scan LAN:", "[ARP scan nightly.3.LAN]   scan eth0",
                          "[ARP scan nightly.3.LAN] Scan succeeded"));
}

TEST_F(ScanTest, OutcomesAreLoggedAtEveryLevel) {
  log_.setVerbosity(0);
  shell_.on(COMMAND).exits(1);
  scan_ = makeScan();
  scan_->invoke();
  scan_->invoke();
  loop_.settle();
  EXPECT_THAT(log_.takeLines(), ElementsAre("[ARP scan nightly.3.LAN] Cannot start network scan in state running",
                                            "[ARP scan nightly.3.LAN] Network scan failed: Exit status 1"));
}

// --- what it shows

TEST_F(ScanTest, ValueHoldsIdTypeNameCommandAndTheStatus) {
  scan_ = makeScan();
  EXPECT_EQ(scan_->toPropertyValue().toJson(),
            R"({"id":"nightly.3.LAN","type":"ARP","name":"LAN","cmd":"scan eth0","status":"idle"})");
  shell_.on(COMMAND).exits(1);
  scan_->invoke();
  loop_.settle();
  EXPECT_EQ(scan_->toPropertyValue().toJson(),
            R"({"id":"nightly.3.LAN","type":"ARP","name":"LAN","cmd":"scan eth0","status":"failed",)"
            R"("reason":"Exit status 1"})");
}

TEST_F(ScanTest, RowsAreTheIdAndBelowItCommandAndStatus) {
  shell_.on(COMMAND).exits(1);
  startScan();
  loop_.settle();
  EXPECT_THAT(rowsOf(*scan_, {.level = 2, .column = 1}, "Active "),
              ElementsAre("2,1 Active ARP scan: nightly.3.LAN", "3,1 Command: scan eth0", "3,1 Status: failed",
                          "3,1 Reason: Exit status 1"));
}

TEST_F(ScanTest, RowsBeyondTheLimitsAreLeftOut) {
  scan_ = makeScan();
  EXPECT_THAT(rowsOf(*scan_, {.maxLevel = 1, .level = 2}), IsEmpty());
  EXPECT_THAT(rowsOf(*scan_, {.maxLevel = 2, .level = 2}), ElementsAre("2,0 ARP scan: nightly.3.LAN"));
  EXPECT_THAT(rowsOf(*scan_, {.maxColumn = 0, .column = 1}), IsEmpty());
}

TEST_F(ScanTest, UnheardScanRunsAllTheSame) {
  shell_.on(COMMAND).after(30s);
  scan_ = makeScan();
  scan_->invoke();
  loop_.advance(29s);
  EXPECT_EQ(scan_->status().state(), State::RUNNING);
  loop_.advance(1s);
  EXPECT_EQ(scan_->status().state(), State::SUCCESSFUL);
}

}  // namespace
}  // namespace KX::NMS::Discovery
