// SPDX-License-Identifier: Apache-2.0
#include "agent/ScanPlan.h"

using KX::Property::Value;

namespace {

using Services = KXVector<ServicePort>;

Services chooseServices(const Options& options) {
  if (!options.services.isEmpty()) return options.services;
  Services services;
  for (const ServicePort& service : KNOWN_SERVICES) services.add(service);
  return services;
}

Value describeNodeScan(const Options& options) {
  Value description = Value::object(2);
  description["scanType"_s] = "node"_s;
  if (options.interfaces.isEmpty()) return description;
  Value rules = Value::array(options.interfaces.size());
  for (const String& expression : options.interfaces) {
    Value rule = Value::object(2);
    rule["regex"_s] = expression;
    rule["privateNetworksOnly"_s] = false;
    rules.add(rule);
  }
  description["interfaces"_s] = rules;
  return description;
}

Value describeServiceScan(const Services& services) {
  Value ports = Value::object(KNOWN_SERVICES.size());
  for (const ServicePort& service : services) ports[service.name]["ports"_s].add(service.port);
  Value description = Value::object(2);
  description["scanType"_s] = "service"_s;
  description["services"_s] = ports;
  return description;
}

// A node is asked for one service, the first of these that it has. A ping comes first: it asks the node itself and not
// one of its programs, and costs it least.
Value describeStatusScan(const Services& services) {
  Value present = Value::object(KNOWN_SERVICES.size());
  for (const ServicePort& service : services) present[service.name] = true;
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

}  // namespace

Value describeScan(const Options& options) {
  const Services services = chooseServices(options);
  Value jobs = Value::array(3);
  jobs.add(describeNodeScan(options));
  jobs.add(describeServiceScan(services));
  jobs.add(describeStatusScan(services));
  Value description = Value::object(3);
  description["id"_s] = "scan"_s;
  description["scanType"_s] = "sequence"_s;
  description["jobs"_s] = jobs;
  return description;
}
