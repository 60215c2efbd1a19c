// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "discovery/scheduling/Job.h"
#include "platform/testing/Corpus.h"
#include "platform/testing/FakeShell.h"
#include "platform/testing/VirtualEventLoop.h"
#include "tests/discovery/common/DiscoveryLog.h"
#include "tests/discovery/common/Golden.h"
#include "tests/discovery/common/Json.h"
#include "tests/discovery/common/Rows.h"
#include "tests/discovery/scans/InputFolder.h"

namespace KX::NMS::Discovery {

using namespace std::chrono_literals;

// Takes the log while it exists, in memory only, and does something once, when the first line with the given text
// comes: a moment inside a preparation.
class LogTrap final : public RTD::LogSink {
 public:
  explicit LogTrap(std::string text = {}, std::function<void()> action = {})
      : text_(std::move(text)), action_(std::move(action)) {
    MON = &monitor_;
  }
  LogTrap(const LogTrap&) = delete;
  LogTrap& operator=(const LogTrap&) = delete;
  ~LogTrap() override {
    MON = previous_;
    for (const std::string& text : texts) Testing::addToCorpus(text);
  }

  void write(const RTD::LogLine& line) override {
    texts.emplace_back(line.text.c_str());
    if (action_ && line.text == text_) std::exchange(action_, nullptr)();
  }

  std::vector<std::string> texts;

 private:
  std::string text_;
  std::function<void()> action_;
  RTD::Monitor* previous_ = MON;
  RTD::Monitor monitor_{"discovery", 2, *this};
};

// As if the disk were full: no file grows beyond so many bytes while this exists, a log's neither.
class FullDisk {
 public:
  explicit FullDisk(rlim_t bytes) : previousHandler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &previous_);
    const rlimit limit{bytes, previous_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;
  ~FullDisk() {
    setrlimit(RLIMIT_FSIZE, &previous_);
    std::signal(SIGXFSZ, previousHandler_);
  }

 private:
  rlimit previous_{};
  void (*previousHandler_)(int);
};

// Whatever is created while this exists can be read by nobody, not even by whoever creates it.
class Unreadable {
 public:
  explicit Unreadable(const std::filesystem::path& folder) : mask_(umask(0777)), isRoot_(geteuid() == 0) {
    std::filesystem::permissions(folder, std::filesystem::perms::all);
    if (isRoot_) become(NOBODY);
  }
  Unreadable(const Unreadable&) = delete;
  Unreadable& operator=(const Unreadable&) = delete;
  ~Unreadable() {
    if (isRoot_) become(0);
    umask(mask_);
  }

 private:
  static constexpr uid_t NOBODY = 65534;
  static void become(uid_t user) { EXPECT_EQ(seteuid(user), 0); }

  mode_t mask_;
  bool isRoot_;
};

// A job of the given class with the id "s.0", on a servicescan that hangs until it is told otherwise.
template <class T>
class ServiceScanFixture : public testing::Test {
 protected:
  static constexpr const char* ID = "s.0";

  ServiceScanFixture() { shell_.on(command()).hangs(); }

  KXPtr<T> makeJob(const char* description, unsigned number = 0) {
    return KXPtr<T>(new T(loop_, repository_, "s"_s, number, json(description)));
  }
  void prepareJob(const char* description) {
    job_ = makeJob(description);
    job_->statusUpdated.connect(Function<void(Property::Value)>(
        [this](Property::Value value) { states_.emplace_back(std::as_const(value)["status"].toString().c_str()); }));
    job_->prepare(needed_);
  }
  // Prepared and invoked, and with nothing logged or published so far.
  void startJob(const char* description) {
    prepareJob(description);
    ASSERT_TRUE(needed_);
    job_->invoke();
    ASSERT_EQ(job_->status().state(), State::RUNNING);
    log_.clear();
    states_.clear();
  }
  KXLWPtr<Node> addNode(const char* ipAddress) { return repository_.addManualNode(ipAddress, nullptr); }
  KXLWPtr<Node> addNode(const char* ipAddress, const std::vector<Service>& services) {
    addNode(ipAddress);
    KXStringHashTable<Service> table;
    for (const Service& service : services) table.set(service.name, service);
    return repository_.setDiscoveredServices(ipAddress, table, "", "");
  }
  String command() const { return folder_.commandOf(ID); }
  std::string content() const { return folder_.contentOf(ID); }
  // The reason of a preparation that fails while the given obstacle is in the way.
  std::string reasonOf(const char* description) {
    log_.clear();
    prepareJob(description);
    EXPECT_FALSE(needed_);
    const auto lines = log_.takeKindsAndLines();
    const std::string start = "1 [Job s.0] Preparation failed: ";
    if (lines.empty() || !lines.back().starts_with(start)) return "none";
    return lines.back().substr(start.size());
  }

  Testing::VirtualEventLoop loop_;
  Testing::FakeShell shell_{loop_};
  InputFolder folder_{loop_};
  Repository repository_;
  DiscoveryLog log_{1};
  std::vector<std::string> states_;
  bool needed_ = false;
  KXPtr<T> job_;  // goes first, since it publishes its cancellation
};

}  // namespace KX::NMS::Discovery
