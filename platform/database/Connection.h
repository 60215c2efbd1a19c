// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/base/Export.h"
#include "platform/base/FileState.h"
#include "platform/base/RefCounted.h"
#include "platform/base/XCode.h"
#include "platform/database/WriteAheadLog.h"

struct sqlite3;

namespace DB {

// A connection to SQLite and the one transaction that may run on it at a time. Files are opened for reading and are not
// trusted: their views, triggers and functions are not run, values are limited to 1 MiB and a transaction to a number
// of SQLite's steps, so that no content, however broken, ends or holds up the process. One thread; shared by the
// database, the transaction and the queries that use it, so that none of them outlives it.
class KX_EXPORT Connection final : public KX::RefCounted {
 public:
  // The title stands in front of all error texts. Connections to one file that follow each other share a hold.
  explicit Connection(const String& title, std::shared_ptr<WriteAheadLog::Hold> hold = nullptr);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Opened once. A file is only read, in whatever journal mode it is, and never mapped; it must hold the tables.
  [[nodiscard]] XCode openFile(const String& path);
  // The same, and a transaction that read the tables runs on.
  [[nodiscard]] XCode startOnFile(const String& path);
  // An empty database of its own, with the tables made.
  [[nodiscard]] XCode openInMemory();
  // Whether the next transaction needs another connection: the file at the path is removed or another one, by a rename
  // or a link that was turned, or it is in WAL mode, where a connection serves for one transaction.
  bool isOutdated(const String& path) const;

  // From here to the end all statements see the same state, whatever others write. Waits up to a second for a writer
  // that holds the file.
  [[nodiscard]] XCode start();
  // The transaction ends in any case. The first trouble that a statement met since start is reported, and what the
  // transaction wrote is then undone.
  [[nodiscard]] XCode commit();
  void rollback();
  // 0 while none runs, else a number that no other transaction of this connection has.
  std::uint32_t transaction() const { return transaction_; }

  void execute(const char* sql);
  // Keeps the first failure for commit; takes one of SQLite's result codes.
  void reportFailure(int code);
  // Keeps a failure of the content.
  void reportFailure(const String& text);
  sqlite3* handle() const { return handle_; }

 private:
  ~Connection() override;

  XCode open(const String& name, int flags);
  XCode openLogged();
  bool hasChanged() const;
  void configure();
  void resetStatements();
  XCode end();
  XCode error(const String& text) const;
  // Called by SQLite while it works; other than 0 interrupts it.
  static int onProgress(void* connection);

  static XCode readState(const String& path, KX::FileState& state);

  String title_;
  sqlite3* handle_ = nullptr;
  std::shared_ptr<WriteAheadLog::Hold> hold_;
  KX::FileState opened_;
  bool isFile_ = false;  // with the tables
  // The database file, links resolved, where it is in WAL mode; empty otherwise.
  std::string logged_;
  XCode failure_;
  std::uint32_t transaction_ = 0;
  std::uint32_t lastTransaction_ = 0;
  unsigned strides_ = 0;
};

}  // namespace DB
