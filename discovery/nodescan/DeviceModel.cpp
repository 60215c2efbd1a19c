// SPDX-License-Identifier: Apache-2.0
#include "discovery/nodescan/DeviceModel.h"

namespace KX::NMS::Discovery {

// A build without a model says nothing.
String modelOfDevice(const Property::Value& device) {
  const String model = device["model"].toString();
  if (model.isEmpty()) return String();
  String text = String::format("Varnel %s", model.c_str());
  const String build = device["build"].toString();
  if (!build.isEmpty()) text.concatf(" %s", build.c_str());
  return text;
}

}  // namespace KX::NMS::Discovery
