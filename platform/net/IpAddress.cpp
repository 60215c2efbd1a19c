// SPDX-License-Identifier: Apache-2.0
#include "platform/net/IpAddress.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <string_view>

namespace {

constexpr std::uint8_t HOST_PREFIX = 32;

// inet_pton knows dotted quads only and refuses leading zeros, which other readers take for octal numbers. It would
// stop at a NUL.
bool readAddress(const String& text, std::uint32_t& address) {
  in_addr binary{};
  if (text.view().find('\0') != std::string_view::npos || inet_pton(AF_INET, text.c_str(), &binary) != 1) return false;
  address = ntohl(binary.s_addr);
  return true;
}

// One or two digits, without a leading zero, up to 32.
bool readPrefix(std::string_view text, std::uint8_t& prefix) {
  if (text.empty() || text.size() > 2 || (text.size() == 2 && text.front() == '0')) return false;
  unsigned value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + static_cast<unsigned>(c - '0');
  }
  if (value > HOST_PREFIX) return false;
  prefix = static_cast<std::uint8_t>(value);
  return true;
}

}  // namespace

IpAddress::IpAddress(const String& text) {
  if (setIpAddrAsString(text).isErr()) static_cast<void>(setSubnetAsString(text));
}

XCode IpAddress::setIpAddrAsString(const String& text) {
  if (!readAddress(text, address_)) return XCode::error("Invalid IP address"_s);
  prefix_ = HOST_PREFIX;
  return XCode();
}

XCode IpAddress::setSubnetAsString(const String& text) {
  const std::string_view whole = text;
  const std::size_t slash = whole.find('/');
  std::uint32_t address = 0;
  std::uint8_t prefix = 0;
  if (slash == std::string_view::npos || !readAddress(String(whole.substr(0, slash)), address) ||
      !readPrefix(whole.substr(slash + 1), prefix)) {
    return XCode::error("Invalid subnet"_s);
  }
  address_ = address;
  prefix_ = prefix;
  return XCode();
}

void IpAddress::setV4AddrAsBinaryUInt32(std::uint32_t address) {
  address_ = address;
  prefix_ = HOST_PREFIX;
}

std::uint32_t IpAddress::getV4NetMaskAsBinaryUInt32() const {
  // Shifting by the whole width is undefined.
  return prefix_ == 0 ? 0 : ~std::uint32_t{0} << (HOST_PREFIX - prefix_);
}

String IpAddress::toString() const {
  return String::format("%u.%u.%u.%u", address_ >> 24U, address_ >> 16U & 0xffU, address_ >> 8U & 0xffU,
                        address_ & 0xffU);
}
