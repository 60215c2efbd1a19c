// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/monitor/LogSink.h"

namespace KX::Testing {

// A log sink that keeps what it gets, unescaped and in order. The test owns it and gives it to the monitor under which
// the objects log; it must outlive that monitor.
class LogCapture final : public RTD::LogSink {
 public:
  struct Entry {
    RTD::Kind kind;
    std::string monitor;
    std::string prefix;
    std::string text;
    // Prefix and text: "[Job a.0] Preparing...".
    std::string line() const { return prefix + text; }
  };

  void write(const RTD::LogLine& line) override;

  const std::vector<Entry>& entries() const { return entries_; }
  std::vector<std::string> texts() const;
  std::vector<std::string> lines() const;
  // How many entries have exactly this text, whatever their prefix.
  std::size_t count(const std::string& text) const;
  // Whether an entry is exactly this line, prefix and text.
  bool has(const std::string& line) const;
  // The same, of the given kind.
  bool has(RTD::Kind kind, const std::string& line) const;
  void clear() { entries_.clear(); }

 private:
  std::vector<Entry> entries_;
};

}  // namespace KX::Testing
