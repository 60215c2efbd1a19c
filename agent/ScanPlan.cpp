// SPDX-License-Identifier: Apache-2.0
#include "agent/ScanPlan.h"

#include <utility>

using KX::Property::Value;

namespace {

using Services = KXVector<ServicePort>;

Services chooseServices(const Options& options) {
  if (!options.services.isEmpty()) return options.services;
  Services services;
  for (const ServicePort& service : KNOWN_SERVICES) services.add(service);
  return services;
}

Value describeNodeScanBy(const KXVector<String>& expressions) {
  Value description = Value::object(2);
  description["scanType"_s] = "node"_s;
  if (expressions.isEmpty()) return description;
  Value rules = Value::array(expressions.size());
  for (const String& expression : expressions) {
    Value rule = Value::object(2);
    rule["regex"_s] = expression;
    rule["privateNetworksOnly"_s] = false;
    rules.add(rule);
  }
  description["interfaces"_s] = rules;
  return description;
}

// An expression that matches this text only.
String quote(const String& text) {
  String quoted("^");
  for (const char character : text.view()) {
    const auto byte = static_cast<unsigned char>(character);
    const bool isPlain = byte >= 0x80 || (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') ||
                         (byte >= 'A' && byte <= 'Z') || byte == '_';
    if (!isPlain) quoted.append("\\");
    quoted.append(std::string_view(&character, 1));
  }
  return quoted.append("$");
}

}  // namespace

Value describeNodeScan(const Options& options) { return describeNodeScanBy(options.interfaces); }

Value describeNodeScanOf(const String& interface) {
  KXVector<String> expressions;
  expressions.add(quote(interface));
  return describeNodeScanBy(expressions);
}

Value describeServiceScan(const Options& options) {
  Value ports = Value::object(KNOWN_SERVICES.size());
  for (const ServicePort& service : chooseServices(options)) ports[service.name]["ports"_s].add(service.port);
  Value description = Value::object(3);
  description["scanType"_s] = "service"_s;
  description["onlyWhenNeeded"_s] = true;
  description["services"_s] = ports;
  return description;
}

// A node is asked for one service, the first of these that it has. A ping comes first: it asks the node itself and not
// one of its programs, and costs it least.
Value describeStatusScan(const Options& options) {
  Value present = Value::object(KNOWN_SERVICES.size());
  for (const ServicePort& service : chooseServices(options)) present[service.name] = true;
  Value priorities = Value::array(KNOWN_SERVICES.size());
  if (present.find("ping") != nullptr) priorities.add("ping"_s);
  for (const auto& [name, value] : std::as_const(present).members()) {
    if (!(name == "ping")) priorities.add(name);
  }
  Value description = Value::object(2);
  description["scanType"_s] = "status"_s;
  description["servicePriorities"_s] = priorities;
  return description;
}

String describeServices(const Options& options) {
  String text;
  for (const ServicePort& service : chooseServices(options)) {
    text.concatf("%s%s", text.isEmpty() ? "" : " ", service.name);
    if (service.port != 0) text.concatf(":%u", unsigned{service.port});
  }
  return text;
}
