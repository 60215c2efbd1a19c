// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/loop/UvEventLoop.h"

// Runs the loop until the condition holds, which is looked at after everything that the loop does here. False when it
// does not come to hold within the hang guard.
class LoopRunner {
 public:
  bool runUntil(const std::function<bool()>& condition) {
    if (condition()) return true;
    bool hangs = false;
    const auto guard = loop.createTimeoutEvent(0, [&] {
      hangs = true;
      loop.stop();
    });
    guard->start(30000, false, false);
    condition_ = [&] {
      if (condition()) loop.stop();
    };
    loop.run();
    condition_ = nullptr;
    return !hangs;
  }
  // Lets the loop handle what is there now.
  void runOnce() {
    bool turned = false;
    const auto timer = loop.createTimeoutEvent(9, [&] {
      turned = true;
      somethingHappened();
    });
    timer->start(1, false, false);
    EXPECT_TRUE(runUntil([&] { return turned; }));
  }
  void somethingHappened() const {
    if (condition_) condition_();
  }

  KX::UvEventLoop loop;

 private:
  std::function<void()> condition_;
};

// The other end of a link, on the same loop: reads lines as they come unless it is told not to, and sends.
class TestPeer {
 public:
  // The descriptors may be the same: a socket.
  TestPeer(LoopRunner& runner, int input, int output, bool reads = true)
      : runner_(runner), input_(input), output_(output) {
    for (int descriptor : {input, output}) {
      if (descriptor >= 0) fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    }
    if (reads) startReading();
  }
  TestPeer(const TestPeer&) = delete;
  TestPeer& operator=(const TestPeer&) = delete;
  ~TestPeer() { close(); }

  void startReading() {
    if (input_ < 0) return;
    readable_ = runner_.loop.createDescriptorEvent(input_, KXEventLoop::READABLE, [this](unsigned) { readNow(); });
  }
  void stopReading() { readable_.reset(); }
  void send(std::string_view bytes) {
    pending_.append(bytes);
    write();
  }
  // The sending side only.
  void finishSending() {
    writable_.reset();
    if (output_ == input_) {
      shutdown(output_, SHUT_WR);
    } else {
      ::close(output_);
      output_ = -1;
    }
  }
  void close() {
    readable_.reset();
    writable_.reset();
    if (input_ >= 0) ::close(input_);
    if (output_ >= 0 && output_ != input_) ::close(output_);
    input_ = output_ = -1;
  }

  bool waitForLines(std::size_t count) {
    return runner_.runUntil([this, count] { return lines.size() >= count; });
  }
  bool waitForEnd() {
    return runner_.runUntil([this] { return atEnd; });
  }

  // Reads a piece without running the loop.
  void readNow() {
    std::string buffer(65536, '\0');
    const ssize_t length = ::read(input_, buffer.data(), buffer.size());
    if (length < 0 && errno == EAGAIN) return;
    if (length <= 0) {
      readable_.reset();
      atEnd = true;
    } else {
      take(std::string_view(buffer).substr(0, static_cast<std::size_t>(length)));
    }
    runner_.somethingHappened();
  }

  std::vector<std::string> lines;
  // What came after the last line.
  std::string rest;
  bool atEnd = false;

 private:
  void take(std::string_view bytes) {
    rest.append(bytes);
    std::size_t start = 0;
    for (std::size_t end = rest.find('\n'); end != std::string::npos; end = rest.find('\n', start)) {
      lines.push_back(rest.substr(start, end - start));
      start = end + 1;
    }
    rest.erase(0, start);
  }
  void write() {
    const ssize_t length = ::write(output_, pending_.data() + written_, pending_.size() - written_);
    if (length > 0) written_ += static_cast<std::size_t>(length);
    const bool isDone = written_ == pending_.size() || (length < 0 && errno != EAGAIN);
    if (isDone) {
      pending_.clear();
      written_ = 0;
      writable_.reset();
    } else if (writable_ == nullptr) {
      writable_ = runner_.loop.createDescriptorEvent(output_, KXEventLoop::WRITABLE, [this](unsigned) { write(); });
    }
    runner_.somethingHappened();
  }

  LoopRunner& runner_;
  int input_;
  int output_;
  std::string pending_;
  std::size_t written_ = 0;
  std::unique_ptr<KX::WatchEvent> readable_;
  std::unique_ptr<KX::WatchEvent> writable_;
};

// A folder of its own for a test, removed with the files in it.
class TemporaryFolder {
 public:
  TemporaryFolder() { EXPECT_NE(mkdtemp(path_), nullptr); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    for (const std::string& file : files_) unlink(file.c_str());
    rmdir(path_);
  }
  std::string file(const std::string& name) {
    files_.push_back(std::string(path_) + "/" + name);
    return files_.back();
  }

 private:
  char path_[32] = "/tmp/kx-links-XXXXXX";
  std::vector<std::string> files_;
};
