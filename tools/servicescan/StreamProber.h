// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <unordered_map>

#include "platform/loop/KXEventLoop.h"
#include "tools/servicescan/Prober.h"
#include "tools/servicescan/Transport.h"

namespace ServiceScan {

// HTTP, plain or over TLS: any well-formed response to a GET. Each probe is a connection of its own, which ends with
// the head of the response.
class StreamProber final : public Prober {
 public:
  StreamProber(KXEventLoop& loop, Outcome& outcome, const Targets& targets, Service service);
  ~StreamProber() override;

  bool start(ProbeIndex probe) override;
  void flush() override {}
  bool isToRepeat() const override { return false; }
  String giveUp(ProbeIndex probe) override;

 private:
  class Connection;
  void end(ProbeIndex probe, const String& reason);

  KXEventLoop& loop_;
  Outcome& outcome_;
  const Targets& targets_;
  std::unique_ptr<TlsClient> tls_;  // null: plain
  std::size_t sessions_ = 0;        // of TLS, at present
  std::unordered_map<ProbeIndex, std::unique_ptr<Connection>> connections_;
};

}  // namespace ServiceScan
