// SPDX-License-Identifier: Apache-2.0
#include "platform/database/Schema.h"

#include <sqlite3.h>
#include <strings.h>

#include <cstdlib>

#include "platform/database/Connection.h"
#include "platform/database/Statement.h"

namespace DB::Schema {

namespace {

constexpr char CREATE[] =
    "CREATE TABLE context_ip (id INTEGER PRIMARY KEY, object_type INTEGER, object_status INTEGER, name TEXT);"
    "CREATE TABLE dyn_if (id INTEGER PRIMARY KEY, name TEXT);"
    "CREATE TABLE ip_interface (id INTEGER PRIMARY KEY, context_ip_id INTEGER, object_type INTEGER,"
    " object_status INTEGER, name TEXT, dyn_if_id INTEGER, if_state INTEGER);"
    "CREATE TABLE ip_interface_address (id INTEGER PRIMARY KEY, ip_interface_id INTEGER, object_type INTEGER,"
    " object_status INTEGER, subnet TEXT);"
    "CREATE INDEX ip_interface_address_parent ON ip_interface_address (ip_interface_id);";

constexpr char DROP_COPY[] = "DROP TABLE IF EXISTS temp.ip_interface_address";
constexpr char COPY[] =
    "PRAGMA temp_store = MEMORY;"
    "CREATE TEMP TABLE ip_interface_address AS"
    " SELECT id, ip_interface_id, object_type, object_status, subnet FROM main.ip_interface_address;"
    "CREATE INDEX temp.ip_interface_address_parent ON ip_interface_address (ip_interface_id, id);";

// So few rows are walked again and again in a moment; so many would take 10 MB.
constexpr unsigned FEWEST_COPIED = 500;
constexpr unsigned MOST_COPIED = 100'000;

struct Column {
  const char* table;
  const char* name;
};

constexpr const char* TABLES[] = {"context_ip", "dyn_if", "ip_interface", "ip_interface_address"};

constexpr Column COLUMNS[] = {
    {"context_ip", "object_type"},
    {"context_ip", "object_status"},
    {"context_ip", "name"},
    {"dyn_if", "name"},
    {"ip_interface", "context_ip_id"},
    {"ip_interface", "object_type"},
    {"ip_interface", "object_status"},
    {"ip_interface", "name"},
    {"ip_interface", "dyn_if_id"},
    {"ip_interface", "if_state"},
    {"ip_interface_address", "ip_interface_id"},
    {"ip_interface_address", "object_type"},
    {"ip_interface_address", "object_status"},
    {"ip_interface_address", "subnet"},
};

// Views and virtual tables have no page of their own.
bool hasTable(Connection& connection, const char* name) {
  const String text(name);
  Statement statement(connection,
                      "SELECT 1 FROM sqlite_schema WHERE type = 'table' AND rootpage > 0 AND lower(name) = ?1");
  statement.bind(1, text);
  return statement.step();
}

// Without a report: the walk itself meets whatever is wrong.
bool run(const Connection& connection, const char* sql, int (*onRow)(void*, int, char**, char**) = nullptr,
         void* context = nullptr) {
  return sqlite3_exec(connection.handle(), sql, onRow, context, nullptr) == SQLITE_OK;
}

int readCount(void* count, int, char** values, char**) {
  *static_cast<unsigned*>(count) =
      values[0] == nullptr ? 0 : static_cast<unsigned>(std::strtoul(values[0], nullptr, 10));
  return 0;
}

bool hasColumn(Connection& connection, const Column& column) {
  return sqlite3_table_column_metadata(connection.handle(), "main", column.table, column.name, nullptr, nullptr,
                                       nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool hasIntegerKey(Connection& connection, const char* table) {
  const char* type = nullptr;
  int isKey = 0;
  return sqlite3_table_column_metadata(connection.handle(), "main", table, "id", &type, nullptr, nullptr, &isKey,
                                       nullptr) == SQLITE_OK &&
         type != nullptr && strcasecmp(type, "INTEGER") == 0 && isKey != 0;
}

}  // namespace

void create(Connection& connection) { connection.execute(CREATE); }

void verify(Connection& connection) {
  for (const char* table : TABLES) {
    if (!hasTable(connection, table)) return connection.reportFailure(String::format("No table %s", table));
    if (!hasIntegerKey(connection, table)) {
      return connection.reportFailure(String::format("No integer key id in table %s", table));
    }
  }
  for (const Column& column : COLUMNS) {
    if (!hasColumn(connection, column)) {
      return connection.reportFailure(String::format("No column %s in table %s", column.name, column.table));
    }
  }
}

void indexAddresses(Connection& connection) {
  const String counting =
      String::format("SELECT count(*) FROM (SELECT 1 FROM main.ip_interface_address LIMIT %u)", MOST_COPIED + 1);
  unsigned count = 0;
  if (!run(connection, counting.c_str(), readCount, &count) || count < FEWEST_COPIED || count > MOST_COPIED) return;
  if (!run(connection, COPY)) dropIndex(connection);
}

void dropIndex(Connection& connection) { static_cast<void>(run(connection, DROP_COPY)); }

}  // namespace DB::Schema
