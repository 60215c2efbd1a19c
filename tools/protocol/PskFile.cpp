// SPDX-License-Identifier: Apache-2.0
#include "tools/protocol/PskFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/base/KXFile.h"

namespace DeviceDiscovery {
namespace {

constexpr std::size_t MAX_FILE_BYTES = 512;
constexpr std::size_t LEAST_KEY_BYTES = 16;
constexpr std::size_t MAX_KEY_BYTES = 64;
constexpr std::size_t MAX_IDENTITY_BYTES = 64;

XCode parse(std::string_view text, PreSharedKey& preSharedKey) {
  const std::string_view line = text.substr(0, text.find('\n'));
  const std::size_t colon = line.find(':');
  if (line.size() + 1 < text.size() || colon == std::string_view::npos || colon == 0 || colon > MAX_IDENTITY_BYTES ||
      line.find('\0') != std::string_view::npos) {
    return XCode::error("expecting one line, identity:key"_s);
  }
  const std::string_view key = line.substr(colon + 1);
  if (key.size() < LEAST_KEY_BYTES || key.size() > MAX_KEY_BYTES) {
    return XCode::error(String::format("expecting a key of %zu to %zu bytes", LEAST_KEY_BYTES, MAX_KEY_BYTES));
  }
  preSharedKey = {line.substr(0, colon), key};
  return XCode();
}

XCode read(KXFile& file, PreSharedKey& preSharedKey) {
  struct stat status {};
  if (fstat(file.descriptor(), &status) != 0) return XCode::fromErrno(errno);
  if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    return XCode::error("others than its owner have access to it; its mode should be 0600"_s);
  }
  String content;
  bool endOfFile = false;
  XCode result = file.read(content, endOfFile, MAX_FILE_BYTES);
  return result.isErr() ? result : parse(content, preSharedKey);
}

}  // namespace

XCode readPskFile(const String& path, PreSharedKey& preSharedKey) {
  KXFile file(path, true, true);
  XCode result = file.open(O_RDONLY, 0);
  if (result.isSuccess()) result = read(file, preSharedKey);
  if (result.isErr()) result.extendString(path, ": ");
  return result;
}

XCode readPskFileIfAny(const String& path, PreSharedKey& preSharedKey) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0 && errno == ENOENT) return XCode();
  return readPskFile(path, preSharedKey);
}

}  // namespace DeviceDiscovery
