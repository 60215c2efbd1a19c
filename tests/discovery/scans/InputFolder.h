// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "discovery/scans/InputFiles.h"
#include "platform/loop/KXEventLoop.h"

namespace KX::NMS::Discovery {

// Where the jobs of a loop put their input files: a folder of the test's own. It goes after the jobs.
class InputFolder {
 public:
  explicit InputFolder(KXEventLoop& loop) : path_(makeFolder()), files_(String(path_.string())) {
    loop.provide<InputFiles>(&files_);
  }
  InputFolder(const InputFolder&) = delete;
  InputFolder& operator=(const InputFolder&) = delete;
  ~InputFolder() { std::filesystem::remove_all(path_); }

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path fileOf(const std::string& jobId) const { return path_ / ("servicescan-input-" + jobId); }
  bool has(const std::string& jobId) const { return std::filesystem::exists(fileOf(jobId)); }
  std::string contentOf(const std::string& jobId) const {
    std::ifstream file(fileOf(jobId));
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  std::size_t count() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(path_), {}));
  }
  // The command of a job's scans.
  String commandOf(const std::string& jobId) const {
    return String("/usr/bin/servicescan -j -t " + fileOf(jobId).string());
  }
  // The text as it is on a device, where the folder is /tmp.
  std::string asOnADevice(std::string text) const { return replaced(std::move(text), path_.string(), "/tmp"); }
  std::vector<std::string> asOnADevice(std::vector<std::string> lines) const {
    for (std::string& line : lines) line = asOnADevice(std::move(line));
    return lines;
  }
  // The opposite.
  std::string asInTheTest(std::string text) const { return replaced(std::move(text), "/tmp", path_.string()); }

 private:
  static std::string replaced(std::string text, const std::string& from, const std::string& to) {
    const std::size_t position = text.find(from + "/servicescan-input-");
    return position == std::string::npos ? text : text.replace(position, from.size(), to);
  }
  static std::filesystem::path makeFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "inputs-XXXXXX").string();
    EXPECT_NE(mkdtemp(pattern.data()), nullptr);
    return pattern;
  }

  std::filesystem::path path_;
  InputFiles files_;
};

}  // namespace KX::NMS::Discovery
