// SPDX-License-Identifier: Apache-2.0
#include "tools/client/Report.h"

#include "platform/net/IpAddress.h"
#include "platform/property/Value.h"
#include "platform/text/Printable.h"

namespace DeviceDiscovery::Client {
namespace {

using KX::Property::Value;

String toDottedQuad(std::uint32_t address) {
  IpAddress result;
  result.setV4AddrAsBinaryUInt32(address);
  return result.toString();
}

Value describe(std::uint32_t address, const Device& device) {
  Value value = Value::object(5);
  value["physicalAddress"_s] = toString(device.macAddress);
  value["ipAddress"_s] = toDottedQuad(address);
  value["model"_s] = device.description.model;
  value["build"_s] = device.description.build;
  value["supportsOnboarding"_s] = device.description.supportsOnboarding;
  return value;
}

}  // namespace

void printJson(const Devices& devices, std::FILE* stream) {
  std::fputs("{\"nodes\":[", stream);
  const char* separator = "";
  for (const auto& [address, device] : devices.all()) {
    std::fprintf(stream, "%s%s", separator, describe(address, device).toJson().c_str());
    separator = ",";
  }
  std::fputs("]}\n", stream);
}

void printTable(const Devices& devices, std::FILE* stream) {
  constexpr char LINE[] = "%-15s  %-17s  %-10s  %s%s%s\n";
  std::fprintf(stream, LINE, "ADDRESS", "MAC", "ONBOARDING", "MODEL", "", "");
  for (const auto& [address, device] : devices.all()) {
    const Description& description = device.description;
    std::fprintf(stream, LINE, toDottedQuad(address).c_str(), toString(device.macAddress).c_str(),
                 description.supportsOnboarding ? "yes" : "no", toPrintable(description.model).c_str(),
                 description.build.isEmpty() ? "" : ", ", toPrintable(description.build).c_str());
  }
}

}  // namespace DeviceDiscovery::Client
