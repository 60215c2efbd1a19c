// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <vector>

#include "platform/base/Export.h"
#include "platform/base/FileState.h"
#include "platform/base/String.h"

namespace KX::NMS::Discovery {

class InputFile;

// Where the jobs of one event loop put their input files, and which of them are left behind. A file outlives its job,
// so that what was asked of the tool can be seen afterwards; when a further one is written, the oldest go that are too
// many, for their job description or in all. Only a file goes that this object has seen written and that nobody has
// touched since, and never one that a job still uses. The loop owns it (KXEventLoop::ownService); a test provides one
// with a folder of its own.
class KX_EXPORT InputFiles {
 public:
  InputFiles() : InputFiles("/tmp"_s) {}
  explicit InputFiles(const String& folder) : folder_(folder) {}
  InputFiles(const InputFiles&) = delete;
  InputFiles& operator=(const InputFiles&) = delete;

  String pathFor(const String& jobId) const;
  // Removes what is too many once this file will have been written.
  void makeRoomFor(const InputFile& file);
  // Takes a file, still open, into account.
  void remember(const InputFile& file, int descriptor);
  // The file stays, but no job uses it any more.
  void leave(const InputFile& file);
  // Removes all that no job uses.
  void clear();

 private:
  struct Written {
    String path;
    String owner;           // the id of the job description
    KX::FileState written;  // as it was left
    const InputFile* user;  // null: none
  };

  template <class Predicate>
  void removeOldest(std::size_t limit, Predicate isCounted);

  String folder_;
  std::vector<Written> files_;  // the oldest first
};

}  // namespace KX::NMS::Discovery
