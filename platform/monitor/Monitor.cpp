// SPDX-License-Identifier: Apache-2.0
#include "platform/monitor/Monitor.h"

#include <algorithm>
#include <cstdarg>

namespace RTD {

void Monitor::trace(unsigned level, const String& prefix, const char* format, ...) const {
  if (!isEnabled(level)) return;
  std::va_list arguments;
  va_start(arguments, format);
  const String text = String::vformat(format, arguments);
  va_end(arguments);
  // The numbers beyond are those of the fixed kinds.
  const auto kind = static_cast<Kind>(std::clamp<unsigned>(level, TRACE_1, TRACE_3));
  sink_.write({kind, name_, prefix, text});
}

void Monitor::note(Kind kind, const String& prefix, const char* format, ...) const {
  std::va_list arguments;
  va_start(arguments, format);
  const String text = String::vformat(format, arguments);
  va_end(arguments);
  sink_.write({kind, name_, prefix, text});
}

}  // namespace RTD
