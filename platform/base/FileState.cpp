// SPDX-License-Identifier: Apache-2.0
#include "platform/base/FileState.h"

#include <sys/stat.h>

namespace KX {

FileState FileState::of(const struct stat& status) {
  return {.device = status.st_dev,
          .inode = status.st_ino,
          .seconds = status.st_ctim.tv_sec,
          .nanoseconds = status.st_ctim.tv_nsec,
          .size = status.st_size};
}

}  // namespace KX
