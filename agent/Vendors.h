// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/KXStringHashTable.h"
#include "platform/base/KXVector.h"
#include "platform/base/String.h"

// Who made the network interface behind a MAC address, as the registries of the IEEE have it, in the table that
// arp-scan brings: a line for each prefix, its hexadecimal digits in capitals, a tab, and the owner's name.
class Vendors {
 public:
  // Keeps what the table says about the given addresses. A table that is not there, or holds something else, tells
  // nothing.
  Vendors(const String& path, const KXVector<String>& physicalAddresses);

  // The owner of the longest registered prefix of one of those addresses; empty where nobody is known. A locally
  // administered address has no vendor.
  String vendorOf(const String& physicalAddress) const;

 private:
  void readTable(const String& path);

  // Keyed by the prefix in hexadecimal digits; without a text as long as nobody was found.
  KXStringHashTable<String> byPrefix_;
};
