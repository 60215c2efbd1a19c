// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/base/RefCounted.h"
#include "platform/base/XCode.h"

struct sqlite3;

namespace DB {

// A connection to SQLite and the one transaction that may run on it at a time. Files are opened for reading and are not
// trusted: their views, triggers and functions are not run, values are limited to 1 MiB and a transaction to a number
// of SQLite's steps, so that no content, however broken, ends or holds up the process. One thread; shared by the
// database, the transaction and the queries that use it, so that none of them outlives it.
class Connection final : public KX::RefCounted {
 public:
  // The title stands in front of all error texts.
  explicit Connection(const String& title) : title_(title) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() override;

  // Opened once. A file is only read, in whatever journal mode it is; it must hold the tables.
  [[nodiscard]] XCode openFile(const String& path);
  // An empty database of its own, with the tables made.
  [[nodiscard]] XCode openInMemory();
  // Whether the file is no longer the one at its path: removed, or another one renamed over it.
  bool hasMoved() const;

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
  XCode open(const String& name, int flags);
  void configure();
  void resetStatements();
  XCode end();
  XCode error(const String& text) const;
  // Called by SQLite while it works; other than 0 interrupts it.
  static int onProgress(void* connection);

  String title_;
  sqlite3* handle_ = nullptr;
  XCode failure_;
  std::uint32_t transaction_ = 0;
  std::uint32_t lastTransaction_ = 0;
  unsigned strides_ = 0;
};

}  // namespace DB
