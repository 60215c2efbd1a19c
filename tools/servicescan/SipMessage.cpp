// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/SipMessage.h"

#include <osipparser2/osip_message.h>
#include <osipparser2/osip_parser.h>

#include <array>
#include <charconv>
#include <initializer_list>

#include "tools/servicescan/Model.h"
#include "tools/servicescan/SipMemory.h"

namespace ServiceScan {
namespace {

// Told from those of other programs by the cookie, from those of other probes by the number.
constexpr std::size_t COOKIE_DIGITS = 16;
constexpr std::size_t NUMBER_DIGITS = 8;
using CallId = std::array<char, COOKIE_DIGITS + 1 + NUMBER_DIGITS>;
// The library takes any number.
constexpr int MIN_STATUS = 100;
constexpr int MAX_STATUS = 699;

template <class T>
bool readHex(std::string_view text, T& number) {
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  return error == std::errc() && stop == text.data() + text.size();
}

void writeHex(std::uint64_t number, std::span<char> digits) {
  for (std::size_t index = digits.size(); index > 0; number >>= 4U) {
    digits[--index] = "0123456789abcdef"[number & 0xfU];
  }
}

CallId makeCallId(const SipRequest& request) {
  CallId result;
  writeHex(request.cookie, std::span(result).first<COOKIE_DIGITS>());
  result[COOKIE_DIGITS] = '-';
  writeHex(request.number, std::span(result).last<NUMBER_DIGITS>());
  return result;
}

bool readCallId(std::string_view text, SipResponse& response) {
  return text.size() > COOKIE_DIGITS && text[COOKIE_DIGITS] == '-' &&
         readHex(text.substr(0, COOKIE_DIGITS), response.cookie) &&
         readHex(text.substr(COOKIE_DIGITS + 1), response.number);
}

// An address and its port as text. Writing a request with printf was a seventh of all work on a host.
struct Endpoint {
  Endpoint(std::uint32_t address, std::uint16_t port) {
    char* const end = text + sizeof(text);
    char* stop = text;
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
      stop = std::to_chars(stop, end, (address >> shift) & 0xffU).ptr;
      *stop++ = shift == 0 ? ':' : '.';
    }
    host = {text, stop - 1};
    hostAndPort = {text, std::to_chars(stop, end, port).ptr};
  }
  Endpoint(const Endpoint&) = delete;
  Endpoint& operator=(const Endpoint&) = delete;

  char text[sizeof("255.255.255.255:65535")];
  std::string_view host;
  std::string_view hostAndPort;
};

std::size_t join(std::initializer_list<std::string_view> parts, std::span<char> area) {
  std::size_t length = 0;
  for (const std::string_view part : parts) {
    if (part.size() > area.size() - length) return 0;
    length += part.copy(area.data() + length, part.size());
  }
  return length;
}

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
  const Endpoint local(request.local, request.localPort);
  const Endpoint remote(request.remote, request.remotePort);
  const CallId id = makeCallId(request);
  const std::string_view callId(id.data(), id.size());
  // clang-format off
  return join({"OPTIONS sip:", remote.hostAndPort, " SIP/2.0\r\n",
               "Via: SIP/2.0/UDP ", local.hostAndPort, ";rport;branch=z9hG4bK", callId, "\r\n",
               "Max-Forwards: 70\r\n",
               "From: <sip:servicescan@", local.host, ">;tag=", callId, "\r\n",
               "To: <sip:", remote.hostAndPort, ">\r\n",
               "Call-ID: ", callId, "\r\n",
               "CSeq: 1 OPTIONS\r\n",
               "Contact: <sip:servicescan@", local.hostAndPort, ">\r\n",
               "Accept: application/sdp\r\n",
               "Content-Length: 0\r\n\r\n"},
              message);
  // clang-format on
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
