// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/SnmpMessage.h"

#include <algorithm>
#include <optional>
#include <string>

#include "tools/servicescan/Model.h"

namespace ServiceScan {
namespace {

// The first bytes of the elements that there are (X.690).
constexpr unsigned char INTEGER = 0x02;
constexpr unsigned char OCTET_STRING = 0x04;
constexpr unsigned char OBJECT_ID = 0x06;
constexpr unsigned char SEQUENCE = 0x30;
constexpr unsigned char GET_REQUEST = 0xa0;
constexpr unsigned char RESPONSE = 0xa2;

constexpr std::uint32_t VERSION_2C = 1;
constexpr std::string_view SYSTEM_DESCRIPTION("\x2b\x06\x01\x02\x01\x01\x01\x00", 8);
constexpr std::string_view SYSTEM_OBJECT_ID("\x2b\x06\x01\x02\x01\x01\x02\x00", 8);
// The two of them, each with no value.
constexpr std::string_view VARIABLES(
    "\x30\x0c\x06\x08\x2b\x06\x01\x02\x01\x01\x01\x00\x05\x00"
    "\x30\x0c\x06\x08\x2b\x06\x01\x02\x01\x01\x02\x00\x05\x00",
    28);

// The bounds of every SNMP implementation.
constexpr std::size_t MAX_ARCS = 128;
constexpr std::size_t MAX_COMMUNITY_BYTES = 256;

struct Element {
  unsigned char tag;
  std::string_view content;
};

// Cuts the first element off the text. None where there is none, or it is longer than the text, or of no said length.
std::optional<Element> take(std::string_view& text) {
  constexpr unsigned char LONG_FORM = 0x80;
  constexpr std::size_t MAX_LENGTH_BYTES = 4;
  const auto byteAt = [text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  if (text.size() < 2) return std::nullopt;
  std::size_t start = 2;
  std::size_t length = byteAt(1);
  if (length >= LONG_FORM) {
    start += length - LONG_FORM;
    if (start == 2 || start > 2 + MAX_LENGTH_BYTES || start > text.size()) return std::nullopt;
    length = 0;
    for (std::size_t index = 2; index < start; ++index) length = length << 8U | byteAt(index);
  }
  if (length > text.size() - start) return std::nullopt;
  const Element element{byteAt(0), text.substr(start, length)};
  text.remove_prefix(start + length);
  return element;
}

// The same where only an element of one kind is right; else nothing.
std::optional<std::string_view> take(std::string_view& text, unsigned char tag) {
  const std::optional<Element> element = take(text);
  return element && element->tag == tag ? std::optional(element->content) : std::nullopt;
}

// Of 32 bits at most.
std::optional<std::uint32_t> takeInteger(std::string_view& text) {
  const std::optional<std::string_view> bytes = take(text, INTEGER);
  if (!bytes || bytes->empty() || bytes->size() > sizeof(std::uint32_t)) return std::nullopt;
  std::uint32_t value = 0;
  for (const char byte : *bytes) value = value << 8U | static_cast<unsigned char>(byte);
  return value;
}

// An object identifier with dots; empty for what is none.
String toDotted(std::string_view content) {
  String text;
  std::uint64_t arc = 0;
  std::size_t arcs = 0;
  bool isComplete = false;
  for (const char character : content) {
    const auto byte = static_cast<unsigned char>(character);
    arc = arc << 7U | (byte & 0x7fU);
    if (arc > UINT32_MAX) return String();
    isComplete = byte < 0x80U;
    if (!isComplete) continue;
    if (++arcs >= MAX_ARCS) return String();
    if (arcs == 1) {
      // The first number is two arcs, of which the first is 0, 1 or 2.
      const std::uint64_t first = std::min<std::uint64_t>(arc / 40, 2);
      text = String::format("%u.%u", static_cast<unsigned>(first), static_cast<unsigned>(arc - first * 40));
    } else {
      text.concatf(".%u", static_cast<unsigned>(arc));
    }
    arc = 0;
  }
  return isComplete ? text : String();
}

// False for what is no variable.
bool readVariable(std::string_view variable, SnmpResponse& response) {
  const std::optional<std::string_view> name = take(variable, OBJECT_ID);
  const std::optional<Element> value = take(variable);
  if (!name || !value || toDotted(*name).isEmpty()) return false;
  if (value->tag == OCTET_STRING && *name == SYSTEM_DESCRIPTION) {
    response.description = makeModel(value->content);
  } else if (value->tag == OBJECT_ID) {
    const String objectId = toDotted(value->content);
    if (objectId.isEmpty()) return false;
    if (*name == SYSTEM_OBJECT_ID) response.objectId = objectId;
  }
  return true;
}

// An element. None of a request has more than 65,535 bytes.
std::string element(unsigned char tag, std::string_view content) {
  std::string text(1, static_cast<char>(tag));
  if (content.size() > 0xff) text += {'\x82', static_cast<char>(content.size() >> 8U)};
  if (content.size() > 0x7f && content.size() <= 0xff) text += '\x81';
  text += static_cast<char>(content.size());
  return text.append(content);
}

// Without leading bytes that say nothing, as the encoding wants it.
std::string integer(std::uint32_t value) {
  std::string bytes;
  do {
    bytes.insert(bytes.begin(), static_cast<char>(value));
    value >>= 8U;
  } while (value != 0);
  if (static_cast<unsigned char>(bytes[0]) >= 0x80U) bytes.insert(bytes.begin(), '\0');
  return element(INTEGER, bytes);
}

}  // namespace

std::size_t writeSnmpGet(const String& community, std::uint32_t requestId, std::span<char> message) {
  const std::string request =
      element(GET_REQUEST, integer(requestId) + integer(0) + integer(0) + element(SEQUENCE, VARIABLES));
  const std::string text = element(SEQUENCE, integer(VERSION_2C) + element(OCTET_STRING, community) + request);
  if (text.size() > message.size()) return 0;
  std::ranges::copy(text, message.begin());
  return text.size();
}

bool readSnmpResponse(std::string_view message, SnmpResponse& response) {
  std::optional<std::string_view> content = take(message, SEQUENCE);
  if (!content || takeInteger(*content) != VERSION_2C) return false;
  const std::optional<std::string_view> community = take(*content, OCTET_STRING);
  if (!community || community->size() > MAX_COMMUNITY_BYTES) return false;
  std::optional<std::string_view> answer = take(*content, RESPONSE);
  const std::optional<std::uint32_t> requestId = answer ? takeInteger(*answer) : std::nullopt;
  // Which error it is, and where, does not matter: an error is an answer.
  if (!requestId || !takeInteger(*answer) || !takeInteger(*answer)) return false;
  std::optional<std::string_view> variables = take(*answer, SEQUENCE);
  if (!variables) return false;
  while (!variables->empty()) {
    const std::optional<std::string_view> variable = take(*variables, SEQUENCE);
    if (!variable || !readVariable(*variable, response)) return false;
  }
  response.requestId = *requestId;
  return true;
}

}  // namespace ServiceScan
