// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/Report.h"

#include "platform/property/Value.h"
#include "platform/text/Printable.h"

namespace ServiceScan {
namespace {

using KX::Property::Value;

Value describe(const Probe& probe) {
  Value value = Value::object(6);
  value["service"_s] = probe.name;
  value["port"_s] = static_cast<std::uint32_t>(probe.port);
  value["successful"_s] = probe.successful;
  if (!probe.model.isEmpty()) value["model"_s] = probe.model;
  if (!probe.systemObjectId.isEmpty()) value["systemObjectID"_s] = probe.systemObjectId;
  if (!probe.reason.isEmpty()) value["reason"_s] = probe.reason;
  return value;
}

Value describe(const Host& host, const Targets& targets) {
  Value services = Value::array(host.endProbe - host.firstProbe);
  for (ProbeIndex index = host.firstProbe; index < host.endProbe; ++index)
    services.add(describe(targets.probes[index]));
  Value value = Value::object(4);
  value["ipAddress"_s] = host.text;
  if (!host.reason.isEmpty()) {
    value["successful"_s] = false;
    value["reason"_s] = host.reason;
  }
  value["services"_s] = services;
  return value;
}

void add(String& list, const String& text) { list.concatf("%s%s", list.isEmpty() ? "" : " ", text.c_str()); }

std::vector<Cell> makeRow(const Host& host, const Targets& targets) {
  String available;
  String missing;
  String model;
  for (ProbeIndex index = host.firstProbe; index < host.endProbe; ++index) {
    const Probe& probe = targets.probes[index];
    String service = toPrintable(probe.name);
    if (probe.port != 0) service.concatf(":%u", unsigned{probe.port});
    add(probe.successful ? available : missing, service);
    if (!probe.model.isEmpty()) model = toPrintable(probe.model);
  }
  return {{toPrintable(host.text)}, {available}, {missing}, {model}};
}

}  // namespace

void printJson(const Targets& targets, std::FILE* stream) {
  std::fputs("{\"nodes\":[", stream);
  const char* separator = "";
  for (const Host& host : targets.hosts) {
    std::fprintf(stream, "%s%s", separator, describe(host, targets).toJson().c_str());
    separator = ",";
  }
  std::fputs("]}\n", stream);
}

void printTable(const Targets& targets, const TableStyle& style, std::FILE* stream) {
  std::vector<std::vector<Cell>> rows;
  for (const Host& host : targets.hosts) rows.push_back(makeRow(host, targets));
  const std::vector<Column> columns{{"ADDRESS"}, {"AVAILABLE", 12, 1, true}, {"MISSING", 12, 3}, {"MODEL", 12, 2}};
  for (const String& line : layOutTable(columns, rows, style)) std::fprintf(stream, "%s\n", line.c_str());
}

}  // namespace ServiceScan
