// SPDX-License-Identifier: Apache-2.0
#include "tools/client/Discovery.h"

#include <arpa/inet.h>
#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/text/Printable.h"
#include "tools/client/DiscoverySocket.h"
#include "tools/client/Message.h"

namespace DeviceDiscovery::Client {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Asked again because questions and answers may be lost, and each time late enough for an earlier loss to have passed.
constexpr std::array<milliseconds, 3> QUESTION_TIMES = {milliseconds(0), milliseconds(500), milliseconds(1200)};
// What is kept at the end for MAC addresses that the kernel does not know yet, and how often it is asked.
constexpr milliseconds IDENTIFYING(450);
constexpr milliseconds IDENTIFYING_STEP(100);
constexpr milliseconds RESERVE(50);
// Packets to provoke ARP requests in a step: an answer with a forged sender may ask for one, but not for a flood.
constexpr std::size_t MAX_PINGS = 256;

struct Token {
  std::array<char, 8> bytes{};
  std::uint16_t messageId = 0;

  std::string_view text() const { return {bytes.data(), bytes.size()}; }
};

class Discovery {
 public:
  Discovery(const Token& token, milliseconds timeout, Devices& devices)
      : token_(token), reader_(token.text()), start_(steady_clock::now()), timeout_(timeout), devices_(devices) {}

  XCode run(const String& interface) {
    XCode result = socket_.open(interface);
    if (result.isSuccess()) result = askAndListen();
    if (result.isSuccess()) identify();
    if (result.isErr()) result.extendString(toPrintable(interface), ": ");
    return result;
  }

 private:
  XCode askAndListen() {
    const milliseconds end = timeout_ - IDENTIFYING - RESERVE;
    for (std::size_t i = 0; i < QUESTION_TIMES.size(); ++i) {
      const bool isLast = i + 1 == QUESTION_TIMES.size() || QUESTION_TIMES[i + 1] + milliseconds(LEISURE_MS) > end;
      XCode result = ask();
      // The interface may go down meanwhile; what has been heard by then counts.
      if (result.isErr() && i == 0) return result;
      listenUntil(start_ + (isLast ? end : QUESTION_TIMES[i + 1]));
      if (isLast) break;
    }
    return XCode();
  }

  XCode ask() { return socket_.send(ntohl(inet_addr(GROUP)), PORT, composeQuestion(nextMessageId(), token_.text())); }

  void listenUntil(Deadline deadline) {
    DiscoverySocket::Datagram datagram;
    while (socket_.receive(datagram, deadline)) {
      Description description;
      if (devices_.isKnown(datagram.address) || !reader_.read(datagram.bytes, description)) continue;
      devices_.add(datagram.address, description);
      const std::string acknowledgement = reader_.acknowledgement();
      if (acknowledgement.empty()) continue;
      static_cast<void>(socket_.send(datagram.address, datagram.port, acknowledgement));
    }
  }

  void identify() {
    NeighbourTable table;
    const Deadline end = start_ + timeout_ - RESERVE;
    for (;;) {
      devices_.identify(table.neighbours(), socket_.interfaceIndex());
      const std::vector<std::uint32_t> unidentified = devices_.unidentified();
      if (unidentified.empty() || steady_clock::now() >= end) break;
      for (std::size_t i = 0; i < unidentified.size() && i < MAX_PINGS; ++i) {
        static_cast<void>(socket_.send(unidentified[i], PORT, composePing(nextMessageId())));
      }
      listenUntil(std::min(end, steady_clock::now() + IDENTIFYING_STEP));
    }
    devices_.dropUnidentified();
  }

  std::uint16_t nextMessageId() { return token_.messageId++; }

  Token token_;
  AnswerReader reader_;
  DiscoverySocket socket_;
  const Deadline start_;
  const milliseconds timeout_;
  Devices& devices_;
};

}  // namespace

XCode discover(const String& interface, std::uint32_t timeoutMs, Devices& devices) {
  Token token;
  if (getrandom(&token, sizeof(token), 0) != sizeof(token)) return XCode::fromErrno(errno);
  return Discovery(token, milliseconds(timeoutMs), devices).run(interface);
}

}  // namespace DeviceDiscovery::Client
