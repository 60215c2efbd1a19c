// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/client/CClient.h"
#include "platform/service/ServiceSession.h"

// One agent's half of a link, without a link: a message goes in as text, what is sent is kept as text.
class Device {
 public:
  Device();

  // Leaves the answer in sent().
  void receive(const String& message) { session_.receive(message); }
  const String& sent() const { return transport_.text; }
  void dropSent() { transport_.text = String(); }
  KX::NMS::Discovery::CClientDiscoveryService& service() { return *service_; }

  KX::NMS::Discovery::Repository repository;

 private:
  struct LastMessage final : KX::NMS::ITransport {
    XCode send(const String& message) override {
      text = message;
      return XCode();
    }
    String text;
  };

  KXPPtr<KX::NMS::Discovery::CClient> client_;
  LastMessage transport_;
  KX::NMS::ServiceSession session_;
  // A second one, on the same repository, whose operations can be called.
  KXPPtr<KX::NMS::Discovery::CClientDiscoveryService> service_;
};
