// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/Report.h"

#include <algorithm>
#include <string>

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

struct Row {
  std::string address;
  std::string available;
  std::string missing;
  std::string model;
};

void add(std::string& list, const std::string& text) {
  if (!list.empty()) list += ' ';
  list += text;
}

Row makeRow(const Host& host, const Targets& targets) {
  Row row{toPrintable(host.text).c_str(), "", "", ""};
  for (ProbeIndex index = host.firstProbe; index < host.endProbe; ++index) {
    const Probe& probe = targets.probes[index];
    std::string service = toPrintable(probe.name).c_str();
    if (probe.port != 0) service += ":" + std::to_string(probe.port);
    add(probe.successful ? row.available : row.missing, service);
    if (!probe.model.isEmpty()) row.model = toPrintable(probe.model).c_str();
  }
  return row;
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

void printTable(const Targets& targets, std::FILE* stream) {
  std::vector<Row> rows{{"ADDRESS", "AVAILABLE", "MISSING", "MODEL"}};
  for (const Host& host : targets.hosts) rows.push_back(makeRow(host, targets));
  const auto widest = [&rows](std::string Row::*column) {
    std::size_t width = 0;
    for (const Row& row : rows) width = std::max(width, (row.*column).size());
    return static_cast<int>(width);
  };
  const int address = widest(&Row::address);
  const int available = widest(&Row::available);
  const int missing = widest(&Row::missing);
  for (const Row& row : rows) {
    std::string line(static_cast<std::size_t>(address + available + missing) + row.model.size() + 8, '\0');
    const int length = std::snprintf(line.data(), line.size(), "%-*s  %-*s  %-*s  %s", address, row.address.c_str(),
                                     available, row.available.c_str(), missing, row.missing.c_str(), row.model.c_str());
    line.resize(static_cast<std::size_t>(length));
    line.resize(line.find_last_not_of(' ') + 1);
    std::fprintf(stream, "%s\n", line.c_str());
  }
}

}  // namespace ServiceScan
