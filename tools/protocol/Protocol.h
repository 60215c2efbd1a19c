// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

// What both sides of docs/discovery-protocol.md agree on.
namespace DeviceDiscovery {

// The group of all CoAP nodes.
inline constexpr char GROUP[] = "224.0.1.187";
inline constexpr std::uint16_t PORT = 5683;
inline constexpr std::uint16_t SECURE_PORT = 5684;

inline constexpr char DEVICE_PATH[] = "device";
inline constexpr char BLINK_PATH[] = "device/blink";
inline constexpr char ONBOARD_PATH[] = "device/onboard";
inline constexpr unsigned JSON_FORMAT = 50;

// Answers to one question are spread over this time.
inline constexpr std::uint32_t LEISURE_MS = 1000;

// A message, and so a datagram, is never longer.
inline constexpr std::size_t MAX_MESSAGE_BYTES = 1152;
inline constexpr std::size_t MAX_TEXT_BYTES = 255;
inline constexpr std::size_t MAX_KEY_BYTES = 255;
inline constexpr std::size_t MAX_SERVER_BYTES = 200;

}  // namespace DeviceDiscovery
