// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/base/String.h"
#include "platform/base/XCode.h"
#include "platform/process/Descriptor.h"

namespace KX::NMS {

// A Unix socket that listens at a path, and its file, which only its owner may open from its first moment on (mode
// 0600). A socket file that nobody listens on is replaced; anything else at the path is an error and left alone. The
// file is removed at the end, unless somebody else has put another one in its place.
class SocketFile {
 public:
  SocketFile() = default;
  SocketFile(const SocketFile&) = delete;
  SocketFile& operator=(const SocketFile&) = delete;
  ~SocketFile() { close(); }

  XCode listen(const String& path);
  void close();
  // Non-blocking and close-on-exec, as is what accept gives.
  int number() const { return listener_.get(); }
  KX::Shell::Descriptor accept() const;

 private:
  XCode bindAndListen();

  String path_;
  KX::Shell::Descriptor listener_;
  std::uint64_t device_ = 0;
  std::uint64_t inode_ = 0;
};

}  // namespace KX::NMS
