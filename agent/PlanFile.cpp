// SPDX-License-Identifier: Apache-2.0
#include "agent/PlanFile.h"

#include <fcntl.h>

#include "platform/base/KXFile.h"

XCode readPlanFile(const String& path, KX::Property::Value& plan) {
  KXFile file(path, true, false);
  String text;
  bool endOfFile = false;
  KX::Property::Value read;
  XCode result = file.open(O_RDONLY, 0);
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
