// SPDX-License-Identifier: Apache-2.0
#include "platform/database/KernelInterfaces.h"

#include <poll.h>

#include <cerrno>

namespace DB {

namespace {

using Kind = Netlink::Message::Kind;
using Received = Netlink::Socket::Received;

// Interfaces that keep changing while they are listed are listed again, this often at most.
constexpr int MAX_ATTEMPTS = 5;
// The kernel answers while it is asked; this bound is for one that does not.
constexpr int ANSWER_TIMEOUT_MS = 1000;
// The rest waits for the loop's next turn, so that a storm of changes does not hold up everything else.
constexpr int MAX_DATAGRAMS_PER_TURN = 64;

constexpr std::uint32_t LINKS = 1;
constexpr std::uint32_t ADDRESSES = 2;

bool waitForAnswer(int descriptor) {
  pollfd waiting{descriptor, POLLIN, 0};
  int ready = 0;
  do {
    ready = poll(&waiting, 1, ANSWER_TIMEOUT_MS);
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

}  // namespace

KernelInterfaces::~KernelInterfaces() {
  unfollow();
  database_.setSource(nullptr);
}

XCode KernelInterfaces::start() {
  XCode result = read();
  return result.isErr() ? result : database_.openInMemory(this);
}

XCode KernelInterfaces::update(Connection& connection) {
  if (watch_ == nullptr) {
    XCode result = read();
    if (result.isErr()) return result;
  }
  if (!isChanged_) return XCode();
  XCode result = connection.start();
  if (result.isErr()) return result;
  tables_.write(connection);
  result = connection.commit();
  isChanged_ = result.isErr();
  return result;
}

XCode KernelInterfaces::read() {
  bool isComplete = false;
  XCode result;
  for (int attempt = 0; attempt < MAX_ATTEMPTS && !isComplete && result.isSuccess(); ++attempt) {
    result = readOnce(isComplete);
  }
  if (result.isSuccess() && !isComplete) result = XCode::error("They keep changing"_s);
  if (result.isErr()) {
    unfollow();
    result.extendString("Cannot read the kernel's interfaces"_s, ": ");
    return result;
  }
  follow();
  return result;
}

// On a fresh socket, so that nothing older than the lists follows them. It is subscribed before it asks: what changes
// from then on comes behind the lists or among them, and in the order in which it happened.
XCode KernelInterfaces::readOnce(bool& isComplete) {
  unfollow();
  tables_.clear();
  isChanged_ = true;
  isComplete = true;
  XCode result = socket_.open();
  if (result.isSuccess()) result = socket_.requestLinks(LINKS);
  if (result.isSuccess()) result = list(LINKS, isComplete);
  if (result.isErr() || !isComplete) return result;
  result = socket_.requestAddresses(ADDRESSES);
  return result.isErr() ? result : list(ADDRESSES, isComplete);
}

XCode KernelInterfaces::list(std::uint32_t sequence, bool& isComplete) {
  KXVector<Netlink::Message> messages;
  for (;;) {
    const Received received = socket_.receive(messages);
    if (received == Received::LOSS) {
      isComplete = false;
      return XCode();
    }
    if (received == Received::NOTHING && !waitForAnswer(socket_.descriptor())) return XCode::fromErrno(ETIMEDOUT);
    apply(messages);
    for (const Netlink::Message& message : messages) {
      if (message.sequence != sequence) continue;
      if (message.kind == Kind::INTERRUPTED) isComplete = false;
      if (message.kind == Kind::FAILURE) return XCode::fromErrno(message.error);
      if (message.kind == Kind::END) return XCode();
    }
  }
}

void KernelInterfaces::follow() {
  watch_ = loop_.createDescriptorEvent(socket_.descriptor(), KXEventLoop::READABLE, [this](unsigned) { onReadable(); });
  if (watch_ == nullptr) socket_.close();
}

void KernelInterfaces::unfollow() {
  watch_.reset();
  socket_.close();
}

void KernelInterfaces::onReadable() {
  KXVector<Netlink::Message> messages;
  for (int i = 0; i < MAX_DATAGRAMS_PER_TURN; ++i) {
    const Received received = socket_.receive(messages);
    if (received == Received::LOSS) return unfollow();
    if (received == Received::NOTHING) return;
    apply(messages);
  }
}

void KernelInterfaces::apply(const KXVector<Netlink::Message>& messages) {
  for (const Netlink::Message& message : messages) isChanged_ = tables_.apply(message) || isChanged_;
}

}  // namespace DB
