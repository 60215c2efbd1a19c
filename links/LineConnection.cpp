// SPDX-License-Identifier: Apache-2.0
#include "links/LineConnection.h"

#include <unistd.h>

#include <cerrno>

#include "platform/monitor/Monitor.h"

namespace KX::NMS {

namespace {

constexpr std::size_t PIECE = 16384;
constexpr std::chrono::seconds FLUSH_LIMIT(5);
constexpr std::uint64_t SILENCE_MS = 30'000;

// From a copy, since the handler may destroy the connection and itself with it.
void call(const std::function<void()>& handler) {
  const std::function<void()> kept = handler;
  if (kept) kept();
}

}  // namespace

LineConnection::LineConnection(KXEventLoop& loop, const SessionOptions& options, int input, int output,
                               Handlers handlers)
    : monitor_(options.monitor),
      loop_(loop),
      input_(input),
      handlers_(std::move(handlers)),
      reader_(options.messageLimit),
      writer_(loop, output, {[this](const XCode& reason) { onFailed(reason); }, [this] { call(handlers_.onDrained); }}),
      session_(options, *this),
      nextPiece_(loop, 0, *this, &LineConnection::readPiece),
      silence_(loop, 0, *this, &LineConnection::onSilence) {}

XCode LineConnection::start() {
  const XCode result = session_.open();
  if (!session_.isOpen()) return result;
  readable_ = loop_.createDescriptorEvent(input_, KXEventLoop::READABLE, [this](unsigned) { readPiece(); });
  if (readable_ == nullptr) nextPiece_.start(0, false, false);
  return result;
}

void LineConnection::stop() {
  endInput();
  session_.close();
  writer_.flush(FLUSH_LIMIT);
  handlers_ = {};
}

// A descriptor that is shared with another reader, or that somebody has made non-blocking, may have nothing after all.
void LineConnection::readPiece() {
  if (readable_ == nullptr) nextPiece_.start(0, false, false);
  char bytes[PIECE];
  const ssize_t length = ::read(input_, bytes, sizeof bytes);
  if (length < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (length > 0) return receive({bytes, static_cast<std::size_t>(length)});
  receiveRest();
  endInput();
  call(handlers_.onInputEnded);
}

void LineConnection::receive(std::string_view bytes) {
  reader_.feed(bytes);
  std::string_view line;
  for (auto result = reader_.next(line); result != LineReader::Result::NEED_MORE; result = reader_.next(line)) {
    if (result == LineReader::Result::LINE) {
      session_.receive(line);
    } else {
      session_.receiveTooLarge();
    }
  }
  if (reader_.isInLine()) {
    silence_.start(SILENCE_MS, false, false);
  } else {
    silence_.stop();
  }
}

void LineConnection::receiveRest() {
  std::string_view line;
  if (reader_.finish(line) == LineReader::Result::LINE) session_.receive(line);
}

void LineConnection::endInput() {
  readable_.reset();
  nextPiece_.stop();
}

void LineConnection::onFailed(const XCode& reason) {
  if (monitor_ != nullptr) {
    monitor_->note(RTD::OUTCOME, "[link] "_s, "Connection failed: %s", reason.toString().c_str());
  }
  endInput();
  call(handlers_.onFailed);
}

}  // namespace KX::NMS
