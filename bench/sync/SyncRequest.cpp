// SPDX-License-Identifier: Apache-2.0
#include "bench/sync/SyncRequest.h"

#include "platform/base/StringBuilder.h"

namespace {

constexpr const char* SERVICES[] = {
    R"("http":{"port":80},"https":{"port":443},"snmp":{"port":161})",
    R"("sip":{"port":5060},"http":{"port":80},"https":{"port":443})",
    R"("http":{"port":8080},"snmp":{"port":161},"sip":{"port":5060})",
};

}  // namespace

String syncRequest(std::size_t nodes) {
  KX::StringBuilder text;
  text.append(R"({"kind":"request","service":"discovery","name":"syncNodes","id":1,"nodes":[)");
  for (std::size_t i = 0; i < nodes; ++i) {
    const auto n = static_cast<unsigned>(i);
    // One in ten has a port of its own.
    const String services =
        n % 10 == 9 ? String::format(R"("http":{"port":%u},"https":{"port":443},"snmp":{"port":161})", 1024 + n % 50000)
                    : String(SERVICES[n % 3]);
    const String node = String::format(
        R"(%s{"ipAddress":"10.%u.%u.%u","physicalAddress":"02:00:5E:%02X:%02X:%02X","interface":"lan0",)"
        R"("model":"Varnel X%u 1.2","status":"up","statusChangeDate":"2026-11-20T22:%02u:%02u.123Z","services":{%s}})",
        n == 0 ? "" : ",", n >> 16U & 255U, n >> 8U & 255U, n & 255U, n >> 16U & 255U, n >> 8U & 255U, n & 255U, n % 7,
        n / 60 % 60, n % 60, services.c_str());
    text.append(node.view());
  }
  text.append("]}");
  return text.take();
}
