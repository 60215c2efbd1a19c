// SPDX-License-Identifier: Apache-2.0
#include "agent/PlanFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/base/KXFile.h"

namespace {

// A pipe or a terminal would hold the start until its other end has written and closed it.
XCode openRegular(KXFile& file) {
  XCode result = file.open(O_RDONLY | O_NONBLOCK, 0);
  struct stat status {};
  if (result.isSuccess() && fstat(file.descriptor(), &status) != 0) result = XCode::fromErrno(errno);
  if (result.isSuccess() && !S_ISREG(status.st_mode)) result = XCode::error("Not a regular file");
  return result;
}

}  // namespace

XCode readPlanFile(const String& path, KX::Property::Value& plan) {
  KXFile file(path, true, false);
  String text;
  bool endOfFile = false;
  KX::Property::Value read;
  XCode result = openRegular(file);
  if (result.isSuccess()) result = file.read(text, endOfFile);
  if (result.isSuccess() && !endOfFile) result = XCode::error("File too large");
  if (result.isSuccess()) result = read.fromJson(text);
  if (result.isSuccess() && !read.isArray()) result = XCode::error("Expecting an array of job descriptions");
  if (result.isErr()) {
    result.extendString(String::format("cannot read the plan %s", path.c_str()), ": ");
    return result;
  }
  plan = read;
  return XCode();
}
