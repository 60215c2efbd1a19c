// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/DatagramProber.h"

#include <linux/errqueue.h>

#include <algorithm>
#include <cerrno>

namespace ServiceScan {
namespace {

constexpr std::size_t BATCH = 32;
// One prober does not keep the loop from the others, however much comes in.
constexpr int BATCHES_A_TURN = 8;
// A burst of answers waits here while other probers are at work.
constexpr int RECEIVE_BUFFER_BYTES = 1 << 20;
// A send reports what befell earlier packets, too, and has then sent nothing.
constexpr int ATTEMPTS = 8;

sockaddr_in socketAddress(std::uint32_t address, std::uint16_t port) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_addr.s_addr = htonl(address);
  result.sin_port = htons(port);
  return result;
}

}  // namespace

struct DatagramProber::Batch {
  struct Part {
    mmsghdr header{};
    iovec area{};
    sockaddr_in address{};
  };

  // The same memory serves both directions, one after the other.
  void prepare(std::size_t index, std::size_t bytes) {
    Part& part = parts[index];
    part.area = {buffers[index], bytes};
    part.header.msg_hdr = {};
    part.header.msg_hdr.msg_name = &part.address;
    part.header.msg_hdr.msg_namelen = sizeof(part.address);
    part.header.msg_hdr.msg_iov = &part.area;
    part.header.msg_hdr.msg_iovlen = 1;
    headers[index] = part.header;
  }

  Part parts[BATCH];
  mmsghdr headers[BATCH];
  char buffers[BATCH][MAX_ANSWER_BYTES];
};

DatagramProber::DatagramProber(KXEventLoop& loop, Outcome& outcome, const Targets& targets, Service service)
    : outcome_(outcome), targets_(targets), loop_(loop), service_(service) {}

DatagramProber::~DatagramProber() = default;

void DatagramProber::use(int socket) {
  if (socket < 0) {
    openError_ = XCode::fromErrno(errno);
    return;
  }
  socket_ = KX::Shell::Descriptor(socket);
  batch_ = std::make_unique<Batch>();
  const int on = 1;
  static_cast<void>(setsockopt(socket, SOL_IP, IP_RECVERR, &on, sizeof(on)));
  // Questions are small. What is never fragmented needs no number for its fragments, which takes the kernel time.
  const int never = IP_PMTUDISC_DO;
  static_cast<void>(setsockopt(socket, SOL_IP, IP_MTU_DISCOVER, &never, sizeof(never)));
  if (setsockopt(socket, SOL_SOCKET, SO_RCVBUFFORCE, &RECEIVE_BUFFER_BYTES, sizeof(int)) != 0) {
    static_cast<void>(setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &RECEIVE_BUFFER_BYTES, sizeof(int)));
  }
  readable_ = loop_.createDescriptorEvent(socket, KXEventLoop::READABLE, [this](unsigned) { onReadable(); });
}

bool DatagramProber::start(ProbeIndex probe) {
  if (openError_.isErr()) {
    outcome_.failed(probe, openError_.toString());
  } else {
    outgoing_.push_back(probe);
  }
  return true;
}

String DatagramProber::giveUp(ProbeIndex) { return "No answer"_s; }

// What the system has no room for stays for the next call.
void DatagramProber::flush() {
  std::erase_if(outgoing_, [this](ProbeIndex probe) { return targets_.probes[probe].state == Probe::State::ENDED; });
  std::size_t sent = 0;
  while (sent < outgoing_.size() && sendBatch(sent)) {
  }
  outgoing_.erase(outgoing_.begin(), outgoing_.begin() + static_cast<std::ptrdiff_t>(sent));
}

bool DatagramProber::sendBatch(std::size_t& sent) {
  const std::size_t count = std::min(outgoing_.size() - sent, BATCH);
  for (std::size_t index = 0; index < count; ++index) {
    const ProbeIndex number = outgoing_[sent + index];
    const Probe& probe = targets_.probes[number];
    batch_->prepare(index,
                    compose(number, std::span<char, MAX_QUESTION_BYTES>(batch_->buffers[index], MAX_QUESTION_BYTES)));
    batch_->parts[index].address = socketAddress(targets_.addressOf(probe), service_ == Service::PING ? 0 : probe.port);
  }
  int attempts = ATTEMPTS;
  for (std::size_t done = 0; done < count;) {
    const int result =
        sendmmsg(socket_.get(), batch_->headers + done, static_cast<unsigned>(count - done), MSG_DONTWAIT);
    if (result > 0) {
      done += static_cast<std::size_t>(result);
      sent += static_cast<std::size_t>(result);
      attempts = ATTEMPTS;
    } else if (errno == EAGAIN || errno == ENOBUFS || errno == ENOMEM) {
      return false;
    } else if (errno != EINTR && --attempts == 0) {
      outcome_.failed(outgoing_[sent], XCode::fromErrno(errno).toString());
      ++done;
      ++sent;
      attempts = ATTEMPTS;
    }
  }
  return true;
}

void DatagramProber::onReadable() {
  for (int turn = 0; turn < BATCHES_A_TURN && readBatch(); ++turn) {
  }
  for (std::size_t turn = 0; turn < BATCH && readError(); ++turn) {
  }
  outcome_.batchEnded();
}

bool DatagramProber::readBatch() {
  for (std::size_t index = 0; index < BATCH; ++index) batch_->prepare(index, MAX_ANSWER_BYTES);
  const int count = recvmmsg(socket_.get(), batch_->headers, BATCH, MSG_DONTWAIT, nullptr);
  for (int index = 0; index < count; ++index) {
    const sockaddr_in& sender = batch_->parts[index].address;
    read({{batch_->buffers[index], batch_->headers[index].msg_len}, ntohl(sender.sin_addr.s_addr)});
  }
  return count == static_cast<int>(BATCH);
}

// One entry of the socket's error queue; the address is that of the packet that was refused.
bool DatagramProber::readError() {
  alignas(cmsghdr) char control[256];
  sockaddr_in address{};
  msghdr header{};
  header.msg_name = &address;
  header.msg_namelen = sizeof(address);
  header.msg_control = control;
  header.msg_controllen = sizeof(control);
  if (recvmsg(socket_.get(), &header, MSG_ERRQUEUE | MSG_DONTWAIT) < 0) return false;
  for (cmsghdr* part = CMSG_FIRSTHDR(&header); part != nullptr; part = CMSG_NXTHDR(&header, part)) {
    if (part->cmsg_level != SOL_IP || part->cmsg_type != IP_RECVERR) continue;
    const auto* const error = reinterpret_cast<const sock_extended_err*>(CMSG_DATA(part));
    refuse(ntohl(address.sin_addr.s_addr), ntohs(address.sin_port), static_cast<int>(error->ee_errno));
  }
  return true;
}

void DatagramProber::refuse(std::uint32_t address, std::uint16_t port, int error) {
  for (const ProbeIndex probe : probesAt(address)) {
    const bool isMeant = service_ == Service::PING || targets_.probes[probe].port == port;
    if (isMeant) outcome_.failed(probe, XCode::fromErrno(error).toString());
  }
}

std::span<const ProbeIndex> DatagramProber::probesAt(std::uint32_t address) {
  const auto addressOf = [this](ProbeIndex probe) { return targets_.addressOf(targets_.probes[probe]); };
  if (byAddress_.empty()) {
    for (ProbeIndex index = 0; index < targets_.probes.size(); ++index) {
      if (targets_.probes[index].service == service_) byAddress_.push_back(index);
    }
    std::stable_sort(byAddress_.begin(), byAddress_.end(),
                     [&](ProbeIndex left, ProbeIndex right) { return addressOf(left) < addressOf(right); });
  }
  const auto first = std::lower_bound(byAddress_.begin(), byAddress_.end(), address,
                                      [&](ProbeIndex left, std::uint32_t right) { return addressOf(left) < right; });
  const auto end = std::upper_bound(first, byAddress_.end(), address,
                                    [&](std::uint32_t left, ProbeIndex right) { return left < addressOf(right); });
  return {first, end};
}

bool DatagramProber::isExpected(std::uint64_t number, std::uint32_t address) const {
  if (number >= targets_.probes.size()) return false;
  const Probe& probe = targets_.probes[static_cast<std::size_t>(number)];
  return probe.service == service_ && probe.state == Probe::State::RUNNING && targets_.addressOf(probe) == address;
}

}  // namespace ServiceScan
