// SPDX-License-Identifier: Apache-2.0
#include "discovery/repository/Node.h"

#include <utility>

#include "discovery/common/Nesting.h"
#include "platform/text/Utf8.h"

namespace KX::NMS::Discovery {
namespace {

unsigned nesting = 0;
// Room for what most nodes have; one with an object identifier or onboarding needs more.
constexpr std::size_t MOST_MEMBERS = 7;

void addUnlessEmpty(Property::Value& object, String key, const String& text) {
  if (!text.isEmpty()) object.addMember(std::move(key), text);
}

// A name of the wire as a string that needs no memory.
String statusText(NodeStatus status) {
  switch (status) {
    case NodeStatus::DOWN:
      return "down"_s;
    case NodeStatus::UP:
      return "up"_s;
    default:
      return KXEnumInfo<NodeStatus>::nameOrEmpty(status);
  }
}

// Whether the new text reads differently on the wire, where bytes that are no UTF-8 all read the same.
bool replace(String& text, const String& by) {
  if (by.isEmpty() || text == by) return false;
  const bool differs = !(toValidUtf8(text) == toValidUtf8(by));
  text = by;
  return differs;
}

bool isNamedByKey(const KXStringHashTable<Service>& services) {
  for (const auto& entry : services) {
    if (!(entry.value.name == entry.key)) return false;
  }
  return true;
}

}  // namespace

Property::Value Node::toPropertyValue(ServiceSelector selector) const {
  WireObjects objects;
  return toPropertyValue(selector, objects);
}

Property::Value Node::toPropertyValue(ServiceSelector selector, WireObjects& objects) const {
  Property::Value value = objects.object(MOST_MEMBERS);
  value.addMember("ipAddress"_s, ipAddress_);
  addUnlessEmpty(value, "physicalAddress"_s, physicalAddress_);
  addUnlessEmpty(value, "interface"_s, interface_);
  addUnlessEmpty(value, "model"_s, model_);
  addUnlessEmpty(value, "systemObjectID"_s, systemObjectID_);
  if (supportsOnboarding_) value.addMember("supportsOnboarding"_s, true);
  value.addMember("status"_s, statusText(status_));
  if (statusChangeDate_.isValid()) {
    value.addMember("statusChangeDate"_s, statusChangeDate_.utc().toString(Clock::MACHINE));
  }
  if (selector == WithServices && !services_.isEmpty()) value.addMember("services"_s, objects.services(services_));
  return value;
}

bool Node::update(const KXStringHashTable<Service>& services, const String& model, const String& systemObjectID) {
  const bool isModelNew = replace(model_, model);
  const bool isObjectNew = replace(systemObjectID_, systemObjectID);
  return updateServices(services) || isModelNew || isObjectNew;
}

bool Node::updateServices(const KXStringHashTable<Service>& services) {
  if (services_.isSharedWith(services)) return false;
  // On the wire a service stands under its name. Where that is not its key, services may hide each other there, and
  // only the texts can tell.
  const bool isSimple = isNamedByKey(services) && isNamedByKey(services_);
  const String before = isSimple ? String() : toPropertyValue(WithServices).toJson();
  bool differs = false;
  for (const auto& entry : services) {
    const Service* known = std::as_const(services_).find(entry.key);
    differs = differs || known == nullptr || known->port != entry.value.port;
  }
  if (differs || !isSimple) services_.setAll(services);
  return isSimple ? differs : !(toPropertyValue(WithServices).toJson() == before);
}

void Node::getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
                   const String& title) const {
  const Nesting scope(nesting);
  if (level <= maxLevel && column <= maxColumn) {
    const String label = String::format("%s%s Node", title.c_str(), discovered_ ? "Discovered" : "Manual");
    container.add(level, column, label,
                  String::format("%s%s", ipAddress_.c_str(), recentlyAdded_ ? " (recently added)" : ""));
  }
  if (level + 1 <= maxLevel && column <= maxColumn) addDetails(container, level + 1, column);
  if (!scope.isOutermost()) return;
  for (const auto& entry : services_) {
    entry.value.getInfo(container, maxLevel, level + 1, maxColumn, column + 1, String());
  }
}

void Node::addDetails(InfoContainer& container, unsigned level, unsigned column) const {
  const auto addUnlessEmpty = [&](const String& label, const String& value) {
    if (!value.isEmpty()) container.add(level, column, label, value);
  };
  addUnlessEmpty("Physical Address"_s, physicalAddress_);
  addUnlessEmpty("Interface"_s, interface_);
  addUnlessEmpty("Model"_s, model_);
  addUnlessEmpty("System Object ID"_s, systemObjectID_);
  if (supportsOnboarding_) container.add(level, column, "Onboarding"_s, "supported"_s);
  container.add(level, column, "Status"_s,
                String::format("%s%s", KXEnumInfo<NodeStatus>::nameOrEmpty(status_),
                               recentlyChanged_ ? " (recently changed)" : ""));
  container.add(level, column, "Status Changed"_s, statusChangeDate_.toString(Clock::HUMAN));
  if (pendingServiceScans_ != 0) {
    container.add(level, column, "Pending Service Scans"_s, String::format("%u", pendingServiceScans_));
  }
}

}  // namespace KX::NMS::Discovery
