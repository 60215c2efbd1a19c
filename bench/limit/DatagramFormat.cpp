// SPDX-License-Identifier: Apache-2.0
#include "bench/limit/DatagramFormat.h"

#include <arpa/inet.h>
#include <linux/icmp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include "bench/limit/LocalAddress.h"

namespace Limit {

namespace {

class PingFormat final : public DatagramFormat {
 public:
  int openSocket() const override {
    const int result = socket(AF_INET, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_ICMP);
    icmp_filter filter{};
    filter.data = ~(1U << ICMP_ECHOREPLY);
    setsockopt(result, SOL_RAW, ICMP_FILTER, &filter, sizeof(filter));
    return result;
  }

  std::size_t write(std::uint32_t index, const sockaddr_in&, char* bytes) const override {
    Echo echo{};
    echo.header.type = ICMP_ECHO;
    echo.header.un.echo.id = id_;
    echo.header.un.echo.sequence = htons(1);
    echo.index = index;
    echo.header.checksum = checksum(echo);
    std::memcpy(bytes, &echo, sizeof(echo));
    return sizeof(echo);
  }

  std::optional<std::uint32_t> match(std::string_view bytes) const override {
    const std::size_t headerLength = bytes.empty() ? 0 : static_cast<std::size_t>(bytes[0] & 0xf) * 4;
    Echo echo{};
    if (bytes.size() < headerLength + sizeof(echo)) return {};
    std::memcpy(&echo, bytes.data() + headerLength, sizeof(echo));
    if (echo.header.type != ICMP_ECHOREPLY || echo.header.un.echo.id != id_) return {};
    return echo.index;
  }

 private:
  struct Echo {
    icmphdr header;
    std::uint32_t index;
    std::array<char, 44> padding;  // 56 bytes of data in all, as ping sends.
  };

  static std::uint16_t checksum(const Echo& echo) {
    std::array<std::uint16_t, sizeof(Echo) / 2> words;
    std::memcpy(words.data(), &echo, sizeof(echo));
    std::uint32_t sum = 0;
    for (const std::uint16_t word : words) sum += word;
    sum = (sum & 0xffff) + (sum >> 16);
    return static_cast<std::uint16_t>(~(sum + (sum >> 16)));
  }

  std::uint16_t id_ = static_cast<std::uint16_t>(getpid());
};

int openUdpSocket() { return socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0); }

// A GetRequest of version 2c, community "public", for sysDescr.0 and sysObjectID.0; the request's id stands at ID.
constexpr std::size_t ID = 17;
constexpr auto SNMP_REQUEST = std::to_array<unsigned char>(
    {0x30, 0x37, 0x02, 0x01, 0x01, 0x04, 0x06, 'p',  'u',  'b',  'l',  'i',  'c',  0xa0, 0x2a, 0x02, 0x04, 0,    0,
     0,    0,    0x02, 0x01, 0x00, 0x02, 0x01, 0x00, 0x30, 0x1c, 0x30, 0x0c, 0x06, 0x08, 0x2b, 6,    1,    2,    1,
     1,    1,    0,    0x05, 0x00, 0x30, 0x0c, 0x06, 0x08, 0x2b, 6,    1,    2,    1,    1,    2,    0,    0x05, 0x00});

// Steps into or over the items of a response.
class BerReader {
 public:
  explicit BerReader(std::string_view bytes) : bytes_(bytes) {}

  // The content of the next item when it has that tag, otherwise nothing.
  std::optional<std::string_view> read(unsigned char tag) {
    if (bytes_.size() < 2 || static_cast<unsigned char>(bytes_[0]) != tag) return {};
    std::size_t length = static_cast<unsigned char>(bytes_[1]), begin = 2;
    if (length > 0x80 && length <= 0x82 && bytes_.size() > length - 0x7e) {
      begin += length & 3;
      length = 0;
      for (std::size_t i = 2; i < begin; ++i) length = length << 8 | static_cast<unsigned char>(bytes_[i]);
    }
    if (bytes_.size() - begin < length) return {};
    const std::string_view content = bytes_.substr(begin, length);
    bytes_.remove_prefix(begin + length);
    return content;
  }

 private:
  std::string_view bytes_;
};

class SnmpFormat final : public DatagramFormat {
 public:
  int openSocket() const override { return openUdpSocket(); }

  std::size_t write(std::uint32_t index, const sockaddr_in&, char* bytes) const override {
    std::memcpy(bytes, SNMP_REQUEST.data(), SNMP_REQUEST.size());
    const std::uint32_t id = htonl(index);
    std::memcpy(bytes + ID, &id, sizeof(id));
    return SNMP_REQUEST.size();
  }

  std::optional<std::uint32_t> match(std::string_view bytes) const override {
    const auto message = BerReader(bytes).read(0x30);
    BerReader fields(message.value_or(""));
    if (!fields.read(0x02) || !fields.read(0x04)) return {};
    const auto response = fields.read(0xa2);
    BerReader items(response.value_or(""));
    const auto id = items.read(0x02), errorStatus = items.read(0x02);
    if (!id || id->size() > 4 || errorStatus != std::string_view("\0", 1)) return {};
    std::uint32_t index = 0;
    for (const char byte : *id) index = index << 8 | static_cast<unsigned char>(byte);
    return index;
  }
};

class SipFormat final : public DatagramFormat {
 public:
  explicit SipFormat(const sockaddr_in& anyTarget) {
    const in_addr local = localAddressFor(anyTarget.sin_addr);
    inet_ntop(AF_INET, &local, local_.data(), INET_ADDRSTRLEN);
  }

  int openSocket() const override { return openUdpSocket(); }

  std::size_t write(std::uint32_t index, const sockaddr_in& target, char* bytes) const override {
    std::array<char, INET_ADDRSTRLEN> address{};
    inet_ntop(AF_INET, &target.sin_addr, address.data(), INET_ADDRSTRLEN);
    const int length = std::snprintf(bytes, MAX_REQUEST,
                                     "OPTIONS sip:%s:%u SIP/2.0\r\nVia: SIP/2.0/UDP %s;rport;branch=z9hG4bK%u\r\n"
                                     "Max-Forwards: 70\r\nFrom: <sip:probe@%s>;tag=%u\r\nTo: <sip:%s>\r\n"
                                     "Call-ID: %u\r\nCSeq: 1 OPTIONS\r\nContact: <sip:probe@%s>\r\n"
                                     "Accept: application/sdp\r\nContent-Length: 0\r\n\r\n",
                                     address.data(), unsigned{ntohs(target.sin_port)}, local_.data(), index,
                                     local_.data(), index, address.data(), index, local_.data());
    return std::min(static_cast<std::size_t>(length), MAX_REQUEST);
  }

  std::optional<std::uint32_t> match(std::string_view bytes) const override {
    static constexpr std::string_view NAME = "\r\nCall-ID: ";
    const std::size_t position = bytes.find(NAME);
    if (!bytes.starts_with("SIP/2.0 ") || position == std::string_view::npos) return {};
    std::uint32_t index = 0;
    const char* const begin = bytes.data() + position + NAME.size();
    if (std::from_chars(begin, bytes.data() + bytes.size(), index).ec != std::errc()) return {};
    return index;
  }

 private:
  std::array<char, INET_ADDRSTRLEN> local_{};
};

}  // namespace

std::unique_ptr<DatagramFormat> createDatagramFormat(Service service, const sockaddr_in& anyTarget) {
  if (service == PING) return std::make_unique<PingFormat>();
  if (service == SNMP) return std::make_unique<SnmpFormat>();
  return std::make_unique<SipFormat>(anyTarget);
}

}  // namespace Limit
