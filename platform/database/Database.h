// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "platform/base/Export.h"
#include "platform/base/KXPtr.h"
#include "platform/base/XCode.h"
#include "platform/database/Connection.h"

namespace DB {

// The device configuration database. The host owns it and hangs it on its loop (KXEventLoop::provide<DB::Database>),
// where transactions and queries find it; it outlives the loop's use of it. One thread.
class KX_EXPORT Database {
 public:
  // What an in-memory database is filled from. It is asked before every transaction to bring the tables up to date, so
  // that they never change while someone reads.
  class Source {
   public:
    [[nodiscard]] virtual XCode update(Connection& connection) = 0;

   protected:
    ~Source() = default;
  };

  Database();
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // Opens a file for reading. An error says in one line what is wrong: the file is missing, is no database, or does not
  // hold the tables. When another file is renamed over it later, or a link to it turned, the next transaction reads
  // that one. A file in WAL mode is read where nothing may be written, too, and without mapping anything: see
  // WriteAheadLog.
  [[nodiscard]] XCode open(const String& path);
  // The source is not owned; it may be null, and the tables then stay empty.
  [[nodiscard]] XCode openInMemory(Source* source);
  void setSource(Source* source) { source_ = source; }

  // The database on the calling thread's loop, or null.
  static Database* current();
  // Its connection, or null.
  static KXLWPtr<Connection> currentConnection();
  // Starts a transaction and gives the connection that it runs on.
  [[nodiscard]] XCode start(KXLWPtr<Connection>& connection);

 private:
  XCode startAnew(KXLWPtr<Connection>& connection);

  String path_;
  std::shared_ptr<WriteAheadLog::Hold> hold_ = std::make_shared<WriteAheadLog::Hold>();
  KXLWPtr<Connection> connection_;
  Source* source_ = nullptr;
};

}  // namespace DB
