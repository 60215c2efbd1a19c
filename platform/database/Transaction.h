// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/Export.h"
#include "platform/base/KXPtr.h"
#include "platform/base/XCode.h"
#include "platform/database/Connection.h"

namespace DB {

// A read transaction on the database that hangs on the calling thread's loop: from start to commit all queries see one
// state, whatever is written meanwhile. One at a time on a database; a writer may have to wait for it, so it is for the
// length of one walk. One that is destroyed without a commit is rolled back.
class KX_EXPORT Transaction {
 public:
  Transaction() = default;
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();

  // An error when there is no database, when it cannot be read or is locked for a second, and while another transaction
  // runs; there is then nothing to commit.
  [[nodiscard]] XCode start();
  // Ends the transaction in any case. An error that any query met since start is reported here.
  [[nodiscard]] XCode commit();

 private:
  KXLWPtr<Connection> connection_;
};

}  // namespace DB
