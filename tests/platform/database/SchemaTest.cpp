// SPDX-License-Identifier: Apache-2.0
#include "DatabaseFixture.h"
#include "platform/database/Schema.h"

namespace {

class SchemaTest : public DatabaseFixture {
 protected:
  std::string openErrorAfter(const char* change) {
    file_.setBytes({});
    file_.execute(DeviceFile::TABLES);
    file_.execute(change);
    return openError();
  }
};

TEST_F(SchemaTest, EveryTableMustBeThere) {
  for (const char* table : {"context_ip", "dyn_if", "ip_interface", "ip_interface_address"}) {
    const std::string name(table);
    file_.execute(DeviceFile::TABLES + ("DROP TABLE " + name));
    EXPECT_EQ(openError(), "No table " + name);
    file_.setBytes({});
  }
}

TEST_F(SchemaTest, EveryColumnMustBeThere) {
  const std::pair<const char*, const char*> columns[] = {
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
  for (const auto& [table, column] : columns) {
    file_.execute(DeviceFile::TABLES);
    file_.execute(std::string("ALTER TABLE ") + table + " RENAME COLUMN " + column + " TO other");
    EXPECT_EQ(openError(), std::string("No column ") + column + " in table " + table);
    file_.setBytes({});
  }
}

TEST_F(SchemaTest, IdMustBeTheIntegerKey) {
  EXPECT_EQ(openErrorAfter("DROP TABLE dyn_if; CREATE TABLE dyn_if (id TEXT PRIMARY KEY, name TEXT)"),
            "No integer key id in table dyn_if");
  EXPECT_EQ(openErrorAfter("DROP TABLE dyn_if; CREATE TABLE dyn_if (id INTEGER, name TEXT)"),
            "No integer key id in table dyn_if");
  EXPECT_EQ(openErrorAfter("DROP TABLE dyn_if; CREATE TABLE dyn_if (name TEXT)"), "No integer key id in table dyn_if");
}

TEST_F(SchemaTest, AViewIsNoTable) {
  EXPECT_EQ(openErrorAfter("DROP TABLE dyn_if; CREATE VIEW dyn_if AS SELECT 1 AS id, 'eth0' AS name"),
            "No table dyn_if");
}

TEST_F(SchemaTest, AVirtualTableIsNoTable) {
  EXPECT_EQ(openErrorAfter("DROP TABLE dyn_if; CREATE VIRTUAL TABLE dyn_if USING fts5(id, name)"), "No table dyn_if");
}

TEST_F(SchemaTest, OtherTablesColumnsTypesAndCaseAreWelcome) {
  file_.execute(
      "CREATE TABLE Context_IP (Name VARCHAR(20), ID integer primary key, object_type, object_status SMALLINT, more);"
      "CREATE TABLE dyn_if (id INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT UNIQUE) STRICT;"
      "CREATE TABLE ip_interface (id INTEGER PRIMARY KEY, context_ip_id INT REFERENCES Context_IP, object_type INT, "
      "object_status INT, name TEXT, dyn_if_id INT REFERENCES dyn_if, if_state INT CHECK (if_state < 9));"
      "CREATE TABLE ip_interface_address (id INTEGER PRIMARY KEY, ip_interface_id INT, object_type INT, "
      "object_status INT, subnet TEXT);"
      "CREATE TABLE further (x); CREATE INDEX i ON ip_interface (context_ip_id); CREATE VIEW v AS SELECT * FROM "
      "further;"
      "CREATE TRIGGER t AFTER INSERT ON further BEGIN DELETE FROM further; END;"
      "INSERT INTO Context_IP VALUES ('c', 1, 2, 10, NULL)");
  ASSERT_TRUE(database_.open(file_.path()).isSuccess());
  EXPECT_EQ(walk().text, "context c\n");
}

TEST_F(SchemaTest, TheTablesMadeInMemoryAreThoseThatAFileMustHold) {
  KXLWPtr<DB::Connection> connection(new DB::Connection("memory"_s));
  ASSERT_TRUE(connection->openInMemory().isSuccess());
  ASSERT_TRUE(connection->start().isSuccess());
  DB::Schema::verify(*connection);
  EXPECT_TRUE(connection->commit().isSuccess());
}

}  // namespace
