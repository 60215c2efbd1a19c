// SPDX-License-Identifier: Apache-2.0
#include "agent/Vendors.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <string>

#include "platform/base/KXFile.h"

namespace {

// Blocks of 24, 28 and 36 bits, in hexadecimal digits.
constexpr std::array<std::size_t, 3> PREFIX_LENGTHS = {9, 7, 6};
constexpr std::size_t ADDRESS_LENGTH = 12;
// Many times what the table is.
constexpr std::size_t FILE_LIMIT = std::size_t{16} << 20U;
constexpr std::size_t NAME_LIMIT = 256;
// Holds the blocks that it hands out in smaller ones.
constexpr std::string_view REGISTRY_ITSELF = "IEEE Registration Authority";

// The value of a hexadecimal digit, or 16.
unsigned digitValue(char character) {
  constexpr std::string_view DIGITS = "0123456789ABCDEF";
  const std::size_t value = DIGITS.find(character);
  return value == std::string_view::npos ? 16 : static_cast<unsigned>(value);
}

// The hexadecimal digits of an address that the IEEE has handed out; nothing for what is none.
std::string digitsOf(const String& physicalAddress) {
  constexpr unsigned LOCALLY_ADMINISTERED = 2;
  const String text = physicalAddress.toUpperCase();
  std::string digits;
  for (const char character : text.view()) {
    if (character == ':' || character == '-') continue;
    if (digitValue(character) > 15 || digits.size() == ADDRESS_LENGTH) return {};
    digits.push_back(character);
  }
  if (digits.size() != ADDRESS_LENGTH || (digitValue(digits[1]) & LOCALLY_ADMINISTERED) != 0) return {};
  return digits;
}

}  // namespace

Vendors::Vendors(const String& path, const KXVector<String>& physicalAddresses) {
  for (const String& physicalAddress : physicalAddresses) {
    const std::string digits = digitsOf(physicalAddress);
    if (digits.empty()) continue;
    for (const std::size_t length : PREFIX_LENGTHS) byPrefix_.set(std::string_view(digits).substr(0, length), String());
  }
  if (!byPrefix_.isEmpty()) readTable(path);
}

void Vendors::readTable(const String& path) {
  // A link is fine, but opening what is no file could block.
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return;
  KXFile file(path, true, false);
  String table;
  bool endOfFile = false;
  if (file.open(O_RDONLY, 0).isErr() || file.read(table, endOfFile, FILE_LIMIT).isErr()) return;
  for (std::string_view rest = table; !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    const std::size_t tab = std::min(line.find('\t'), line.size());
    String* const name = byPrefix_.find(line.substr(0, tab));
    if (name != nullptr && name->isEmpty()) *name = line.substr(std::min(tab + 1, line.size())).substr(0, NAME_LIMIT);
  }
}

String Vendors::vendorOf(const String& physicalAddress) const {
  const std::string digits = digitsOf(physicalAddress);
  if (digits.empty()) return String();
  for (const std::size_t length : PREFIX_LENGTHS) {
    const String* const name = byPrefix_.find(std::string_view(digits).substr(0, length));
    if (name == nullptr || name->isEmpty()) continue;
    return *name == REGISTRY_ITSELF ? String() : *name;
  }
  return String();
}
