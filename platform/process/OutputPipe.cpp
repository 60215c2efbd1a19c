// SPDX-License-Identifier: Apache-2.0
#include "platform/process/OutputPipe.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

namespace KX::Shell {

namespace {

// Moves a descriptor out of the way of the standard ones, which a process that has closed its own gets from pipe().
bool moveAboveStandard(Descriptor& descriptor) {
  if (descriptor.get() > STDERR_FILENO) return true;
  descriptor = Descriptor(fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  return static_cast<bool>(descriptor);
}

}  // namespace

XCode OutputPipe::open(KXEventLoop& loop, KXEventLoop::Handler readable) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return XCode::fromErrno(errno);
  ourEnd_ = Descriptor(ends[0]);
  childEnd_ = Descriptor(ends[1]);
  // Only our end may not block: the mode of the other would be a surprise to the child.
  if (!moveAboveStandard(childEnd_) || fcntl(ourEnd_.get(), F_SETFL, O_NONBLOCK) != 0) return XCode::fromErrno(errno);
  event_ = loop.createDescriptorEvent(ourEnd_.get(), KXEventLoop::READABLE,
                                      [handler = std::move(readable)](unsigned) { handler(); });
  return event_ != nullptr ? XCode() : XCode::error("Cannot watch a pipe"_s);
}

bool OutputPipe::read(String& piece) {
  if (!ourEnd_) return false;
  std::array<char, PIECE> buffer;
  const ssize_t length = ::read(ourEnd_.get(), buffer.data(), buffer.size());
  if (length > 0) {
    piece = String(buffer.data(), static_cast<std::size_t>(length));
    return true;
  }
  if (length == 0 || (errno != EAGAIN && errno != EINTR)) close();
  return false;
}

std::size_t OutputPipe::pending() const {
  int bytes = 0;
  if (!ourEnd_ || ioctl(ourEnd_.get(), FIONREAD, &bytes) != 0 || bytes < 0) return 0;
  return static_cast<std::size_t>(bytes);
}

void OutputPipe::close() {
  event_.reset();
  ourEnd_.reset();
  childEnd_.reset();
}

}  // namespace KX::Shell
