// SPDX-License-Identifier: Apache-2.0
#include "platform/database/Database.h"

#include <utility>

#include "platform/loop/KXEventLoop.h"

namespace DB {

namespace {

String titleOf(const String& path) { return String::format("Configuration database %s", path.c_str()); }

}  // namespace

Database::Database() = default;
Database::~Database() = default;

XCode Database::open(const String& path) {
  KXLWPtr<Connection> connection(new Connection(titleOf(path), hold_));
  XCode result = connection->openFile(path);
  if (result.isErr()) return result;
  path_ = path;
  connection_ = std::move(connection);
  source_ = nullptr;
  return result;
}

XCode Database::openInMemory(Source* source) {
  KXLWPtr<Connection> connection(new Connection("Configuration database in memory"_s));
  XCode result = connection->openInMemory();
  if (result.isErr()) return result;
  path_ = String();
  connection_ = std::move(connection);
  source_ = source;
  return result;
}

Database* Database::current() {
  const KXEventLoop* loop = KXEventLoop::current();
  return loop == nullptr ? nullptr : loop->service<Database>();
}

KXLWPtr<Connection> Database::currentConnection() {
  const Database* database = current();
  return database == nullptr ? nullptr : database->connection_;
}

XCode Database::start(KXLWPtr<Connection>& connection) {
  if (connection_ == nullptr) return XCode::error("No configuration database"_s);
  if (connection_->transaction() == 0) {
    if (!path_.isEmpty() && connection_->isOutdated(path_)) return startAnew(connection);
    XCode updated = source_ != nullptr ? source_->update(*connection_) : XCode();
    if (updated.isErr()) return updated;
  }
  XCode started = connection_->start();
  if (started.isSuccess()) connection = connection_;
  return started;
}

// A configuration that is written as a new file and renamed over the old one would else never be seen.
XCode Database::startAnew(KXLWPtr<Connection>& connection) {
  KXLWPtr<Connection> fresh(new Connection(titleOf(path_), hold_));
  XCode started = fresh->startOnFile(path_);
  if (started.isErr()) return started;
  connection_ = std::move(fresh);
  connection = connection_;
  return started;
}

}  // namespace DB
