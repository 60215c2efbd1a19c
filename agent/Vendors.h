// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/KXStringHashTable.h"
#include "platform/base/KXVector.h"
#include "platform/base/String.h"

// Who made the network interface behind a MAC address, as the registries of the IEEE have it: oui.csv, mam.csv,
// oui36.csv and iab.csv, in the folder where Debian's package ieee-data puts them.
class Vendors {
 public:
  // Reads each registry once from beginning to end and keeps what is about the given addresses. A registry that is not
  // there, or holds something else, tells nothing.
  Vendors(const String& folder, const KXVector<String>& physicalAddresses);

  // The owner of the longest registered prefix of one of those addresses; empty where nobody is known. A locally
  // administered address has no vendor.
  String vendorOf(const String& physicalAddress) const;

 private:
  void readRegistry(const String& path);

  // Keyed by the prefix in hexadecimal digits; without a text as long as nobody was found.
  KXStringHashTable<String> byPrefix_;
};
