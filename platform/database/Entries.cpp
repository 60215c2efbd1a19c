// SPDX-License-Identifier: Apache-2.0
#include "platform/database/Entries.h"

#include "platform/database/Queries.h"
#include "platform/database/Statement.h"

namespace DB {

template <>
Ptr<Entry::DynIf> Reference<Entry::DynIf>::load() const {
  return firstRow<Entry::DynIf>({id_});
}

namespace Entry {

// Plus signs take the declared type of a column out of the comparison, so that no text is taken for a number. Parents
// are checked by typeof instead, which leaves the use of an index.
const char ContextIp::QUERY[] =
    "SELECT id, name FROM context_ip WHERE +object_type = ?1 AND +object_status = ?2 ORDER BY id";

const char DynIf::QUERY[] = "SELECT id, name FROM dyn_if WHERE id = ?1";

const char IpInterface::QUERY[] =
    "SELECT id, name, dyn_if_id, if_state FROM ip_interface"
    " WHERE context_ip_id = ?1 AND typeof(context_ip_id) = 'integer' AND +object_type = ?2 AND +object_status = ?3"
    " ORDER BY id";

const char IpInterfaceAddress::QUERY[] =
    "SELECT id, subnet FROM ip_interface_address"
    " WHERE ip_interface_id = ?1 AND typeof(ip_interface_id) = 'integer' AND +object_type = ?2 AND +object_status = ?3"
    " ORDER BY id";

Row::Row(const Statement& row) : id_(row.integer(0).value_or(0)) {}

ContextIp::ContextIp(const Statement& row) : Row(row), name(row.text(1)) {}

DynIf::DynIf(const Statement& row) : Row(row), name(row.text(1)) {}

IpInterface::IpInterface(const Statement& row)
    : Row(row), name(row.text(1)), dynIf(row.integer(2)), state(row.integer(3)) {}

IpInterfaceAddress::IpInterfaceAddress(const Statement& row) : Row(row), subnet(row.text(1)) {}

XCode IpSubnet::get(IpAddress& address) const {
  return stored_ ? address.setSubnetAsString(*stored_) : XCode::error("No subnet");
}

}  // namespace Entry
}  // namespace DB
