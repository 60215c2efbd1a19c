// SPDX-License-Identifier: Apache-2.0
#include "tools/responder/DeviceActions.h"

namespace DeviceDiscovery::Responder {

DeviceActions::DeviceActions(KXEventLoop& loop, const Options& options)
    : options_(options),
      hooks_(loop, options.hookSeconds),
      led_(loop, options.blinkSeconds),
      keyStore_(options.stateDirectory) {}

XCode DeviceActions::prepare() {
  if (options_.blinkLed.isEmpty()) return XCode();
  return led_.open(String::format("%s/%s", options_.ledDirectory.c_str(), options_.blinkLed.c_str()));
}

XCode DeviceActions::blink() {
  if (!options_.blinkLed.isEmpty()) return led_.blink();
  hooks_.run(options_.blinkProgram, String());
  return XCode();
}

XCode DeviceActions::onboard(const Organisation& organisation) {
  XCode result = keyStore_.store(organisation);
  if (result.isSuccess() && !options_.onboardProgram.isEmpty()) {
    hooks_.run(options_.onboardProgram, organisation.toLines());
  }
  return result;
}

}  // namespace DeviceDiscovery::Responder
