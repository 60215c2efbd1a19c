// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "links/LineConnection.h"
#include "links/Link.h"
#include "links/SocketFile.h"
#include "platform/base/String.h"

namespace KX::NMS {

// The link over a Unix socket. It listens at a path and serves one peer at a time; a further one is closed at once,
// unless it is of the same user and the one that is served has been silent in the middle of a line for half a minute:
// then it takes over. The service is open while a peer is connected, a new instance for each. A peer that has shut down
// its sending side still gets its answers, for up to five seconds. The link never ends by itself.
class UnixLink final : public Link {
 public:
  UnixLink(KXEventLoop& loop, const SessionOptions& options, const String& path);
  ~UnixLink() override { stop(); }

  // Called once. An error says what is wrong with the path.
  XCode start() override;
  void stop() override;

 private:
  void listen();
  void acceptPeer();
  // A peer that has gone makes room, also where the loop tells of the next peer first.
  void finishGonePeer();
  // A peer that hangs makes room for the next one of its user.
  void dropStalledPeer(const KX::Shell::Descriptor& next);
  void connect(KX::Shell::Descriptor peer);
  void note(const char* what, const String& reason) const;
  void onInputEnded();
  void disconnect();
  bool isListening() const { return acceptable_ != nullptr; }
  bool isReceiving() const { return isListening() && connection_ != nullptr && !lingering_.isActive(); }

  KXEventLoop& loop_;
  SessionOptions options_;
  String path_;
  SocketFile file_;
  std::unique_ptr<KX::WatchEvent> acceptable_;
  // Runs while no further descriptor can be had.
  KXEventTimeout<UnixLink> retry_;
  // Runs while a peer still reads that will send nothing more.
  KXEventTimeout<UnixLink> lingering_;
  KX::Shell::Descriptor peer_;
  std::unique_ptr<LineConnection> connection_;
};

}  // namespace KX::NMS
