// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "discovery/repository/ServiceTables.h"

namespace {

using KX::NMS::Discovery::Service;
using KX::NMS::Discovery::ServiceTables;
using Table = KXStringHashTable<Service>;

// Of texts of its own.
Table table(std::initializer_list<Service> services) {
  Table result;
  for (const Service& service : services) {
    const String name(service.name.view());
    result.set(name, {name, service.port});
  }
  return result;
}

TEST(ServiceTablesTest, EqualTablesShare) {
  ServiceTables tables;
  Table first = table({{"http", 80}, {"snmp", 161}});
  Table second = table({{"snmp", 161}, {"http", 80}});
  EXPECT_FALSE(second.isSharedWith(first));
  tables.share(first);
  tables.share(second);
  EXPECT_TRUE(second.isSharedWith(first));
}

TEST(ServiceTablesTest, TablesThatDifferInAnythingDoNot) {
  ServiceTables tables;
  Table known = table({{"http", 80}, {"snmp", 161}});
  tables.share(known);
  for (const Table& given : {table({{"http", 80}}), table({{"http", 80}, {"sip", 161}}),
                             table({{"http", 161}, {"snmp", 80}}), table({{"http", 80}, {"snmp", 161}, {"ping", 0}})}) {
    Table other = given;
    tables.share(other);
    EXPECT_TRUE(other == given);
    EXPECT_FALSE(other.isSharedWith(known));
  }
  // The same on the wire, but kept under another key.
  Table renamed;
  renamed.set("web", {"http", 80});
  Table plain = table({{"http", 80}});
  tables.share(plain);
  tables.share(renamed);
  EXPECT_FALSE(renamed.isSharedWith(plain));
  EXPECT_NE(renamed.find("web"), nullptr);
}

TEST(ServiceTablesTest, TableThatWouldGrowInAnotherOrderDoesNotShare) {
  ServiceTables tables;
  Table usual = table({{"http", 80}});
  Table other(7);
  other.set("http", {"http", 80});
  tables.share(usual);
  tables.share(other);
  EXPECT_FALSE(other.isSharedWith(usual));
}

TEST(ServiceTablesTest, EmptyAndLargeTablesAreLeftAlone) {
  ServiceTables tables;
  Table empty;
  tables.share(empty);
  EXPECT_TRUE(empty.isEmpty());
  const auto large = [] {
    Table result;
    for (unsigned i = 0; i < 100; ++i) {
      const String name(std::to_string(i).c_str());
      result.set(name, {name, 1});
    }
    return result;
  };
  Table first = large();
  Table second = large();
  tables.share(first);
  tables.share(second);
  EXPECT_FALSE(second.isSharedWith(first));
}

}  // namespace
