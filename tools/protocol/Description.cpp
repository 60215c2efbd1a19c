// SPDX-License-Identifier: Apache-2.0
#include "tools/protocol/Description.h"

#include "platform/property/Value.h"
#include "platform/text/OneLine.h"
#include "tools/protocol/Protocol.h"

namespace DeviceDiscovery {

using KX::Property::Value;

String Description::toJson() const {
  Value value = Value::object(3);
  value["model"_s] = model;
  value["build"_s] = build;
  value["supportsOnboarding"_s] = supportsOnboarding;
  return value.toJson();
}

bool Description::fromJson(std::string_view text) {
  Value value;
  if (value.fromJson(text, {MAX_MESSAGE_BYTES, 8, 256}).isErr() || !value.isObject()) return false;
  const Value& read = value;
  model = toOneLine(read["model"].stringView(), MAX_TEXT_BYTES);
  build = toOneLine(read["build"].stringView(), MAX_TEXT_BYTES);
  supportsOnboarding = read["supportsOnboarding"].toBoolOr(false);
  return true;
}

}  // namespace DeviceDiscovery
