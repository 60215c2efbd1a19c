// SPDX-License-Identifier: Apache-2.0
// Answers every SIP OPTIONS on UDP port 5060 with 200 OK, from the address that was asked: thousands of SIP phones for
// the load LAN, in one process that is faster than what asks them.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

namespace {

constexpr unsigned BATCH = 64;
constexpr std::uint16_t SIP_PORT = 5060;
constexpr int RECEIVE_BUFFER = 16 << 20;

// One datagram with its addresses. The buffers are used for the request, and again for the response.
struct Datagram {
  std::array<char, 2048> bytes;
  std::string response;
  sockaddr_in peer;
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(in_pktinfo))> control;
  iovec piece;
};

// The lines of a request whose header is one of these, as they came; the To gets a tag if it has none.
void copyHeaders(std::string_view request, std::string& response) {
  static constexpr std::array<std::string_view, 9> ECHOED = {
      "Via:", "v:", "From:", "f:", "To:", "Call-ID:", "i:", "t:", "CSeq:"};
  for (std::size_t end = 0; (end = request.find("\r\n")) != std::string_view::npos && end > 0;) {
    const std::string_view line = request.substr(0, end);
    request.remove_prefix(end + 2);
    for (const std::string_view name : ECHOED) {
      if (strncasecmp(line.data(), name.data(), name.size()) != 0) continue;
      response += line;
      const bool isTo = name == "To:" || name == "t:";
      if (isTo && line.find(";tag=") == std::string_view::npos) response += ";tag=bench";
      response += "\r\n";
    }
  }
}

bool answer(std::string_view request, std::string& response) {
  if (!request.starts_with("OPTIONS ")) return false;
  response = "SIP/2.0 200 OK\r\n";
  copyHeaders(request, response);
  response += "Allow: INVITE, ACK, CANCEL, BYE, OPTIONS\r\nServer: Bench phone 1.0\r\nContent-Length: 0\r\n\r\n";
  return true;
}

// The kernel is told to send from the address that the request was for.
void setSource(msghdr& header) {
  for (cmsghdr* item = CMSG_FIRSTHDR(&header); item != nullptr; item = CMSG_NXTHDR(&header, item)) {
    if (item->cmsg_level != IPPROTO_IP || item->cmsg_type != IP_PKTINFO) continue;
    in_pktinfo info{};
    std::memcpy(&info, CMSG_DATA(item), sizeof(info));
    info.ipi_spec_dst = info.ipi_addr;
    info.ipi_ifindex = 0;
    std::memcpy(CMSG_DATA(item), &info, sizeof(info));
  }
}

class SipResponder {
 public:
  bool open() {
    socket_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    sockaddr_in any{};
    any.sin_family = AF_INET;
    any.sin_port = htons(SIP_PORT);
    setsockopt(socket_, SOL_SOCKET, SO_RCVBUFFORCE, &RECEIVE_BUFFER, sizeof(RECEIVE_BUFFER));
    setsockopt(socket_, IPPROTO_IP, IP_PKTINFO, &on, sizeof(on));
    return bind(socket_, reinterpret_cast<sockaddr*>(&any), sizeof(any)) == 0;
  }

  // Waits for one request, and takes all that are there.
  bool serve() {
    for (unsigned i = 0; i < BATCH; ++i) prepare(datagrams_[i], messages_[i].msg_hdr);
    const int received = recvmmsg(socket_, messages_.data(), BATCH, MSG_WAITFORONE, nullptr);
    if (received < 0) return false;
    unsigned answers = 0;
    for (unsigned i = 0; i < static_cast<unsigned>(received); ++i) {
      Datagram& datagram = datagrams_[i];
      if (!answer({datagram.bytes.data(), messages_[i].msg_len}, datagram.response)) continue;
      setSource(messages_[i].msg_hdr);
      datagram.piece = {datagram.response.data(), datagram.response.size()};
      messages_[answers++] = messages_[i];
    }
    for (unsigned sent = 0; sent < answers;) {
      const int count = sendmmsg(socket_, &messages_[sent], answers - sent, 0);
      sent += count > 0 ? static_cast<unsigned>(count) : 1;
    }
    return true;
  }

 private:
  static void prepare(Datagram& datagram, msghdr& header) {
    datagram.piece = {datagram.bytes.data(), datagram.bytes.size()};
    header = {};
    header.msg_name = &datagram.peer;
    header.msg_namelen = sizeof(datagram.peer);
    header.msg_iov = &datagram.piece;
    header.msg_iovlen = 1;
    header.msg_control = datagram.control.data();
    header.msg_controllen = datagram.control.size();
  }

  int socket_ = -1;
  std::array<Datagram, BATCH> datagrams_;
  std::array<mmsghdr, BATCH> messages_;
};

}  // namespace

int main() {
  static SipResponder responder;
  if (!responder.open()) {
    std::perror("sip-responder");
    return 1;
  }
  while (responder.serve()) continue;
  return 1;
}
