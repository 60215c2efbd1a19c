// SPDX-License-Identifier: Apache-2.0
#include "tools/responder/Log.h"

#include <cstdarg>
#include <cstdio>

#include "platform/text/Printable.h"

namespace DeviceDiscovery::Responder {

void log(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const String line = String::vformat(format, arguments);
  va_end(arguments);
  std::fprintf(stderr, "discovery-responder: %s\n", toPrintable(line).c_str());
}

}  // namespace DeviceDiscovery::Responder
