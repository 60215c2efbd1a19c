// SPDX-License-Identifier: Apache-2.0
#include "platform/service/Factory.h"

#include <cinttypes>

namespace KX::NMS {

using Guard = std::lock_guard<std::recursive_mutex>;

ServiceFactoryIf::~ServiceFactoryIf() { Factory::INSTANCE().removeServiceFactory(this); }

// Never destroyed, so that factories with static storage find it whatever the order in which they end.
Factory& Factory::INSTANCE() {
  static Factory* const instance = new Factory;
  return *instance;
}

void Factory::registerServiceFactory(const String& name, Direction direction, Demand demand,
                                     ProtocolPhase protocolPhase, ServiceFactoryIf* factory) {
  const Guard guard(lock_);
  removeServiceFactory(factory);
  registrations_.add({name, direction, demand, protocolPhase, factory});
}

// From the back: who came last usually goes first.
void Factory::removeServiceFactory(const ServiceFactoryIf* factory) {
  const Guard guard(lock_);
  for (std::size_t i = registrations_.size(); i-- > 0;) {
    if (registrations_[i].factory == factory) return registrations_.removeAt(i);
  }
}

ServiceFactoryIf* Factory::find(const String& name) const {
  const Guard guard(lock_);
  for (std::size_t i = registrations_.size(); i-- > 0;) {
    if (registrations_[i].name == name) return registrations_[i].factory;
  }
  return nullptr;
}

KXVector<Factory::Registration> Factory::registrations() const {
  const Guard guard(lock_);
  return registrations_;
}

String Factory::nextInstanceName() {
  const Guard guard(lock_);
  return String::format("%" PRIu64, ++instances_);
}

void Factory::getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
                      const String& title) const {
  const Guard guard(lock_);
  if (level > maxLevel || column > maxColumn) return;
  container.add(level, column, String(title).append("Service factories"), String::format("%zu", registrations_.size()));
  if (level == maxLevel) return;
  for (const Registration& entry : registrations_) {
    container.add(level + 1, column, entry.name,
                  String::format("direction %u, demand %u, protocol phase %u", static_cast<unsigned>(entry.direction),
                                 static_cast<unsigned>(entry.demand), static_cast<unsigned>(entry.protocolPhase)));
  }
}

}  // namespace KX::NMS
