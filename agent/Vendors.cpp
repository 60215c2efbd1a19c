// SPDX-License-Identifier: Apache-2.0
#include "agent/Vendors.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <string>

#include "agent/CsvReader.h"
#include "platform/base/KXFile.h"

namespace {

// Blocks of 24, 28 and 36 bits, in hexadecimal digits.
constexpr std::array<std::size_t, 3> PREFIX_LENGTHS = {9, 7, 6};
constexpr std::size_t ADDRESS_LENGTH = 12;
constexpr std::size_t PIECE = 65536;
// Many times what the registries are.
constexpr std::size_t FILE_LIMIT = std::size_t{64} << 20U;
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

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view BLANKS = " \t\r\n";
  const std::size_t first = text.find_first_not_of(BLANKS);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

}  // namespace

Vendors::Vendors(const String& folder, const KXVector<String>& physicalAddresses) {
  for (const String& physicalAddress : physicalAddresses) {
    const std::string digits = digitsOf(physicalAddress);
    if (digits.empty()) continue;
    for (const std::size_t length : PREFIX_LENGTHS) byPrefix_.set(std::string_view(digits).substr(0, length), String());
  }
  if (byPrefix_.isEmpty()) return;
  for (const char* name : {"oui.csv", "mam.csv", "oui36.csv", "iab.csv"}) {
    readRegistry(String::format("%s/%s", folder.c_str(), name));
  }
}

void Vendors::readRegistry(const String& path) {
  CsvReader reader([this](const CsvReader::Record& record) {
    String* const name = byPrefix_.find(record[1]);
    if (name != nullptr && name->isEmpty()) *name = trimmed(record[2]);
  });
  // A link is fine, but opening what is no file could block.
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return;
  KXFile file(path, true, false);
  if (file.open(O_RDONLY, 0).isErr()) return;
  String piece;
  bool endOfFile = false;
  for (std::size_t size = 0; !endOfFile && size < FILE_LIMIT; size += PIECE) {
    if (file.read(piece, endOfFile, PIECE).isErr()) return;
    reader.feed(piece);
  }
  reader.finish();
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
