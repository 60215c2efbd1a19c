// SPDX-License-Identifier: Apache-2.0
#include "discovery/nodescan/DeviceModel.h"

namespace KX::NMS::Discovery {

// A build without a model says nothing.
String modelOfDevice(const Property::Value& device) {
  const String model = device["model"].toString();
  if (model.isEmpty()) return String();
  String text = String("Varnel ").append(model);
  const String build = device["build"].toString();
  if (!build.isEmpty()) text.append(" ").append(build);
  return text;
}

}  // namespace KX::NMS::Discovery
