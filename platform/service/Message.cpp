// SPDX-License-Identifier: Apache-2.0
#include "platform/service/Message.h"

namespace KX::NMS::Message {

using KX::Property::Value;

namespace {

const char* flawOf(const Value& message) {
  if (!message.isObject()) return "not an object";
  if (message["kind"].getStringOr(String()) != "request") return "not of the kind request";
  if (!message["name"].isString()) return "no name";
  return nullptr;
}

Value answer(const Value& message, String kind) {
  Value result = Value::object(6);
  result["kind"] = kind;
  for (const char* key : {"service", "name"}) {
    const Value& told = message[key];
    if (told.isString()) result[key] = told;
  }
  const Value& id = message["id"];
  result["id"] = id.isValid() ? id : Value::null();
  return result;
}

}  // namespace

bool isBlank(std::string_view text) { return text.find_first_not_of(" \t\r\n") == std::string_view::npos; }

XCode readRequest(std::string_view text, const KX::Property::JsonLimits& limits, Value& message, String& reason) {
  const XCode parsed = message.fromJson(text, limits);
  const char* flaw = parsed.isErr() ? nullptr : flawOf(message);
  if (parsed.isSuccess() && flaw == nullptr) return XCode();
  reason = flaw != nullptr ? String(flaw) : parsed.toString();
  return XCode::error("Invalid message"_s);
}

Value ack(const Value& message) { return answer(message, "ack"_s); }

Value nak(const Value& message, const XCode& code) {
  Value result = answer(message, "nak"_s);
  result["code"] = code.code();
  result["reason"] = code.toString();
  return result;
}

}  // namespace KX::NMS::Message
