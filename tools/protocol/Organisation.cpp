// SPDX-License-Identifier: Apache-2.0
#include "tools/protocol/Organisation.h"

#include <algorithm>

#include "platform/property/Value.h"
#include "platform/text/Utf8.h"
#include "tools/protocol/Protocol.h"

namespace DeviceDiscovery {

using KX::Property::Value;

namespace {

// One that stays one line wherever it is stored.
bool isLine(std::string_view text, std::size_t maximumBytes) {
  const auto isControl = [](char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7f;
  };
  return text.size() <= maximumBytes && isValidUtf8(text) && std::none_of(text.begin(), text.end(), isControl);
}

}  // namespace

XCode Organisation::fromArgument(std::string_view text) {
  const std::size_t colon = std::min(text.find(':'), text.size());
  key = text.substr(0, colon);
  server = text.substr(std::min(colon + 1, text.size()));
  return check();
}

XCode Organisation::fromJson(std::string_view text) {
  Value value;
  if (value.fromJson(text, {MAX_MESSAGE_BYTES, 8, 256}).isErr()) return XCode::error("no JSON document"_s);
  const Value& read = value;
  if (!read["key"].isString()) return XCode::error("no organisation key"_s);
  key = read["key"].toString();
  server = read["server"].getStringOr(String());
  return check();
}

XCode Organisation::check() const {
  if (key.isEmpty() || !isLine(key, MAX_KEY_BYTES)) return XCode::error("unusable organisation key"_s);
  if (!isLine(server, MAX_SERVER_BYTES)) return XCode::error("unusable server"_s);
  return XCode();
}

String Organisation::toJson() const {
  Value value = Value::object(2);
  value["key"_s] = key;
  if (!server.isEmpty()) value["server"_s] = server;
  return value.toJson();
}

String Organisation::toLines() const {
  String lines = key;
  return lines.append("\n").append(server).append("\n");
}

}  // namespace DeviceDiscovery
