// SPDX-License-Identifier: Apache-2.0
#include "platform/testing/LogCapture.h"

#include <algorithm>

#include "platform/testing/Corpus.h"

namespace KX::Testing {

void LogCapture::write(const RTD::LogLine& line) {
  addToCorpus(line.text);
  entries_.push_back(
      {line.kind, std::string(line.monitor.view()), std::string(line.prefix.view()), std::string(line.text.view())});
}

std::vector<std::string> LogCapture::texts() const {
  std::vector<std::string> texts;
  for (const Entry& entry : entries_) texts.push_back(entry.text);
  return texts;
}

std::vector<std::string> LogCapture::lines() const {
  std::vector<std::string> lines;
  for (const Entry& entry : entries_) lines.push_back(entry.line());
  return lines;
}

std::size_t LogCapture::count(const std::string& text) const {
  const auto matches = [&](const Entry& entry) { return entry.text == text; };
  return static_cast<std::size_t>(std::count_if(entries_.begin(), entries_.end(), matches));
}

bool LogCapture::has(const std::string& line) const {
  return std::any_of(entries_.begin(), entries_.end(), [&](const Entry& entry) { return entry.line() == line; });
}

bool LogCapture::has(RTD::Kind kind, const std::string& line) const {
  const auto matches = [&](const Entry& entry) { return entry.kind == kind && entry.line() == line; };
  return std::any_of(entries_.begin(), entries_.end(), matches);
}

}  // namespace KX::Testing
