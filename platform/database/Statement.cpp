// SPDX-License-Identifier: Apache-2.0
#include "platform/database/Statement.h"

#include <sqlite3.h>

#include <utility>

namespace DB {

Statement::Statement(Connection& connection, const char* sql) : connection_(&connection) {
  check(sqlite3_prepare_v2(connection.handle(), sql, -1, &statement_, nullptr));
}

Statement::Statement(Statement&& other) noexcept
    : connection_(std::move(other.connection_)), statement_(std::exchange(other.statement_, nullptr)) {}

Statement& Statement::operator=(Statement&& other) noexcept {
  std::swap(connection_, other.connection_);
  std::swap(statement_, other.statement_);
  return *this;
}

Statement::~Statement() { sqlite3_finalize(statement_); }

void Statement::bind(int parameter, std::int64_t value) {
  if (statement_ != nullptr) check(sqlite3_bind_int64(statement_, parameter, value));
}

void Statement::bind(int parameter, const String& text) {
  if (statement_ == nullptr) return;
  check(sqlite3_bind_text64(statement_, parameter, text.c_str(), text.length(), nullptr, SQLITE_UTF8));
}

bool Statement::step() {
  if (statement_ == nullptr) return false;
  const int result = sqlite3_step(statement_);
  if (result == SQLITE_ROW) return true;
  if (result != SQLITE_DONE) check(result);
  return false;
}

void Statement::reset() {
  if (statement_ == nullptr) return;
  // It reports once more what the step has reported.
  static_cast<void>(sqlite3_reset(statement_));
  static_cast<void>(sqlite3_clear_bindings(statement_));
}

std::optional<std::int64_t> Statement::integer(int column) const {
  if (sqlite3_column_type(statement_, column) != SQLITE_INTEGER) return std::nullopt;
  return sqlite3_column_int64(statement_, column);
}

std::optional<String> Statement::text(int column) const {
  if (sqlite3_column_type(statement_, column) != SQLITE_TEXT) return std::nullopt;
  const unsigned char* text = sqlite3_column_text(statement_, column);
  if (text == nullptr) return std::nullopt;
  const auto length = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
  return String(reinterpret_cast<const char*>(text), length);
}

void Statement::check(int result) {
  if (result != SQLITE_OK) connection_->reportFailure(result);
}

}  // namespace DB
