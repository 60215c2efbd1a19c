// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/SnmpMessage.h"

// Each of these needs the one before.
// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/library/snmp_impl.h>
// clang-format on

#include <array>
#include <memory>

#include "tools/servicescan/Model.h"

namespace ServiceScan {
namespace {

constexpr std::array<oid, 9> SYSTEM_DESCRIPTION = {1, 3, 6, 1, 2, 1, 1, 1, 0};
constexpr std::array<oid, 9> SYSTEM_OBJECT_ID = {1, 3, 6, 1, 2, 1, 1, 2, 0};
constexpr std::size_t MAX_COMMUNITY_BYTES = 256;

struct Freed {
  void operator()(netsnmp_pdu* pdu) const { snmp_free_pdu(pdu); }
};
using Pdu = std::unique_ptr<netsnmp_pdu, Freed>;

// Without a log of its own, the library says on stderr what is wrong with a message.
void silenceLibrary() {
  static const netsnmp_log_handler* const SILENCE = netsnmp_register_loghandler(NETSNMP_LOGHANDLER_NONE, LOG_DEBUG);
  static_cast<void>(SILENCE);
}

bool isAbout(const netsnmp_variable_list& variable, const std::array<oid, 9>& object) {
  return snmp_oid_compare(variable.name, variable.name_length, object.data(), object.size()) == 0;
}

String toText(const oid* objectId, std::size_t length) {
  String text;
  for (std::size_t index = 0; index < length; ++index) {
    text.concatf(index == 0 ? "%lu" : ".%lu", static_cast<unsigned long>(objectId[index]));
  }
  return text;
}

void readVariable(const netsnmp_variable_list& variable, SnmpResponse& response) {
  if (variable.type == ASN_OCTET_STR && isAbout(variable, SYSTEM_DESCRIPTION)) {
    response.description = makeModel({reinterpret_cast<const char*>(variable.val.string), variable.val_len});
  } else if (variable.type == ASN_OBJECT_ID && isAbout(variable, SYSTEM_OBJECT_ID)) {
    response.objectId = toText(variable.val.objid, variable.val_len / sizeof(oid));
  }
}

}  // namespace

std::size_t writeSnmpGet(const String& community, std::uint32_t requestId, std::span<char> message) {
  silenceLibrary();
  // From the beginning of the buffer to its end: the other way, the library makes the buffer larger by itself.
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_REVERSE_ENCODE, 0);
  netsnmp_session session{};
  session.version = SNMP_VERSION_2c;
  // It is copied.
  session.community = reinterpret_cast<u_char*>(const_cast<char*>(community.c_str()));
  session.community_len = community.length();
  const Pdu pdu(snmp_pdu_create(SNMP_MSG_GET));
  if (pdu == nullptr) return 0;
  pdu->version = SNMP_VERSION_2c;
  pdu->reqid = static_cast<long>(requestId);
  snmp_add_null_var(pdu.get(), SYSTEM_DESCRIPTION.data(), SYSTEM_DESCRIPTION.size());
  snmp_add_null_var(pdu.get(), SYSTEM_OBJECT_ID.data(), SYSTEM_OBJECT_ID.size());
  auto* packet = reinterpret_cast<u_char*>(message.data());
  std::size_t size = message.size();
  std::size_t offset = 0;
  return snmp_build(&packet, &size, &offset, &session, pdu.get()) == 0 ? size : 0;
}

bool readSnmpResponse(std::string_view message, SnmpResponse& response) {
  silenceLibrary();
  // The parser takes a buffer that may be changed, and leaves it as it is.
  auto* data = reinterpret_cast<u_char*>(const_cast<char*>(message.data()));
  std::size_t length = message.size();
  u_char community[MAX_COMMUNITY_BYTES];
  std::size_t communityLength = sizeof(community);
  long version = 0;
  data = snmp_comstr_parse(data, &length, community, &communityLength, &version);
  if (data == nullptr || version != SNMP_VERSION_2c) return false;
  const Pdu pdu(snmp_pdu_create(SNMP_MSG_RESPONSE));
  if (pdu == nullptr || snmp_pdu_parse(pdu.get(), data, &length) != 0) return false;
  if (pdu->command != SNMP_MSG_RESPONSE) return false;
  response.requestId = static_cast<std::uint32_t>(pdu->reqid);
  for (const netsnmp_variable_list* variable = pdu->variables; variable != nullptr;
       variable = variable->next_variable) {
    readVariable(*variable, response);
  }
  return true;
}

}  // namespace ServiceScan
