// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/Export.h"
#include "platform/base/String.h"
#include "platform/monitor/LogSink.h"

namespace RTD {

// A module's source of log lines. Trace lines are written up to the monitor's verbosity: 1 for the course of events, 2
// for details, 3 for incoming requests and raw command output. Lines of a fixed kind are written at every verbosity.
// The host owns monitor and sink; a module without a monitor writes nothing. One thread.
class KX_EXPORT Monitor {
 public:
  Monitor(const String& name, unsigned verbosity, LogSink& sink) : name_(name), verbosity_(verbosity), sink_(sink) {}

  unsigned verbosity() const { return verbosity_; }
  void setVerbosity(unsigned verbosity) { verbosity_ = verbosity; }
  bool isEnabled(unsigned level) const { return level <= verbosity_; }

  // The prefix is the text of the object that speaks, as "[Job nightly.3] ". Callers ask isEnabled first, so that
  // nothing is formatted in vain; trace asks again.
  [[gnu::format(printf, 4, 5)]] void trace(unsigned level, const String& prefix, const char* format, ...) const;
  [[gnu::format(printf, 4, 5)]] void note(Kind kind, const String& prefix, const char* format, ...) const;

 private:
  String name_;
  unsigned verbosity_;
  LogSink& sink_;
};

}  // namespace RTD
