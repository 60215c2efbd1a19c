// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "platform/base/Export.h"
#include "platform/base/KXPtr.h"
#include "platform/base/String.h"
#include "platform/database/Connection.h"

struct sqlite3_stmt;

namespace DB {

// A prepared statement. Whatever goes wrong is reported to its connection's transaction, and the statement then yields
// no row. Columns count from 0, parameters from 1; a parameter that was not bound is NULL.
class KX_EXPORT Statement {
 public:
  Statement() = default;
  Statement(Connection& connection, const char* sql);
  Statement(Statement&& other) noexcept;
  Statement& operator=(Statement&& other) noexcept;
  ~Statement();

  void bind(int parameter, std::int64_t value);
  // The text must stay until the statement has stepped.
  void bind(int parameter, const String& text);
  // Whether there is a row.
  bool step();
  // Back to the start, parameters unbound.
  void reset();

  // The value of a column; none where it is NULL or of another type.
  std::optional<std::int64_t> integer(int column) const;
  std::optional<String> text(int column) const;

 private:
  void check(int result);

  KXLWPtr<Connection> connection_;
  sqlite3_stmt* statement_ = nullptr;
};

}  // namespace DB
