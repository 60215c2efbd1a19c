// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "platform/base/Export.h"
#include "platform/base/XCode.h"
#include "platform/database/Database.h"
#include "platform/database/KernelTables.h"
#include "platform/database/NetlinkSocket.h"
#include "platform/loop/KXEventLoop.h"

namespace DB {

// Keeps an in-memory database equal to the kernel's interfaces and their IPv4 addresses, in the network namespace of
// the thread that starts it. Changes are followed on the loop and reach the tables with the next transaction. When the
// kernel had more to tell than could be held, the next transaction reads everything anew; so does every one on a loop
// that cannot watch the socket. The host owns it; loop and database outlive it.
class KX_EXPORT KernelInterfaces final : private Database::Source {
 public:
  KernelInterfaces(KXEventLoop& loop, Database& database) : loop_(loop), database_(database) {}
  KernelInterfaces(const KernelInterfaces&) = delete;
  KernelInterfaces& operator=(const KernelInterfaces&) = delete;
  ~KernelInterfaces();

  // Makes the database an in-memory one and reads the interfaces.
  [[nodiscard]] XCode start();

 private:
  XCode update(Connection& connection) override;
  XCode read();
  XCode readOnce(bool& isComplete);
  XCode list(std::uint32_t sequence, bool& isComplete);
  void follow();
  void unfollow();
  void onReadable();
  void apply(const KXVector<Netlink::Message>& messages);

  KXEventLoop& loop_;
  Database& database_;
  KernelTables tables_;
  bool isChanged_ = false;
  Netlink::Socket socket_;
  std::unique_ptr<KX::WatchEvent> watch_;  // null while everything must be read anew
};

}  // namespace DB
