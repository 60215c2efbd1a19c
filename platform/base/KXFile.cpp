// SPDX-License-Identifier: Apache-2.0
#include "platform/base/KXFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace {

// Who can write to a folder can put another's file there under the name of ours.
XCode checkFile(int descriptor, bool isWritten) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return XCode::fromErrno(errno);
  if (!S_ISREG(status.st_mode)) return XCode::error("Not a regular file");
  if (isWritten && status.st_uid != geteuid()) return XCode::error("File of another user");
  if (isWritten && status.st_nlink > 1) return XCode::error("File with further names");
  return XCode();
}

}  // namespace

KXFile::KXFile(const String& path, bool closeOnDestroy, bool noFollow)
    : path_(path), closeOnDestroy_(closeOnDestroy), noFollow_(noFollow) {}

KXFile::~KXFile() {
  if (closeOnDestroy_) static_cast<void>(close());
}

XCode KXFile::open(int flags, unsigned permissions) {
  static_cast<void>(close());
  // O_NONBLOCK keeps the open of a FIFO from waiting for its other end; truncation waits until it is known whose file
  // it is.
  const int careful = noFollow_ ? O_NOFOLLOW | O_NONBLOCK : 0;
  const int truncate = noFollow_ ? flags & O_TRUNC : 0;
  const int descriptor =
      ::open(path_.c_str(), (flags & ~truncate) | careful | O_CLOEXEC, static_cast<mode_t>(permissions));
  if (descriptor < 0) return XCode::fromErrno(errno);
  descriptor_ = descriptor;
  if (!noFollow_) return XCode();
  XCode result = checkFile(descriptor_, (flags & O_ACCMODE) != O_RDONLY);
  if (result.isSuccess() && truncate != 0 && ftruncate(descriptor_, 0) != 0) result = XCode::fromErrno(errno);
  if (result.isErr()) static_cast<void>(close());
  return result;
}

void KXFile::use(int descriptor) {
  static_cast<void>(close());
  descriptor_ = descriptor;
}

XCode KXFile::write(std::string_view text) {
  if (!isOpen()) return XCode::fromErrno(EBADF);
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor_, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return XCode::fromErrno(errno);
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return XCode();
}

XCode KXFile::writeF(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const String text = String::vformat(format, arguments);
  va_end(arguments);
  return write(text);
}

XCode KXFile::read(String& content, bool& endOfFile, std::size_t limit) {
  content = String();
  endOfFile = false;
  if (!isOpen()) return XCode::fromErrno(EBADF);
  char buffer[16384];
  while (content.length() < limit) {
    const ssize_t count = ::read(descriptor_, buffer, std::min(sizeof(buffer), limit - content.length()));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return XCode::fromErrno(errno);
    endOfFile = count == 0;
    if (endOfFile) break;
    content.append({buffer, static_cast<std::size_t>(count)});
  }
  return XCode();
}

XCode KXFile::close() {
  if (!isOpen()) return XCode();
  // After a failed close the descriptor is gone all the same.
  return ::close(std::exchange(descriptor_, -1)) == 0 ? XCode() : XCode::fromErrno(errno);
}
