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

// Whether the peer has closed its socket (POLLHUP), or at least its sending side (POLLRDHUP), or has sent something
// (POLLIN).
bool pollSays(int descriptor, short how) {
  pollfd entry{descriptor, how, 0};
  return ::poll(&entry, 1, 0) > 0 && (static_cast<unsigned>(entry.revents) & static_cast<unsigned>(how)) != 0;
}

bool isSameUser(const KX::Shell::Descriptor& one, const KX::Shell::Descriptor& other) {
  ucred users[2]{};
  socklen_t length = sizeof users[0];
  return ::getsockopt(one.get(), SOL_SOCKET, SO_PEERCRED, &users[0], &length) == 0 &&
         ::getsockopt(other.get(), SOL_SOCKET, SO_PEERCRED, &users[1], &length) == 0 && users[0].uid == users[1].uid;
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
  dropStalledPeer(peer);
  // A last request of the peer before may have stopped the link.
  if (isListening() && connection_ == nullptr) connect(std::move(peer));
}

void UnixLink::finishGonePeer() {
  while (isReceiving() && pollSays(peer_.get(), POLLRDHUP)) connection_->readPiece();
  if (isListening() && connection_ != nullptr && pollSays(peer_.get(), POLLHUP)) disconnect();
}

void UnixLink::dropStalledPeer(const KX::Shell::Descriptor& next) {
  // Where the loop was held up, what the peer has sent may wait to be read.
  if (!isReceiving() || !connection_->isStalled() || pollSays(peer_.get(), POLLIN) || !isSameUser(peer_, next)) return;
  note("Connection failed", "The peer is silent in the middle of a message"_s);
  disconnect();
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
  note("Service not opened", result.toString());
  disconnect();
}

void UnixLink::note(const char* what, const String& reason) const {
  if (options_.monitor == nullptr) return;
  options_.monitor->note(RTD::OUTCOME, "[link] "_s, "%s: %s", what, reason.c_str());
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
