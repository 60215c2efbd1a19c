// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/servicescan/Probe.h"

namespace ServiceScan {

// Where probers report to. Each started probe ends once, by either of the two; calls for one that has ended are
// ignored.
class Outcome {
 public:
  virtual void answered(ProbeIndex probe, const String& model, const String& systemObjectId) = 0;
  virtual void failed(ProbeIndex probe, const String& reason) = 0;
  // The host is there, whatever comes of the probe. An answer says so by itself.
  virtual void noticed(ProbeIndex probe) = 0;
  // Comes after a batch of the two: there may be room for further probes.
  virtual void batchEnded() = 0;

 protected:
  ~Outcome() = default;
};

// Asks for one kind of service, for any number of probes at a time. Every call returns at once; what comes of it is
// reported from the loop, or inside the call when it fails right there.
class Prober {
 public:
  Prober() = default;
  Prober(const Prober&) = delete;
  Prober& operator=(const Prober&) = delete;
  virtual ~Prober() = default;

  // Asks, for the first time or again. False when the system has no room for one more at present.
  virtual bool start(ProbeIndex probe) = 0;
  // Sends what start has gathered.
  virtual void flush() = 0;
  // Whether a probe without an answer has to be asked again; TCP does so by itself.
  virtual bool isToRepeat() const = 0;
  // Forgets a probe whose time is over, and says why it got no answer.
  virtual String giveUp(ProbeIndex probe) = 0;
};

}  // namespace ServiceScan
