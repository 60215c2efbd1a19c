// SPDX-License-Identifier: Apache-2.0
#include "tools/responder/KeyStore.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/base/KXFile.h"

namespace DeviceDiscovery::Responder {
namespace {

constexpr char NAME[] = "organisation-key";

XCode synchronise(const KXFile& file) { return fsync(file.descriptor()) == 0 ? XCode() : XCode::fromErrno(errno); }

XCode writeFresh(const String& path, const String& text) {
  KXFile file(path, true, true);
  // One is there only when this program was killed while it wrote.
  static_cast<void>(unlink(path.c_str()));
  XCode result = file.open(O_WRONLY | O_CREAT | O_EXCL, 0600);
  if (result.isSuccess()) result = file.write(text);
  if (result.isSuccess()) result = synchronise(file);
  return result.isSuccess() ? file.close() : result;
}

// Whether the file has this text and nobody else's access.
bool isStored(const String& path, const String& text) {
  KXFile file(path, true, true);
  struct stat status {};
  if (file.open(O_RDONLY, 0).isErr() || fstat(file.descriptor(), &status) != 0) return false;
  String content;
  bool endOfFile = false;
  return (status.st_mode & 07777U) == 0600U && file.read(content, endOfFile, text.length() + 1).isSuccess() &&
         content == text;
}

}  // namespace

XCode KeyStore::store(const Organisation& organisation) const {
  const String path = String::format("%s/%s", directory_.c_str(), NAME);
  const String fresh = String::format("%s.new", path.c_str());
  const String text = organisation.toLines();
  if (isStored(path, text)) return XCode();
  XCode result = writeFresh(fresh, text);
  if (result.isSuccess() && std::rename(fresh.c_str(), path.c_str()) != 0) result = XCode::fromErrno(errno);
  if (result.isSuccess()) {
    KXFile directory(directory_, true, false);
    result = directory.open(O_RDONLY | O_DIRECTORY, 0);
    if (result.isSuccess()) result = synchronise(directory);
  } else {
    static_cast<void>(unlink(fresh.c_str()));
  }
  if (result.isErr()) result.extendString(path, ": ");
  return result;
}

}  // namespace DeviceDiscovery::Responder
