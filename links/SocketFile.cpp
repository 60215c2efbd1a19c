// SPDX-License-Identifier: Apache-2.0
#include "links/SocketFile.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

namespace KX::NMS {

namespace {

XCode systemError() { return XCode::fromErrno(errno); }

KX::Shell::Descriptor createSocket() {
  return KX::Shell::Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

XCode toAddress(const String& path, sockaddr_un& address) {
  if (path.isEmpty() || path.view().find('\0') != std::string_view::npos) return XCode::error("Not a path"_s);
  if (path.length() >= sizeof address.sun_path) return XCode::error("Socket path too long"_s);
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.c_str(), path.length() + 1);
  return XCode();
}

const sockaddr* asAddress(const sockaddr_un& address) { return reinterpret_cast<const sockaddr*>(&address); }

// Removes a socket file that nobody listens on.
XCode removeStale(const sockaddr_un& address) {
  struct stat status {};
  if (::lstat(address.sun_path, &status) != 0) return errno == ENOENT ? XCode() : systemError();
  if (!S_ISSOCK(status.st_mode)) return XCode::error("Not a socket"_s);
  const KX::Shell::Descriptor probe = createSocket();
  if (!probe) return systemError();
  const bool isConnected = ::connect(probe.get(), asAddress(address), sizeof address) == 0;
  if (isConnected || errno == EAGAIN) return XCode::error("Somebody listens there"_s);
  if (errno != ECONNREFUSED && errno != ENOENT) return systemError();
  return ::unlink(address.sun_path) == 0 || errno == ENOENT ? XCode() : systemError();
}

}  // namespace

XCode SocketFile::listen(const String& path) {
  close();
  path_ = path;
  XCode result = bindAndListen();
  if (result.isErr()) {
    listener_.reset();
    result.extendString(path, ": ");
  }
  return result;
}

XCode SocketFile::bindAndListen() {
  sockaddr_un address{};
  XCode result = toAddress(path_, address);
  if (result.isErr()) return result;
  listener_ = createSocket();
  // The file takes over the socket's mode, so it is never open to others, whatever the umask.
  if (!listener_ || ::fchmod(listener_.get(), S_IRUSR | S_IWUSR) != 0) return systemError();
  bool isBound = ::bind(listener_.get(), asAddress(address), sizeof address) == 0;
  if (!isBound && errno == EADDRINUSE) {
    result = removeStale(address);
    if (result.isErr()) return result;
    isBound = ::bind(listener_.get(), asAddress(address), sizeof address) == 0;
  }
  struct stat status {};
  if (!isBound || ::lstat(path_.c_str(), &status) != 0) return systemError();
  device_ = status.st_dev;
  inode_ = status.st_ino;
  return ::listen(listener_.get(), SOMAXCONN) == 0 ? XCode() : systemError();
}

void SocketFile::close() {
  if (!listener_) return;
  struct stat status {};
  const bool isOurs = ::lstat(path_.c_str(), &status) == 0 && status.st_dev == device_ && status.st_ino == inode_;
  if (isOurs) ::unlink(path_.c_str());
  listener_.reset();
}

KX::Shell::Descriptor SocketFile::accept() const {
  return KX::Shell::Descriptor(::accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
}

}  // namespace KX::NMS
