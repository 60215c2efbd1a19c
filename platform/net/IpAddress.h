// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/base/Export.h"
#include "platform/base/String.h"
#include "platform/base/XCode.h"

// An IPv4 address, alone or with the length of its subnet's prefix.
class KX_EXPORT IpAddress {
 public:
  // 0.0.0.0/0.
  IpAddress() = default;
  // Dotted quad, or dotted quad, slash and 0 to 32. Anything else leaves the default; ask setSubnetAsString for a word.
  explicit IpAddress(const String& text);

  // Dotted quad and nothing else: the subnet of that one address. On an error it is left untouched.
  [[nodiscard]] XCode setIpAddrAsString(const String& text);
  // Dotted quad, slash, 0 to 32; the host bits are kept but do not count. On an error it is left untouched.
  [[nodiscard]] XCode setSubnetAsString(const String& text);

  // The subnet of one address, in host byte order.
  void setV4AddrAsBinaryUInt32(std::uint32_t address);

  // All in host byte order.
  std::uint32_t getV4AddrAsBinaryUInt32() const { return address_; }
  std::uint32_t getV4NetAddrAsBinaryUInt32() const { return address_ & getV4NetMaskAsBinaryUInt32(); }
  std::uint32_t getV4NetMaskAsBinaryUInt32() const;

  // Dotted quad.
  String toString() const;

 private:
  std::uint32_t address_ = 0;
  std::uint8_t prefix_ = 0;
};
