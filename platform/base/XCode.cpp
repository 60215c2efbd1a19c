// SPDX-License-Identifier: Apache-2.0
#include "platform/base/XCode.h"

#include <cstring>

XCode XCode::fromErrno(int error) {
  char buffer[128];
  return XCode(SYSTEM_ERROR + error, String(strerror_r(error, buffer, sizeof(buffer))));
}

void XCode::setStringF(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  text_ = String::vformat(format, arguments);
  va_end(arguments);
}

void XCode::extendString(const String& context, const char* separator) {
  String text(context);
  text.append(separator).append(toString());
  text_ = text;
}

String XCode::toString() const {
  if (!text_.isEmpty() || isSuccess()) return text_;
  return "Error"_s;
}
