// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/base/Export.h"

struct stat;

namespace KX {

// What a file is told by, its device and inode, and what tells that somebody has written to it since. Unlike what the
// system fills in, it has one size in every program, whatever that defines of the width of times and offsets.
struct KX_EXPORT FileState {
  // As stat, lstat or fstat gave it.
  static FileState of(const struct stat& status);

  bool isSameFile(const FileState& other) const { return device == other.device && inode == other.inode; }
  bool operator==(const FileState&) const = default;

  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  // Of the last change, of contents or properties.
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;
  std::int64_t size = 0;
};

}  // namespace KX
