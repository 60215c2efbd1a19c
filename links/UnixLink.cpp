// SPDX-License-Identifier: Apache-2.0
#include "links/UnixLink.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

#include "platform/monitor/Monitor.h"

namespace KX::NMS {

namespace {

constexpr std::uint64_t RETRY_MS = 1000;
constexpr std::uint64_t LINGER_MS = 5000;

// Whether the peer has closed its socket (POLLHUP), or at least its sending side (POLLRDHUP).
bool hasHungUp(int descriptor, short how) {
  pollfd entry{descriptor, how, 0};
  return ::poll(&entry, 1, 0) > 0 && (static_cast<unsigned>(entry.revents) & static_cast<unsigned>(how)) != 0;
}

bool isOutOfDescriptors(int error) { return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM; }

}  // namespace

UnixLink::UnixLink(KXEventLoop& loop, const SessionOptions& options, const String& path)
    : loop_(loop),
      options_(options),
      path_(path),
      retry_(loop, 0, *this, &UnixLink::listen),
      lingering_(loop, 0, *this, &UnixLink::disconnect) {}

XCode UnixLink::start() {
  const XCode result = file_.listen(path_);
  if (result.isSuccess()) listen();
  return result;
}

void UnixLink::stop() {
  acceptable_.reset();
  retry_.stop();
  lingering_.stop();
  // A request that stops the link is still being handled by the connection, which therefore stays.
  if (peer_) {
    connection_->stop();
    static_cast<void>(::shutdown(peer_.get(), SHUT_RDWR));
    peer_.reset();
  }
  file_.close();
}

void UnixLink::listen() {
  acceptable_ = loop_.createDescriptorEvent(file_.number(), KXEventLoop::READABLE, [this](unsigned) { acceptPeer(); });
  if (acceptable_ == nullptr) retry_.start(RETRY_MS, false, false);
}

void UnixLink::acceptPeer() {
  KX::Shell::Descriptor peer = file_.accept();
  if (!peer && isOutOfDescriptors(errno)) {
    // The peer stays in the queue and would be told of again and again.
    acceptable_.reset();
    retry_.start(RETRY_MS, false, false);
  }
  if (!peer) return;
  finishGonePeer();
  // A last request of the peer before may have stopped the link.
  if (isListening() && connection_ == nullptr) connect(std::move(peer));
}

void UnixLink::finishGonePeer() {
  while (isReceiving() && hasHungUp(peer_.get(), POLLRDHUP)) connection_->readPiece();
  if (isListening() && connection_ != nullptr && hasHungUp(peer_.get(), POLLHUP)) disconnect();
}

void UnixLink::connect(KX::Shell::Descriptor peer) {
  peer_ = std::move(peer);
  connection_ =
      std::make_unique<LineConnection>(loop_, options_, peer_.get(), peer_.get(),
                                       LineConnection::Handlers{[this] { onInputEnded(); }, [this] { disconnect(); },
                                                                [this] {
                                                                  if (lingering_.isActive()) disconnect();
                                                                }});
  const XCode result = connection_->start();
  if (result.isSuccess()) return;
  if (options_.monitor != nullptr) {
    options_.monitor->note(RTD::OUTCOME, "[link] "_s, "Service not opened: %s", result.toString().c_str());
  }
  disconnect();
}

void UnixLink::onInputEnded() {
  connection_->closeSession();
  lingering_.start(LINGER_MS, false, false);
  if (connection_->unsent() == 0) disconnect();
}

void UnixLink::disconnect() {
  lingering_.stop();
  connection_.reset();
  peer_.reset();
}

}  // namespace KX::NMS
