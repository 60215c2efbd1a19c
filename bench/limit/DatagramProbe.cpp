// SPDX-License-Identifier: Apache-2.0
#include "bench/limit/DatagramProbe.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

namespace Limit {

namespace {

constexpr int BUFFER = 16 << 20;
// How long the kernel is left alone when its neighbour table or a queue is full.
constexpr Clock::duration PAUSE = std::chrono::milliseconds(20);

}  // namespace

struct DatagramProbe::Batch {
  std::array<std::size_t, BATCH> chosen;
  std::array<mmsghdr, BATCH> messages;
  std::array<iovec, BATCH> pieces;
  std::array<std::array<char, 2048>, BATCH> bytes;
  std::array<sockaddr_in, BATCH> sources;
};

DatagramProbe::DatagramProbe(Service service, const std::vector<Target>& targets, HostGate& gate)
    : format_(createDatagramFormat(service, targets.front().address)),
      targets_(targets),
      states_(targets_.size()),
      gate_(gate),
      socket_(format_->openSocket()) {
  const int on = 1;
  if (socket_ < 0) throw std::runtime_error("cannot open a socket");
  setsockopt(socket_, SOL_SOCKET, SO_RCVBUFFORCE, &BUFFER, sizeof(BUFFER));
  setsockopt(socket_, SOL_SOCKET, SO_SNDBUFFORCE, &BUFFER, sizeof(BUFFER));
  // Without it a full neighbour table drops what is sent, and says nothing.
  setsockopt(socket_, IPPROTO_IP, IP_RECVERR, &on, sizeof(on));
}

DatagramProbe::~DatagramProbe() { close(socket_); }

bool DatagramProbe::send(Clock::time_point now) {
  static Batch batch;
  giveUp(now);
  if (now < pausedUntil_) return false;
  if (const unsigned count = chooseSecondTries(now, batch); count > 0) {
    const unsigned sent = sendBatch(batch, count, now);
    second_ = sent == count ? batch.chosen[count - 1] + 1 : batch.chosen[sent];
    return sent == count;
  }
  const unsigned count = chooseFirstTries(batch);
  const unsigned sent = count > 0 ? sendBatch(batch, count, now) : 0;
  first_ += sent;
  waiting_ += sent;
  return sent == count && hasFirstTries();
}

unsigned DatagramProbe::chooseSecondTries(Clock::time_point now, Batch& batch) {
  unsigned count = 0;
  for (std::size_t i = second_; i < first_ && count < BATCH; ++i) {
    const bool isSettled = states_[i].isSettled;
    if (!isSettled && states_[i].asked + TIMEOUT > now) break;
    if (!isSettled) batch.chosen[count++] = i;
    if (count == 0) second_ = i + 1;
  }
  return count;
}

unsigned DatagramProbe::chooseFirstTries(Batch& batch) {
  unsigned count = 0;
  while (count < BATCH && first_ + count < targets_.size() && gate_.admits(targets_[first_ + count].host)) {
    batch.chosen[count] = first_ + count;
    ++count;
  }
  return count;
}

void DatagramProbe::giveUp(Clock::time_point now) {
  for (; givenUp_ < second_; ++givenUp_) {
    State& state = states_[givenUp_];
    if (state.isSettled) continue;
    if (state.asked + TIMEOUT > now) return;
    settle(givenUp_, now);
  }
}

void DatagramProbe::settle(std::size_t index, Clock::time_point now) {
  states_[index].isSettled = true;
  --waiting_;
  gate_.settle(targets_[index].host, now);
}

// How many of them went out.
unsigned DatagramProbe::sendBatch(Batch& batch, unsigned count, Clock::time_point now) {
  for (unsigned i = 0; i < count; ++i) {
    const std::size_t index = batch.chosen[i];
    const sockaddr_in& target = targets_[index].address;
    char* const bytes = batch.bytes[i].data();
    batch.pieces[i] = {bytes, format_->write(static_cast<std::uint32_t>(index), target, bytes)};
    batch.messages[i] = {};
    batch.messages[i].msg_hdr.msg_name = const_cast<sockaddr_in*>(&target);
    batch.messages[i].msg_hdr.msg_namelen = sizeof(sockaddr_in);
    batch.messages[i].msg_hdr.msg_iov = &batch.pieces[i];
    batch.messages[i].msg_hdr.msg_iovlen = 1;
  }
  int result = sendmmsg(socket_, batch.messages.data(), count, 0);
  // The error of an earlier datagram, which is gone now; the queue of errors tells whose.
  if (result < 0 && errno != ENOBUFS && errno != EAGAIN) result = sendmmsg(socket_, batch.messages.data(), count, 0);
  const bool isFull = result < 0 && (errno == ENOBUFS || errno == EAGAIN);
  if (isFull) pausedUntil_ = now + PAUSE;
  const unsigned sent = result > 0 ? static_cast<unsigned>(result) : isFull ? 0 : 1;
  for (unsigned i = 0; i < sent; ++i) states_[batch.chosen[i]].asked = now;
  return sent;
}

void DatagramProbe::receive(Clock::time_point now) {
  receiveAnswers(now);
  receiveErrors(now);
}

void DatagramProbe::receiveAnswers(Clock::time_point now) {
  static Batch batch;
  for (unsigned i = 0; i < BATCH; ++i) batch.pieces[i] = {batch.bytes[i].data(), batch.bytes[i].size()};
  int received = BATCH;
  while (received == BATCH) {
    for (unsigned i = 0; i < BATCH; ++i) {
      batch.messages[i].msg_hdr = {&batch.sources[i], sizeof(sockaddr_in), &batch.pieces[i], 1, nullptr, 0, 0};
    }
    received = recvmmsg(socket_, batch.messages.data(), BATCH, 0, nullptr);
    for (unsigned i = 0; received > 0 && i < static_cast<unsigned>(received); ++i) {
      const auto index = format_->match({batch.bytes[i].data(), batch.messages[i].msg_len});
      if (!index || *index >= first_ || states_[*index].isSettled) continue;
      if (targets_[*index].address.sin_addr.s_addr != batch.sources[i].sin_addr.s_addr) continue;
      settle(*index, now);
      ++answers_;
    }
  }
}

// A port or a host that is unreachable ends the waiting for it.
void DatagramProbe::receiveErrors(Clock::time_point now) {
  sockaddr_in target{};
  char byte = 0;
  iovec piece{&byte, sizeof(byte)};
  msghdr header{&target, sizeof(target), &piece, 1, nullptr, 0, 0};
  for (; recvmsg(socket_, &header, MSG_ERRQUEUE) >= 0; header.msg_namelen = sizeof(target)) {
    for (std::size_t i = 0; i < first_; ++i) {
      if (targets_[i].address.sin_addr.s_addr == target.sin_addr.s_addr && !states_[i].isSettled) settle(i, now);
    }
  }
}

Clock::time_point DatagramProbe::nextTime() const {
  Clock::time_point result = Clock::time_point::max();
  if (givenUp_ < second_) result = std::min(result, states_[givenUp_].asked + TIMEOUT);
  if (second_ < first_) result = std::min(result, states_[second_].asked + TIMEOUT);
  if (hasFirstTries()) result = std::min(result, pausedUntil_);
  return std::max(result, pausedUntil_);
}

}  // namespace Limit
