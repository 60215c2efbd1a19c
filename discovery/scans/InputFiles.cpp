// SPDX-License-Identifier: Apache-2.0
#include "discovery/scans/InputFiles.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "discovery/common/Limits.h"
#include "discovery/scans/InputFile.h"

namespace KX::NMS::Discovery {
namespace {

// The id of the job description: that of the job without the numbers of its run and of its places in sequences.
String ownerOf(const String& jobId) {
  std::string_view id = jobId;
  for (;;) {
    const std::size_t last = id.find_last_not_of("0123456789");
    if (last == std::string_view::npos || last + 1 == id.size() || id[last] != '.') return String(id);
    id = id.substr(0, last);
  }
}

// A file that was put in the place of another may get its inode; the last change or the size tells them apart.
void removeUnlessTouched(const String& path, const FileState& written) {
  struct stat present {};
  if (lstat(path.c_str(), &present) == 0 && FileState::of(present) == written) static_cast<void>(unlink(path.c_str()));
}

}  // namespace

String InputFiles::pathFor(const String& jobId) const {
  return String::format("%s/servicescan-input-%s", folder_.c_str(), jobId.c_str());
}

void InputFiles::makeRoomFor(const InputFile& file) {
  const auto isOther = [&](const Written& other) { return !(other.path == file.path()); };
  const String owner = ownerOf(file.jobId());
  removeOldest(Limits::INPUT_FILES_OF_ONE_JOB,
               [&](const Written& other) { return isOther(other) && other.owner == owner; });
  removeOldest(Limits::INPUT_FILES, isOther);
}

// Leaves fewer than limit of those counted.
template <class Predicate>
void InputFiles::removeOldest(std::size_t limit, Predicate isCounted) {
  auto count = static_cast<std::size_t>(std::count_if(files_.begin(), files_.end(), isCounted));
  for (auto file = files_.begin(); file != files_.end() && count >= limit;) {
    if (!isCounted(*file) || (file->user != nullptr && file->user->isInUse())) {
      ++file;
      continue;
    }
    removeUnlessTouched(file->path, file->written);
    file = files_.erase(file);
    --count;
  }
}

void InputFiles::remember(const InputFile& file, int descriptor) {
  std::erase_if(files_, [&](const Written& other) { return other.path == file.path(); });
  struct stat written {};
  if (fstat(descriptor, &written) == 0)
    files_.push_back({file.path(), ownerOf(file.jobId()), FileState::of(written), &file});
}

void InputFiles::clear() {
  removeOldest(1, [](const Written&) { return true; });
}

void InputFiles::leave(const InputFile& file) {
  for (Written& written : files_) {
    if (written.user == &file) written.user = nullptr;
  }
}

}  // namespace KX::NMS::Discovery
