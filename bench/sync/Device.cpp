// SPDX-License-Identifier: Apache-2.0
#include "bench/sync/Device.h"

#include <cstdlib>

using KX::NMS::Discovery::CClient;
using KX::NMS::Discovery::CClientDiscoveryService;

Device::Device()
    : client_(new CClient("bench"_s, repository, KX::Function<void()>(), KX::Function<void(KX::Property::Value)>())),
      session_({client_->serviceFactory(), "discovery"_s, 0}, transport_) {
  KXPPtr<KX::NMS::CService> created;
  const bool isCreated = client_->serviceFactory().createService("2"_s, nullptr, created).isSuccess();
  if (!isCreated || session_.open().isErr()) std::abort();
  service_ = KXPPtr<CClientDiscoveryService>(static_cast<CClientDiscoveryService*>(created.get()));
}
