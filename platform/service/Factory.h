// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <mutex>

#include "platform/base/Export.h"
#include "platform/base/KXPtr.h"
#include "platform/base/KXVector.h"
#include "platform/base/XCode.h"
#include "platform/monitor/InfoContainer.h"
#include "platform/service/CService.h"

namespace KX::NMS {

// How a service comes to be open. A registration states it for whoever reads the registry; sessions are opened by the
// links.
enum class Direction : unsigned { OPENED_BY_SERVER = 0 };
enum class Demand : unsigned { ON_REQUEST = 1 };
// The phase of the connection's protocol in which the service may be opened.
enum class ProtocolPhase : unsigned { OPEN = 4 };

// Creates the instances of one service. Not copied; a factory leaves the registry when it is destroyed, and must
// outlive the sessions that name it.
class KX_EXPORT ServiceFactoryIf {
 public:
  ServiceFactoryIf() = default;
  ServiceFactoryIf(const ServiceFactoryIf&) = delete;
  ServiceFactoryIf& operator=(const ServiceFactoryIf&) = delete;

  // The service is handed out even where the result is an error.
  virtual XCode createService(const String& instanceName, IChannel* channel, KXPPtr<CService>& service) = 0;

 protected:
  virtual ~ServiceFactoryIf();
};

// The process-wide registry of service factories. Several may carry one name, since a process may hold thousands of
// clients: whoever opens a session names the factory. Every operation takes the lock itself; a caller that needs
// several in one takes it around them. Any thread.
class KX_EXPORT Factory final : public IInfo {
 public:
  struct Registration {
    String name;
    Direction direction;
    Demand demand;
    ProtocolPhase protocolPhase;
    ServiceFactoryIf* factory;
  };

  static Factory& INSTANCE();
  std::recursive_mutex& getLock() const { return lock_; }

  // The factory is not owned. Registering it again changes its registration.
  void registerServiceFactory(const String& name, Direction direction, Demand demand, ProtocolPhase protocolPhase,
                              ServiceFactoryIf* factory);
  void removeServiceFactory(const ServiceFactoryIf* factory);

  // The factory registered last under the name, or null: right after a client was created, that client's.
  ServiceFactoryIf* find(const String& name) const;
  // All of them, in the order of registration.
  KXVector<Registration> registrations() const;

  // The name of the next service instance: "1", "2", ...
  String nextInstanceName();

  void getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
               const String& title) const override;

 private:
  Factory() = default;
  ~Factory() = default;

  mutable std::recursive_mutex lock_;
  KXVector<Registration> registrations_;
  std::uint64_t instances_ = 0;
};

}  // namespace KX::NMS
