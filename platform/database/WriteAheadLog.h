// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "platform/base/FileState.h"
#include "platform/base/String.h"
#include "platform/base/XCode.h"

struct sqlite3;

namespace DB {

// Reading a file in WAL mode as a guest that may be allowed to write nothing. SQLite's own way maps the file "-shm",
// which it has to write, and which any program that may write can cut under the reader's feet: that is a SIGBUS. Here
// SQLite builds its index of the log on the heap instead, and nothing is mapped, written or created.
namespace WriteAheadLog {

// Whether the open file is in WAL mode. Reads two bytes of its header.
bool isUsedBy(sqlite3* handle);
// Whether the database file has a log at present. Without one nobody writes, and the file itself is all there is.
bool existsFor(const std::string& databaseFile);
// Lets a connection that has read nothing yet keep its index of the log to itself. It then sees the state of its first
// transaction for ever.
void keepIndexOnHeap(sqlite3* handle);

// While held, other programs may write into the log, but neither move it into the file nor begin it anew, so that what
// the index leads to stays where it is. Made of two of SQLite's locks on "-shm"; the descriptor stays open until
// another such file is in its place, since a process that closes one loses all its locks on it.
class Hold {
 public:
  Hold() = default;
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;
  ~Hold();

  // Waits up to so long for a program that is moving the log just now. Success where nobody has the log open.
  [[nodiscard]] XCode take(const std::string& databaseFile, unsigned milliseconds);
  // Whether there was something to hold.
  bool isTaken() const { return descriptor_ >= 0; }
  // Whether nobody has opened the log since who is not held off.
  bool isStillGood(const std::string& databaseFile) const;
  void release();

 private:
  XCode openShared(const std::string& databaseFile);
  bool lock(short kind) const;

  int descriptor_ = -1;
  KX::FileState file_;
};

}  // namespace WriteAheadLog

}  // namespace DB
