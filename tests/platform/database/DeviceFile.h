// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

#include <string>
#include <vector>

#include "platform/base/String.h"

// A configuration file in a folder of its own, as the device's other programs write it: through SQLite and nothing of
// ours. The folder is removed in the end.
class DeviceFile {
 public:
  static const char TABLES[];
  // Two contexts; "LAN1" is bound to eth0 and up, "WAN" is bound to eth1 and down, "LAN2" is in the second context.
  static const char ROWS[];

  // Empty: the file does not exist yet.
  DeviceFile();
  DeviceFile(const DeviceFile&) = delete;
  DeviceFile& operator=(const DeviceFile&) = delete;
  ~DeviceFile();

  String path() const { return String(folder_ + "/device.db"); }
  String pathOf(const char* name) const { return String(folder_ + "/" + name); }
  // Runs the statements on a connection that is closed afterwards.
  void execute(const std::string& sql) const;

  std::vector<unsigned char> bytes() const;
  void setBytes(const std::vector<unsigned char>& bytes) const;

 private:
  std::string folder_;
};

// A program that writes to the file, beside us.
class Writer {
 public:
  explicit Writer(const String& path);
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  ~Writer();

  // One of SQLite's result codes.
  int execute(const std::string& sql);
  sqlite3* handle() { return handle_; }

 private:
  sqlite3* handle_ = nullptr;
};
