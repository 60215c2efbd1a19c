// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/responder/Actions.h"
#include "tools/responder/Hooks.h"
#include "tools/responder/KeyStore.h"
#include "tools/responder/Led.h"
#include "tools/responder/Options.h"

namespace DeviceDiscovery::Responder {

// The actions as the device's maker has configured them.
class DeviceActions final : public Actions {
 public:
  DeviceActions(KXEventLoop& loop, const Options& options);

  // What needs more rights than are left later.
  [[nodiscard]] XCode prepare();

  bool canBlink() const override { return !options_.blinkProgram.isEmpty() || !options_.blinkLed.isEmpty(); }
  [[nodiscard]] XCode blink() override;
  [[nodiscard]] XCode onboard(const Organisation& organisation) override;

 private:
  const Options& options_;
  Hooks hooks_;
  Led led_;
  const KeyStore keyStore_;
};

}  // namespace DeviceDiscovery::Responder
