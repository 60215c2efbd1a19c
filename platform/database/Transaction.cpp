// SPDX-License-Identifier: Apache-2.0
#include "platform/database/Transaction.h"

#include <utility>

#include "platform/database/Database.h"

namespace DB {

Transaction::~Transaction() {
  if (connection_ != nullptr) connection_->rollback();
}

XCode Transaction::start() {
  Database* database = Database::current();
  return database == nullptr ? XCode::error("No configuration database"_s) : database->start(connection_);
}

XCode Transaction::commit() {
  const KXLWPtr<Connection> connection = std::exchange(connection_, nullptr);
  return connection == nullptr ? XCode::error("No transaction is running"_s) : connection->commit();
}

}  // namespace DB
