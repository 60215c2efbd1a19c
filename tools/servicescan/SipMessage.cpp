// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/SipMessage.h"

#include <osipparser2/osip_message.h>
#include <osipparser2/osip_parser.h>

#include <charconv>
#include <cinttypes>
#include <cstdio>

#include "tools/servicescan/Model.h"
#include "tools/servicescan/SipMemory.h"

namespace ServiceScan {
namespace {

// Told from those of other programs by the cookie, from those of other probes by the number.
constexpr char CALL_ID_FORMAT[] = "%016" PRIx64 "-%08" PRIx32;
constexpr std::size_t COOKIE_DIGITS = 16;
// The library takes any number.
constexpr int MIN_STATUS = 100;
constexpr int MAX_STATUS = 699;

template <class T>
bool readHex(std::string_view text, T& number) {
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  return error == std::errc() && stop == text.data() + text.size();
}

bool readCallId(std::string_view text, SipResponse& response) {
  return text.size() > COOKIE_DIGITS && text[COOKIE_DIGITS] == '-' &&
         readHex(text.substr(0, COOKIE_DIGITS), response.cookie) &&
         readHex(text.substr(COOKIE_DIGITS + 1), response.number);
}

struct Quad {
  explicit Quad(std::uint32_t address) {
    std::snprintf(text, sizeof(text), "%u.%u.%u.%u", address >> 24U, (address >> 16U) & 0xffU, (address >> 8U) & 0xffU,
                  address & 0xffU);
  }
  char text[16];
};

// Without a place for it, the library says on stdout what is wrong with a message.
int startLibrary() {
  osip_trace_initialize_func(TRACE_LEVEL0, [](const char*, int, osip_trace_level_t, const char*, va_list) {});
  return parser_init();
}

// Null when it is malformed.
osip_message_t* parse(std::string_view text) {
  osip_message_t* message = nullptr;
  if (osip_message_init(&message) != 0) return nullptr;
  return osip_message_parse(message, text.data(), text.size()) == 0 ? message : nullptr;
}

String readModel(osip_message_t* message) {
  for (const char* name : {"user-agent", "server"}) {
    osip_header_t* header = nullptr;
    if (osip_message_header_get_byname(message, name, 0, &header) < 0 || header == nullptr) continue;
    if (header->hvalue != nullptr) return makeModel(header->hvalue);
  }
  return String();
}

}  // namespace

std::size_t writeSipOptions(const SipRequest& request, std::span<char> message) {
  const Quad local(request.local);
  const Quad remote(request.remote);
  char callId[32];
  std::snprintf(callId, sizeof(callId), CALL_ID_FORMAT, request.cookie, request.number);
  const int length = std::snprintf(message.data(), message.size(),
                                   "OPTIONS sip:%s:%u SIP/2.0\r\n"
                                   "Via: SIP/2.0/UDP %s:%u;rport;branch=z9hG4bK%s\r\n"
                                   "Max-Forwards: 70\r\n"
                                   "From: <sip:servicescan@%s>;tag=%s\r\n"
                                   "To: <sip:%s:%u>\r\n"
                                   "Call-ID: %s\r\n"
                                   "CSeq: 1 OPTIONS\r\n"
                                   "Contact: <sip:servicescan@%s:%u>\r\n"
                                   "Accept: application/sdp\r\n"
                                   "Content-Length: 0\r\n\r\n",
                                   remote.text, request.remotePort, local.text, request.localPort, callId, local.text,
                                   callId, remote.text, request.remotePort, callId, local.text, request.localPort);
  return length < 0 || static_cast<std::size_t>(length) >= message.size() ? 0 : static_cast<std::size_t>(length);
}

bool readSipResponse(std::string_view text, SipResponse& response) {
  static const int STATUS = startLibrary();
  if (STATUS != 0 || !text.starts_with("SIP/2.0 ")) return false;
  const SipMemory memory;
  osip_message_t* const message = parse(text);
  if (message == nullptr || !MSG_IS_RESPONSE(message)) return false;
  if (message->call_id == nullptr || message->call_id->number == nullptr) return false;
  if (message->status_code < MIN_STATUS || message->status_code > MAX_STATUS) return false;
  if (!readCallId(message->call_id->number, response)) return false;
  response.status = static_cast<unsigned>(message->status_code);
  response.model = readModel(message);
  return true;
}

}  // namespace ServiceScan
