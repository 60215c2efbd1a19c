// SPDX-License-Identifier: Apache-2.0
#include "DeviceFile.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>

const char DeviceFile::TABLES[] =
    "CREATE TABLE context_ip (id INTEGER PRIMARY KEY, object_type INTEGER, object_status INTEGER, name TEXT);"
    "CREATE TABLE dyn_if (id INTEGER PRIMARY KEY, name TEXT);"
    "CREATE TABLE ip_interface (id INTEGER PRIMARY KEY, context_ip_id INTEGER, object_type INTEGER, "
    "object_status INTEGER, name TEXT, dyn_if_id INTEGER, if_state INTEGER);"
    "CREATE TABLE ip_interface_address (id INTEGER PRIMARY KEY, ip_interface_id INTEGER, object_type INTEGER, "
    "object_status INTEGER, subnet TEXT);";

const char DeviceFile::ROWS[] =
    "INSERT INTO context_ip VALUES (1, 2, 10, 'router'), (2, 2, 10, 'guest');"
    "INSERT INTO dyn_if VALUES (1, 'eth0'), (2, 'eth1');"
    "INSERT INTO ip_interface VALUES (1, 1, 2, 10, 'LAN1', 1, 3), (2, 1, 2, 10, 'WAN', 2, 1),"
    " (3, 2, 2, 10, 'LAN2', 2, 3);"
    "INSERT INTO ip_interface_address VALUES (1, 1, 2, 10, '10.1.0.0/16'), (2, 1, 2, 10, '192.168.1.1/24'),"
    " (3, 2, 2, 10, '203.0.113.7/29');";

DeviceFile::DeviceFile() {
  std::string pattern = std::filesystem::temp_directory_path() / "database-test-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
  folder_ = pattern;
}

DeviceFile::~DeviceFile() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void DeviceFile::execute(const std::string& sql) const {
  Writer writer(path());
  EXPECT_EQ(writer.execute(sql), SQLITE_OK) << sqlite3_errmsg(writer.handle()) << ": " << sql;
}

std::vector<unsigned char> DeviceFile::bytes() const {
  std::ifstream file(path().c_str(), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// In place: to replace a file's content makes some file systems wait for the disk.
void DeviceFile::setBytes(const std::vector<unsigned char>& bytes) const {
  std::ofstream(path().c_str(), std::ios::app).close();
  std::fstream file(path().c_str(), std::ios::binary | std::ios::in | std::ios::out);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  file.close();
  std::filesystem::resize_file(path().c_str(), bytes.size());
}

Writer::Writer(const String& path) {
  EXPECT_EQ(sqlite3_open(path.c_str(), &handle_), SQLITE_OK);
  // Nothing here is to survive a power failure.
  EXPECT_EQ(execute("PRAGMA synchronous = OFF"), SQLITE_OK);
}

Writer::~Writer() { sqlite3_close(handle_); }

int Writer::execute(const std::string& sql) { return sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr); }
