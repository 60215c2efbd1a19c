// SPDX-License-Identifier: Apache-2.0
#include "platform/loop/LineWriter.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace KX {

namespace {

// Lines that go out in one system call, two pieces each: the text and its end.
constexpr int LINES_AT_ONCE = 32;
// Where a write may block, one of this size does not while poll sees room.
constexpr std::size_t POLLED_PIECE = PIPE_BUF;
constexpr std::size_t LARGE_PIECE = std::size_t{1} << 20U;

bool isRoomFor(int descriptor, int milliseconds) {
  pollfd entry{descriptor, POLLOUT, 0};
  return ::poll(&entry, 1, milliseconds) > 0;
}

int openTerminalAgain(int descriptor) {
  if (::isatty(descriptor) == 0) return -1;
  const String path = String::format("/proc/self/fd/%d", descriptor);
  return ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

bool isBlocked(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

}  // namespace

LineWriter::LineWriter(KXEventLoop& loop, int descriptor, Handlers handlers, std::size_t bound)
    : loop_(loop),
      ownTerminal_(openTerminalAgain(descriptor)),
      descriptor_(ownTerminal_ >= 0 ? ownTerminal_ : descriptor),
      handlers_(std::move(handlers)),
      bound_(bound),
      failing_(loop, 0, *this, &LineWriter::reportFailure) {
  struct stat status {};
  const bool isKnown = ::fstat(descriptor, &status) == 0;
  isSocket_ = isKnown && S_ISSOCK(status.st_mode);
  mostAtOnce_ = isSocket_ || (isKnown && S_ISREG(status.st_mode)) ? LARGE_PIECE : POLLED_PIECE;
}

LineWriter::~LineWriter() {
  writable_.reset();
  if (ownTerminal_ >= 0) ::close(ownTerminal_);
}

bool LineWriter::hasRoomFor(const String& line) {
  if (failure_.isSuccess() && exceedsBound(line)) static_cast<void>(writeQueued());
  return failure_.isSuccess() && !exceedsBound(line);
}

XCode LineWriter::send(const String& line) {
  if (failure_.isErr()) return failure_;
  if (exceedsBound(line)) static_cast<void>(writeQueued());
  if (exceedsBound(line)) return fail(XCode::error("The peer does not read"_s));
  queue_.push_back(line);
  unsent_ += line.length() + 1;
  if (writable_ == nullptr && writeQueued() == Progress::BLOCKED) watch();
  return failure_;
}

bool LineWriter::exceedsBound(const String& line) const {
  if (queue_.empty()) return false;
  const std::size_t onItsWay = queue_.front().length() + 1 - offset_;
  return unsent_ - onItsWay + line.length() + 1 > bound_;
}

LineWriter::Progress LineWriter::writeQueued() {
  while (!queue_.empty()) {
    const ssize_t written = writeSome();
    if (written >= 0) {
      consume(static_cast<std::size_t>(written));
      continue;
    }
    if (isBlocked(errno)) return Progress::BLOCKED;
    static_cast<void>(fail(XCode::fromErrno(errno)));
    return Progress::FAILED;
  }
  return Progress::DONE;
}

ssize_t LineWriter::writeSome() {
  iovec pieces[2 * LINES_AT_ONCE];
  const int count = gather(pieces, 2 * LINES_AT_ONCE);
  if (isSocket_) {
    msghdr message{};
    message.msg_iov = pieces;
    message.msg_iovlen = static_cast<decltype(message.msg_iovlen)>(count);
    return ::sendmsg(descriptor_, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
  }
  if (!isRoomFor(descriptor_, 0)) {
    errno = EAGAIN;
    return -1;
  }
  return ::writev(descriptor_, pieces, count);
}

int LineWriter::gather(iovec* pieces, int count) const {
  static char lineEnd = '\n';
  std::size_t room = mostAtOnce_;
  std::size_t skipped = offset_;
  int used = 0;
  for (auto line = queue_.begin(); line != queue_.end() && used + 2 <= count && room > 0; ++line) {
    const std::size_t length = std::min(line->length() - skipped, room);
    if (length > 0) pieces[used++] = {const_cast<char*>(line->c_str()) + skipped, length};
    room -= length;
    if (room > 0) pieces[used++] = {&lineEnd, 1};
    room -= std::min<std::size_t>(room, 1);
    skipped = 0;
  }
  return used;
}

void LineWriter::consume(std::size_t bytes) {
  unsent_ -= bytes;
  offset_ += bytes;
  while (!queue_.empty() && offset_ > queue_.front().length()) {
    offset_ -= queue_.front().length() + 1;
    queue_.pop_front();
  }
}

void LineWriter::watch() {
  writable_ = loop_.createDescriptorEvent(descriptor_, KXEventLoop::WRITABLE, [this](unsigned) { onWritable(); });
  if (writable_ == nullptr) static_cast<void>(fail(XCode::error("Cannot wait for the peer"_s)));
}

void LineWriter::onWritable() {
  const Progress progress = writeQueued();
  if (progress == Progress::BLOCKED) return;
  writable_.reset();
  const auto handler = handlers_.onDrained;
  if (progress == Progress::DONE && handler) handler();
}

void LineWriter::flush(std::chrono::milliseconds limit) {
  writable_.reset();
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (writeQueued() == Progress::BLOCKED) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return;
    isRoomFor(descriptor_, static_cast<int>(left.count()));
  }
}

XCode LineWriter::fail(const XCode& reason) {
  failure_ = reason;
  queue_.clear();
  offset_ = 0;
  unsent_ = 0;
  failing_.start(0, false, false);
  return reason;
}

void LineWriter::reportFailure() {
  writable_.reset();
  const auto handler = handlers_.onFailed;
  const XCode reason = failure_;
  if (handler) handler(reason);
}

}  // namespace KX
