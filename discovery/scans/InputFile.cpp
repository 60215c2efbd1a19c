// SPDX-License-Identifier: Apache-2.0
#include "discovery/scans/InputFile.h"

#include <fcntl.h>

namespace KX::NMS::Discovery {
namespace {

constexpr unsigned PERMISSIONS = 0644;

}  // namespace

InputFile::InputFile(KXEventLoop& loop, const String& jobId, const Status& status)
    : files_(loop.ownService<InputFiles>()), jobId_(jobId), status_(status), file_(files_.pathFor(jobId), true, true) {}

InputFile::~InputFile() {
  close();
  files_.leave(*this);
}

XCode InputFile::open() {
  close();
  abandoned_ = false;
  files_.makeRoomFor(*this);
  XCode result = file_.open(O_WRONLY | O_CREAT | O_TRUNC, PERMISSIONS);
  if (result.isErr()) result.extendString("Cannot open servicescan input file"_s, ": ");
  return result;
}

XCode InputFile::writeLine(const String& ipAddress, const String& services) {
  XCode result = file_.writeF("%s%s\n", ipAddress.c_str(), services.c_str());
  if (result.isErr()) result.extendString("Cannot write to servicescan input file"_s, ": ");
  return result;
}

void InputFile::close() {
  if (!file_.isOpen()) return;
  files_.remember(*this, file_.descriptor());
  static_cast<void>(file_.close());
}

void InputFile::abandon() {
  close();
  abandoned_ = true;
}

XCode InputFile::readBack(String& content) const {
  KXFile file(path(), true, false);
  XCode result = file.open(O_RDONLY, PERMISSIONS);
  bool endOfFile = false;
  if (result.isSuccess()) result = file.read(content, endOfFile);
  return result;
}

}  // namespace KX::NMS::Discovery
