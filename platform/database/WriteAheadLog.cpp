// SPDX-License-Identifier: Apache-2.0
#include "platform/database/WriteAheadLog.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

namespace DB::WriteAheadLog {

namespace {

// Of SQLite's file format: the version that is needed to read the file stands here, and 2 is one with a log.
constexpr sqlite3_int64 READ_VERSION_OFFSET = 19;
constexpr unsigned char READ_VERSION_LOG = 2;
// Of SQLite's locks on "-shm": that of who moves the log into the file, and the last one of the readers, each of which
// keeps the log from being begun anew.
constexpr off_t CHECKPOINT_LOCK = 121;
constexpr off_t LAST_READER_LOCK = 127;
constexpr std::chrono::milliseconds PAUSE{5};
constexpr const char* SHARED_SUFFIX = "-shm";

// Where the file's methods are kept while ours stand in front of them.
const sqlite3_io_methods* fileMethods = nullptr;

// What a connection with an index of its own takes for a lock against everybody is the shared one that readers have.
int lockShared(sqlite3_file* file, int level) { return fileMethods->xLock(file, std::min(level, SQLITE_LOCK_SHARED)); }

// Version 1 of the methods has none for shared memory.
const sqlite3_io_methods& withoutSharedMemory(const sqlite3_io_methods& methods) {
  static const sqlite3_io_methods result = [&methods] {
    fileMethods = &methods;
    sqlite3_io_methods changed = methods;
    changed.iVersion = 1;
    changed.xLock = lockShared;
    return changed;
  }();
  return result;
}

sqlite3_file* fileOf(sqlite3* handle) {
  sqlite3_file* file = nullptr;
  const int result = sqlite3_file_control(handle, "main", SQLITE_FCNTL_FILE_POINTER, &file);
  return result == SQLITE_OK && file != nullptr && file->pMethods != nullptr ? file : nullptr;
}

}  // namespace

bool isUsedBy(sqlite3* handle) {
  sqlite3_file* file = fileOf(handle);
  unsigned char version = 0;
  return file != nullptr && file->pMethods->xRead(file, &version, 1, READ_VERSION_OFFSET) == SQLITE_OK &&
         version == READ_VERSION_LOG;
}

bool existsFor(const std::string& databaseFile) {
  struct stat status {};
  return stat((databaseFile + "-wal").c_str(), &status) == 0;
}

void keepIndexOnHeap(sqlite3* handle) {
  sqlite3_file* file = fileOf(handle);
  if (file == nullptr) return;
  file->pMethods = &withoutSharedMemory(*file->pMethods);
  static_cast<void>(sqlite3_exec(handle, "PRAGMA locking_mode = EXCLUSIVE", nullptr, nullptr, nullptr));
}

Hold::~Hold() {
  if (descriptor_ >= 0) close(descriptor_);
}

XCode Hold::take(const std::string& databaseFile, unsigned milliseconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  for (;;) {
    XCode result = openShared(databaseFile);
    if (result.isErr() || descriptor_ < 0 || lock(F_RDLCK)) return result;
    release();
    if (std::chrono::steady_clock::now() >= deadline) return XCode::error("database is locked"_s);
    std::this_thread::sleep_for(PAUSE);
  }
}

bool Hold::isStillGood(const std::string& databaseFile) const {
  struct stat status {};
  if (stat((databaseFile + SHARED_SUFFIX).c_str(), &status) != 0) return descriptor_ < 0;
  return descriptor_ >= 0 && KX::FileState::of(status).isSameFile(file_);
}

void Hold::release() { static_cast<void>(lock(F_UNLCK)); }

XCode Hold::openShared(const std::string& databaseFile) {
  if (isStillGood(databaseFile)) return XCode();
  if (descriptor_ >= 0) close(descriptor_);
  descriptor_ = open((databaseFile + SHARED_SUFFIX).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW);
  if (descriptor_ < 0) return errno == ENOENT ? XCode() : XCode::fromErrno(errno);
  struct stat status {};
  if (fstat(descriptor_, &status) != 0) return XCode::fromErrno(errno);
  file_ = KX::FileState::of(status);
  return XCode();
}

// Locks of the descriptor and not of the process, which would lose them with whatever descriptor it closes.
bool Hold::lock(short kind) const {
  for (const off_t place : {CHECKPOINT_LOCK, LAST_READER_LOCK}) {
    struct flock range {};
    range.l_type = kind;
    range.l_whence = SEEK_SET;
    range.l_start = place;
    range.l_len = 1;
    if (descriptor_ >= 0 && fcntl(descriptor_, F_OFD_SETLK, &range) != 0) return false;
  }
  return true;
}

}  // namespace DB::WriteAheadLog
