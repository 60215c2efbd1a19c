// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/Export.h"
#include "platform/base/XCode.h"

// A file by its path, opened and closed any number of times. Writes go straight to the file, so a full disk is an error
// of the write and not of the close. The descriptor is close-on-exec.
class KX_EXPORT KXFile {
 public:
  // closeOnDestroy: the destructor closes an open file; otherwise the descriptor outlives the object. noFollow: opening
  // refuses a symbolic link, or anything else that is no regular file, at the last path component, without blocking on
  // it; for writing it refuses also a file that belongs to another user or has further names (hard links), before it
  // changes anything.
  KXFile(const String& path, bool closeOnDestroy, bool noFollow);
  KXFile(const KXFile&) = delete;
  KXFile& operator=(const KXFile&) = delete;
  ~KXFile();

  const String& path() const { return path_; }
  bool isOpen() const { return descriptor_ >= 0; }
  // -1 while closed.
  int descriptor() const { return descriptor_; }

  // The flags of open(2), and the permission bits of a file that it creates. An open file is closed first.
  [[nodiscard]] XCode open(int flags, unsigned permissions);
  // Takes a descriptor that is open already, such as stdin's.
  void use(int descriptor);
  [[nodiscard]] XCode write(std::string_view text);
  [[nodiscard, gnu::format(printf, 2, 3)]] XCode writeF(const char* format, ...);
  // Reads from the current position up to the end, or up to limit bytes; endOfFile says which of the two it was.
  [[nodiscard]] XCode read(String& content, bool& endOfFile, std::size_t limit = DEFAULT_READ_LIMIT);
  XCode close();

 private:
  static constexpr std::size_t DEFAULT_READ_LIMIT = std::size_t{64} << 20U;

  String path_;
  bool closeOnDestroy_;
  bool noFollow_;
  int descriptor_ = -1;
};
