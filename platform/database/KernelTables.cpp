// SPDX-License-Identifier: Apache-2.0
#include "platform/database/KernelTables.h"

#include <net/if.h>

#include "platform/database/Connection.h"
#include "platform/database/Fields.h"
#include "platform/database/Statement.h"

namespace DB {

namespace {

constexpr std::int64_t CONTEXT_ID = 1;
constexpr auto TYPE = static_cast<std::int64_t>(ObjectType_::INSTANCE);
constexpr auto STATUS = static_cast<std::int64_t>(ObjectStatus_::ACTIVE);

// Binds the values in their order and runs the statement.
template <class... Values>
void insert(Statement& statement, const Values&... values) {
  int parameter = 0;
  (statement.bind(++parameter, values), ...);
  static_cast<void>(statement.step());
  statement.reset();
}

String subnetText(const Netlink::Address& address) {
  const std::uint32_t a = address.local;
  return String::format("%u.%u.%u.%u/%u", a >> 24U, (a >> 16U) & 0xFFU, (a >> 8U) & 0xFFU, a & 0xFFU, address.prefix);
}

}  // namespace

bool KernelTables::apply(const Netlink::Message& message) {
  using Kind = Netlink::Message::Kind;
  if (message.kind == Kind::LINK) return applyLink(message);
  const auto found = interfaces_.find(message.index);
  if (found == interfaces_.end()) return false;
  switch (message.kind) {
    case Kind::LINK_GONE:
      interfaces_.erase(found);
      return true;
    case Kind::ADDRESS:
      return found->second.addresses.insert(message.address).second;
    case Kind::ADDRESS_GONE:
      return found->second.addresses.erase(message.address) != 0;
    default:
      return false;
  }
}

// A device that is renamed keeps its index, and with it its addresses.
bool KernelTables::applyLink(const Netlink::Message& message) {
  if ((message.flags & IFF_LOOPBACK) != 0) return false;
  constexpr unsigned UP_AND_RUNNING = IFF_UP | IFF_RUNNING;
  const bool isUp = (message.flags & UP_AND_RUNNING) == UP_AND_RUNNING;
  const auto [found, isNew] = interfaces_.try_emplace(message.index);
  Interface& interface = found->second;
  const bool isChanged = isNew || interface.name != message.name || interface.isUp != isUp;
  interface.name = message.name;
  interface.isUp = isUp;
  return isChanged;
}

void KernelTables::write(Connection& connection) const {
  connection.execute(
      "DELETE FROM context_ip; DELETE FROM dyn_if; DELETE FROM ip_interface; DELETE FROM ip_interface_address;");
  Statement context(connection, "INSERT INTO context_ip (id, object_type, object_status, name) VALUES (?, ?, ?, ?)");
  Statement device(connection, "INSERT INTO dyn_if (id, name) VALUES (?, ?)");
  Statement interface(connection,
                      "INSERT INTO ip_interface (id, context_ip_id, object_type, object_status, name, dyn_if_id, "
                      "if_state) VALUES (?, ?, ?, ?, ?, ?, ?)");
  Statement address(connection,
                    "INSERT INTO ip_interface_address (ip_interface_id, object_type, object_status, subnet) "
                    "VALUES (?, ?, ?, ?)");
  insert(context, CONTEXT_ID, TYPE, STATUS, "kernel"_s);
  for (const auto& [index, each] : interfaces_) {
    const std::int64_t id = index;
    const auto state = static_cast<std::int64_t>(each.isUp ? IpIfState_::UP : IpIfState_::DOWN);
    insert(device, id, each.name);
    insert(interface, id, CONTEXT_ID, TYPE, STATUS, each.name, id, state);
    for (const Netlink::Address& entry : each.addresses) insert(address, id, TYPE, STATUS, subnetText(entry));
  }
}

}  // namespace DB
