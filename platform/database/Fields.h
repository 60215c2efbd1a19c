// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "platform/base/String.h"

namespace DB {

// What a row stands for and whether it is in force. A configuration holds rows with other values too; these are the
// ones that describe the running device.
enum class ObjectType_ : std::int32_t { INSTANCE = 2 };
enum class ObjectStatus_ : std::int32_t { ACTIVE = 10 };

// The operational state of an IP interface. Values without a name occur and are no state that anyone waits for.
enum class IpIfState_ : unsigned char { UNKNOWN = 0, DOWN = 1, UP = 3 };

// A text as it is stored, embedded bytes and all; empty where the row holds none.
class FieldString {
 public:
  FieldString() = default;
  explicit FieldString(std::optional<String> stored) : value_(stored ? *std::move(stored) : String()) {}
  const String& get() const { return value_; }

 private:
  String value_;
};

// An enumeration that is stored as an integer of type Raw. Where the row holds none, or one that Raw does not hold, the
// value is 0 and never another one's.
template <class E, class Raw>
class FieldEnum {
 public:
  FieldEnum() = default;
  explicit FieldEnum(std::optional<std::int64_t> stored)
      : value_(stored && std::in_range<Raw>(*stored) ? static_cast<Raw>(*stored) : Raw{0}) {}
  E get() const { return static_cast<E>(value_); }

 private:
  Raw value_ = 0;
};

}  // namespace DB
