// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

#include "links/LineReader.h"
#include "platform/loop/KXEventLoop.h"
#include "platform/loop/KXEventTimeout.h"
#include "platform/loop/LineWriter.h"
#include "platform/service/ITransport.h"
#include "platform/service/ServiceSession.h"

namespace KX::NMS {

// One session over a pair of descriptors, which may be the same, of any kind: a message is a line. Input is read as it
// comes, one piece a turn of the loop, so that many connections share the loop fairly. The link owns the connection;
// the descriptors stay the link's. It may be stopped from anywhere and destroyed from its handlers, but not from inside
// a request.
class LineConnection final : public ITransport {
 public:
  // Called from the loop; each may stop or destroy the connection.
  struct Handlers {
    // Once: every line has been answered. The session is still open.
    std::function<void()> onInputEnded;
    // Once, also after the end of the input: nothing can be sent any more, and nothing more is read.
    std::function<void()> onFailed;
    // What was queued has gone out.
    std::function<void()> onDrained = nullptr;
  };

  LineConnection(KXEventLoop& loop, const SessionOptions& options, int input, int output, Handlers handlers);

  // Reads nothing where the start of the service has stopped the connection.
  XCode start();
  // The service is stopped; what is queued still goes out on the loop.
  void closeSession() { session_.close(); }
  // The same, and waits a while for the peer to take what is queued. Called once; afterwards nothing is called, and the
  // descriptors are not used any more.
  void stop();
  // Reads and handles what is there, up to 16 KiB; waits if nothing is.
  void readPiece();
  // Whether the peer has begun a line and then sent nothing for half a minute. It may still go on.
  bool isStalled() const { return reader_.isInLine() && !silence_.isActive(); }
  std::size_t unsent() const { return writer_.unsent(); }

  XCode send(const String& message) override { return writer_.send(message); }

 private:
  void receive(std::string_view bytes);
  void receiveRest();
  void onSilence() {}
  void endInput();
  void onFailed(const XCode& reason);

  RTD::Monitor* monitor_;
  KXEventLoop& loop_;
  int input_;
  Handlers handlers_;
  LineReader reader_;
  LineWriter writer_;
  ServiceSession session_;
  std::unique_ptr<KX::WatchEvent> readable_;
  // In place of a watch, for input that cannot be watched because it never lets a reader wait.
  KXEventTimeout<LineConnection> nextPiece_;
  // Runs out when the peer falls silent in the middle of a line.
  KXEventTimeout<LineConnection> silence_;
};

}  // namespace KX::NMS
