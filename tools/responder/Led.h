// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "platform/base/XCode.h"
#include "platform/loop/KXEventLoop.h"
#include "platform/process/Descriptor.h"

namespace DeviceDiscovery::Responder {

// An LED of the kernel's, which blinks for a time and then shows again what it showed before. Its files are opened
// while that is still allowed and kept, since they are root's.
class Led {
 public:
  Led(KXEventLoop& loop, std::uint32_t seconds);

  [[nodiscard]] XCode open(const String& folder);
  // One that blinks already goes on for as long from now.
  [[nodiscard]] XCode blink();

 private:
  void onTick();
  void restore();

  KX::Shell::Descriptor trigger_;
  KX::Shell::Descriptor brightness_;
  const unsigned ticks_;
  unsigned ticksLeft_ = 0;
  String triggerBefore_;
  String brightnessBefore_;
  std::unique_ptr<KX::TimeoutEvent> timer_;
};

}  // namespace DeviceDiscovery::Responder
