// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <linux/rtnetlink.h>
#include <net/if.h>

#include <cerrno>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "platform/database/NetlinkMessages.h"

namespace {

using DB::Netlink::Message;
using Kind = Message::Kind;
using Bytes = std::vector<std::byte>;

template <class T>
void append(Bytes& bytes, const T& value) {
  const auto* begin = reinterpret_cast<const std::byte*>(&value);
  bytes.insert(bytes.end(), begin, begin + sizeof(value));
}

// The bytes of an attribute, padded.
Bytes attribute(std::uint16_t type, const std::string& payload) {
  Bytes bytes;
  append(bytes, nlattr{static_cast<std::uint16_t>(sizeof(nlattr) + payload.size()), type});
  for (const char c : payload) bytes.push_back(static_cast<std::byte>(c));
  bytes.resize((bytes.size() + 3) / 4 * 4);
  return bytes;
}

Bytes name(const std::string& text) { return attribute(IFLA_IFNAME, text + '\0'); }

std::string quad(unsigned char a, unsigned char b, unsigned char c, unsigned char d) {
  return {static_cast<char>(a), static_cast<char>(b), static_cast<char>(c), static_cast<char>(d)};
}

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Bytes message(std::uint16_t type, const Bytes& payload, std::uint16_t flags = 0, std::uint32_t sequence = 0) {
  Bytes bytes;
  append(bytes, nlmsghdr{static_cast<std::uint32_t>(sizeof(nlmsghdr) + payload.size()), type, flags, sequence, 0});
  return bytes + payload;
}

Bytes link(std::uint16_t type, int index, unsigned flags, const Bytes& attributes, unsigned char family = AF_UNSPEC) {
  ifinfomsg fixed{};
  fixed.ifi_family = family;
  fixed.ifi_index = index;
  fixed.ifi_flags = flags;
  Bytes payload;
  append(payload, fixed);
  return message(type, payload + attributes);
}

Bytes address(std::uint16_t type, unsigned index, unsigned char prefix, const Bytes& attributes,
              unsigned char family = AF_INET) {
  ifaddrmsg fixed{};
  fixed.ifa_family = family;
  fixed.ifa_prefixlen = prefix;
  fixed.ifa_index = index;
  Bytes payload;
  append(payload, fixed);
  return message(type, payload + attributes);
}

// Parses a copy that ends where the bytes do, so that a sanitizer sees whoever reads on.
KXVector<Message> parse(const Bytes& bytes) {
  const auto copy = std::make_unique<std::byte[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), copy.get());
  return DB::Netlink::parse({copy.get(), bytes.size()});
}

TEST(NetlinkMessages, LinkHasIndexFlagsAndName) {
  const auto messages = parse(link(RTM_NEWLINK, 7, IFF_UP | IFF_RUNNING, attribute(IFLA_MTU, "abcd") + name("eth0")));
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].kind, Kind::LINK);
  EXPECT_EQ(messages[0].index, 7);
  EXPECT_EQ(messages[0].flags, static_cast<unsigned>(IFF_UP | IFF_RUNNING));
  EXPECT_EQ(messages[0].name, "eth0");
  EXPECT_EQ(messages[0].sequence, 0U);
}

TEST(NetlinkMessages, LinkThatIsGoneNeedsNoName) {
  const auto messages = parse(link(RTM_DELLINK, 7, 0, {}));
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].kind, Kind::LINK_GONE);
  EXPECT_EQ(messages[0].index, 7);
}

TEST(NetlinkMessages, BridgePortThatIsGoneIsNoLinkThatIsGone) {
  EXPECT_TRUE(parse(link(RTM_DELLINK, 7, 0, name("eth0"), AF_BRIDGE)).isEmpty());
  EXPECT_TRUE(parse(link(RTM_NEWLINK, 7, 0, name("eth0"), AF_BRIDGE)).isEmpty());
}

TEST(NetlinkMessages, LinkWithoutAUsableNameOrIndexIsLeftOut) {
  EXPECT_TRUE(parse(link(RTM_NEWLINK, 7, 0, {})).isEmpty());
  EXPECT_TRUE(parse(link(RTM_NEWLINK, 7, 0, name(""))).isEmpty());
  EXPECT_TRUE(parse(link(RTM_NEWLINK, 7, 0, name(std::string(16, 'x')))).isEmpty());
  EXPECT_TRUE(parse(link(RTM_NEWLINK, 7, 0, attribute(IFLA_IFNAME, "eth0"))).isEmpty()) << "no NUL";
  EXPECT_TRUE(parse(link(RTM_NEWLINK, 7, 0, attribute(IFLA_IFNAME, ""))).isEmpty());
  EXPECT_TRUE(parse(link(RTM_NEWLINK, 0, 0, name("eth0"))).isEmpty());
  EXPECT_TRUE(parse(link(RTM_NEWLINK, -1, 0, name("eth0"))).isEmpty());
  EXPECT_EQ(parse(link(RTM_NEWLINK, 7, 0, name(std::string(15, 'x')))).size(), 1U);
}

TEST(NetlinkMessages, NameKeepsItsBytes) {
  EXPECT_EQ(parse(link(RTM_NEWLINK, 7, 0, name("e\xff\n\"")))[0].name, "e\xff\n\"");
}

TEST(NetlinkMessages, AddressIsInHostByteOrder) {
  const auto messages = parse(
      address(RTM_NEWADDR, 3, 24, attribute(IFA_ADDRESS, quad(10, 1, 2, 3)) + attribute(IFA_LOCAL, quad(10, 1, 2, 3))));
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].kind, Kind::ADDRESS);
  EXPECT_EQ(messages[0].index, 3);
  EXPECT_EQ(messages[0].address, (DB::Netlink::Address{0x0A010203, 0x0A010203, 24}));
}

TEST(NetlinkMessages, PointToPointAddressIsTheLocalEnd) {
  const auto messages = parse(
      address(RTM_DELADDR, 3, 32, attribute(IFA_ADDRESS, quad(10, 0, 0, 1)) + attribute(IFA_LOCAL, quad(10, 0, 0, 2))));
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].kind, Kind::ADDRESS_GONE);
  EXPECT_EQ(messages[0].address, (DB::Netlink::Address{0x0A000002, 0x0A000001, 32}));
}

TEST(NetlinkMessages, EitherAddressMayBeMissing) {
  for (const std::uint16_t type : {IFA_LOCAL, IFA_ADDRESS}) {
    const auto messages = parse(address(RTM_NEWADDR, 3, 8, attribute(type, quad(10, 0, 0, 2))));
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].address, (DB::Netlink::Address{0x0A000002, 0x0A000002, 8}));
  }
  EXPECT_TRUE(parse(address(RTM_NEWADDR, 3, 8, {})).isEmpty());
}

TEST(NetlinkMessages, ImpossibleAddressesAreLeftOut) {
  const Bytes local = attribute(IFA_LOCAL, quad(10, 0, 0, 2));
  EXPECT_TRUE(parse(address(RTM_NEWADDR, 3, 33, local)).isEmpty());
  EXPECT_TRUE(parse(address(RTM_NEWADDR, 0, 24, local)).isEmpty());
  EXPECT_TRUE(parse(address(RTM_NEWADDR, 0x80000000U, 24, local)).isEmpty());
  EXPECT_TRUE(parse(address(RTM_NEWADDR, 3, 24, attribute(IFA_LOCAL, "abc"))).isEmpty());
  EXPECT_TRUE(parse(address(RTM_NEWADDR, 3, 24, attribute(IFA_LOCAL, std::string(16, 'a')), AF_INET6)).isEmpty());
}

TEST(NetlinkMessages, SeveralMessagesComeInTheirOrder) {
  const auto messages =
      parse(link(RTM_NEWLINK, 1, 0, name("a")) + message(RTM_NEWROUTE, Bytes(12)) + link(RTM_DELLINK, 2, 0, name("b")) +
            link(RTM_NEWLINK, 3, 0, {}) + link(RTM_NEWLINK, 4, 0, name("d")));
  ASSERT_EQ(messages.size(), 3U);
  EXPECT_EQ(messages[0].index, 1);
  EXPECT_EQ(messages[1].index, 2);
  EXPECT_EQ(messages[2].index, 4);
}

TEST(NetlinkMessages, EndsAndFailuresCarryTheirRequest) {
  Bytes code;
  append(code, int{0});
  Bytes refusal;
  append(refusal, nlmsgerr{-EPERM, {}});
  Bytes acknowledgement;
  append(acknowledgement, nlmsgerr{});
  Bytes dumpFailure;
  append(dumpFailure, int{-EMSGSIZE});
  const auto messages = parse(message(NLMSG_DONE, code, 0, 5) + message(NLMSG_ERROR, refusal, 0, 6) +
                              message(NLMSG_ERROR, acknowledgement, 0, 7) + message(NLMSG_DONE, dumpFailure, 0, 8) +
                              message(NLMSG_DONE, {}, 0, 9));
  ASSERT_EQ(messages.size(), 4U);
  EXPECT_EQ(messages[0].kind, Kind::END);
  EXPECT_EQ(messages[0].sequence, 5U);
  EXPECT_EQ(messages[1].kind, Kind::FAILURE);
  EXPECT_EQ(messages[1].sequence, 6U);
  EXPECT_EQ(messages[1].error, EPERM);
  EXPECT_EQ(messages[2].kind, Kind::FAILURE);
  EXPECT_EQ(messages[2].error, EMSGSIZE);
  EXPECT_EQ(messages[3].kind, Kind::END);
}

TEST(NetlinkMessages, ErrorsOutOfRangeAreStillErrors) {
  for (const int error : {INT32_MIN, -5000}) {
    Bytes payload;
    append(payload, error);
    const auto messages = parse(message(NLMSG_ERROR, payload));
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].error, EIO);
  }
}

TEST(NetlinkMessages, AnInterruptedListSaysSo) {
  ifinfomsg fixed{};
  fixed.ifi_index = 1;
  Bytes payload;
  append(payload, fixed);
  const auto messages = parse(message(RTM_NEWLINK, payload + name("a"), NLM_F_MULTI | NLM_F_DUMP_INTR, 5));
  ASSERT_EQ(messages.size(), 2U);
  EXPECT_EQ(messages[0].kind, Kind::INTERRUPTED);
  EXPECT_EQ(messages[0].sequence, 5U);
  EXPECT_EQ(messages[1].kind, Kind::LINK);
}

TEST(NetlinkMessages, MalformedAttributesDropTheirMessageOnly) {
  Bytes tooLong = name("eth0");
  tooLong[0] = std::byte{200};
  Bytes tooShort = name("eth0");
  tooShort[0] = std::byte{3};
  const Bytes good = link(RTM_NEWLINK, 9, 0, name("good"));
  for (const Bytes& bad : {tooLong, tooShort}) {
    const auto messages = parse(link(RTM_NEWLINK, 1, 0, name("a") + bad) + good);
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].name, "good");
  }
}

TEST(NetlinkMessages, FixedPartsThatAreTooShortAreLeftOut) {
  for (const std::uint16_t type : {RTM_NEWLINK, RTM_DELLINK, RTM_NEWADDR, RTM_DELADDR}) {
    for (std::size_t size = 0; size < 8; ++size) EXPECT_TRUE(parse(message(type, Bytes(size))).isEmpty());
  }
  EXPECT_TRUE(parse(message(NLMSG_ERROR, Bytes(3))).isEmpty());
}

TEST(NetlinkMessages, AWrongLengthEndsTheDatagram) {
  const Bytes good = link(RTM_NEWLINK, 9, 0, name("good"));
  for (const std::uint32_t length : {0U, 15U, 0x7FFFFFFFU, 0xFFFFFFFFU, 0xFFFFFFFCU}) {
    Bytes bad = link(RTM_NEWLINK, 1, 0, name("a"));
    std::memcpy(bad.data(), &length, sizeof(length));
    const auto messages = parse(good + bad + good);
    EXPECT_EQ(messages.size(), 1U) << length;
  }
}

TEST(NetlinkMessages, NothingIsReadFromNothing) {
  EXPECT_TRUE(parse({}).isEmpty());
  EXPECT_TRUE(parse(Bytes(7)).isEmpty());
}

TEST(NetlinkMessages, ADatagramCutShortYieldsItsWholeMessages) {
  const Bytes first = link(RTM_NEWLINK, 1, 0, name("a"));
  const Bytes all = first + address(RTM_NEWADDR, 1, 24, attribute(IFA_LOCAL, quad(10, 0, 0, 1)));
  for (std::size_t size = 0; size <= all.size(); ++size) {
    const auto messages = parse(Bytes(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(size)));
    const std::size_t whole = size == all.size() ? 2 : size >= first.size() ? 1 : 0;
    EXPECT_EQ(messages.size(), whole) << size;
  }
}

// A message that ends within its last word claims bytes beyond the datagram.
TEST(NetlinkMessages, AnUnalignedEndReadsNothingBeyondIt) {
  for (std::size_t size = 0; size < 8; ++size) {
    ifinfomsg fixed{};
    fixed.ifi_index = 1;
    Bytes payload;
    append(payload, fixed);
    const auto messages = parse(message(RTM_DELLINK, payload + Bytes(size, std::byte{4})));
    for (const Message& each : messages) EXPECT_EQ(each.index, 1);
  }
}

TEST(NetlinkMessages, FlippedBytesNeverReachBeyondTheDatagram) {
  const Bytes intact =
      link(RTM_NEWLINK, 1, IFF_UP, attribute(IFLA_MTU, "abcd") + name("eth0")) +
      address(RTM_NEWADDR, 1, 24, attribute(IFA_ADDRESS, quad(10, 0, 0, 1)) + attribute(IFA_LOCAL, quad(10, 0, 0, 2))) +
      link(RTM_DELLINK, 2, 0, name("eth1"));
  ASSERT_EQ(parse(intact).size(), 3U);
  std::mt19937 random(20'261'120);
  for (int round = 0; round < 5000; ++round) {
    Bytes bytes = intact;
    for (auto flips = 1 + random() % 6; flips > 0; --flips) {
      bytes[random() % bytes.size()] = static_cast<std::byte>(random() % 256);
    }
    bytes.resize(bytes.size() - random() % 5);
    for (const Message& each : parse(bytes)) {
      EXPECT_LT(each.name.length(), static_cast<std::size_t>(IFNAMSIZ));
      EXPECT_LE(each.address.prefix, 32);
      EXPECT_GE(each.index, 0);
    }
  }
}

}  // namespace
