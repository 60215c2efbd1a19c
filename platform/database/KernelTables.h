// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <set>

#include "platform/base/String.h"
#include "platform/database/NetlinkMessages.h"

namespace DB {

class Connection;

// The kernel's interfaces as they are known from its messages, and as rows of the configuration database: one context
// "kernel", and an interface and its device for every network device but loopback. Ids are the kernel's interface
// indices, so that the order is that of "ip link", whatever order the messages came in, and is the same after a
// restart.
class KernelTables {
 public:
  void clear() { interfaces_.clear(); }
  // Whether this changed anything. What belongs to no known interface does not.
  bool apply(const Netlink::Message& message);
  // Replaces all rows; inside a transaction, to which trouble is reported.
  void write(Connection& connection) const;

 private:
  struct Interface {
    String name;
    bool isUp = false;
    std::set<Netlink::Address> addresses;
  };

  bool applyLink(const Netlink::Message& message);

  std::map<int, Interface> interfaces_;
};

}  // namespace DB
