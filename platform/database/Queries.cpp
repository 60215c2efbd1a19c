// SPDX-License-Identifier: Apache-2.0
#include "platform/database/Queries.h"

#include "platform/database/Database.h"

namespace DB {

void Cursor::begin() {
  hasRow_ = false;
  connection_ = Database::currentConnection();
  transaction_ = connection_ != nullptr ? connection_->transaction() : 0;
  if (transaction_ == 0) return;
  statement_ = Statement(*connection_, sql_);
  int position = 0;
  for (const std::optional<std::int64_t>& key : keys_) {
    ++position;
    if (key) statement_.bind(position, *key);
  }
  hasRow_ = statement_.step();
}

bool Cursor::iterate() const { return hasRow_ && connection_->transaction() == transaction_; }

void Cursor::moveNext() { hasRow_ = iterate() && statement_.step(); }

}  // namespace DB
