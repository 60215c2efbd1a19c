// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utility>

#include "platform/service/Factory.h"

namespace KX::NMS {

// Creates services of the class T, which is constructed from instance name and channel, and shows each new one to its
// owner before it is started. The owner registers the factory, usually as a member of itself.
template <class T>
class ServiceFactory final : public ServiceFactoryIf {
 public:
  using CreationHook = KX::Function<XCode(KXPPtr<T>)>;

  ServiceFactory(const String& serviceName, Direction direction, CreationHook onCreated)
      : serviceName_(serviceName), direction_(direction), onCreated_(std::move(onCreated)) {}

  const String& serviceName() const { return serviceName_; }
  Direction direction() const { return direction_; }

  // The result is the hook's.
  XCode createService(const String& instanceName, IChannel* channel, KXPPtr<CService>& service) override {
    const KXPPtr<T> created(new T(instanceName, channel));
    service = created;
    return onCreated_(created);
  }

 private:
  String serviceName_;
  Direction direction_;
  CreationHook onCreated_;
};

}  // namespace KX::NMS
