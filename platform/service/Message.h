// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "platform/base/XCode.h"
#include "platform/property/Value.h"

// The shapes of what goes over a service link, apart from any connection.
//
//   request  {"kind":"request","service":S,"name":N,"id":any, ...}
//   ack      {"kind":"ack","service":S,"name":N,"id":any, ...}
//   nak      {"kind":"nak","service":S,"name":N,"id":any,"code":number,"reason":text}
//   event    {"kind":"event","service":S,"name":N,"version":number,"sequence":1,2,3..., ...}
namespace KX::NMS::Message {

// Nothing but the white space of JSON.
bool isBlank(std::string_view text);

// Reads one request: a JSON object of kind "request" with a string "name". Anything else is an error with the text
// "Invalid message"; the message then holds what could be read of it, for the answer, and reason says what is wrong
// with it, for the log.
XCode readRequest(std::string_view text, const KX::Property::JsonLimits& limits, KX::Property::Value& message,
                  String& reason);

// Answers to a message. The id is echoed as it came; without one it is null. Service and name are those of the message
// where it has them as strings.
KX::Property::Value ack(const KX::Property::Value& message);
KX::Property::Value nak(const KX::Property::Value& message, const XCode& code);

}  // namespace KX::NMS::Message
