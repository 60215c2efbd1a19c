// SPDX-License-Identifier: Apache-2.0
#pragma once

// The tables of the device configuration database. Both operations run inside a transaction and report to it.
namespace DB {

class Connection;

namespace Schema {

void create(Connection& connection);
// Every table must be there, as a table and not as a view or a virtual one, with its columns under any declared type
// (types are checked value by value) and with id as its integer key. Further tables and columns are welcome.
void verify(Connection& connection);
// The queries ask for the addresses of one interface after another, and a file need not have an index for that. Where
// it holds many, but no more than memory has room for, they are copied for the transaction, with an index; the queries
// find the copy under the name of the table. What cannot be copied is read from the file.
void indexAddresses(Connection& connection);
// Drops the copy, if any.
void dropIndex(Connection& connection);

}  // namespace Schema
}  // namespace DB
