// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/base/Export.h"
#include "platform/base/String.h"

// The result of an operation: code 0 is success, anything else an error, which may carry a text. System errors are
// 1000 + errno with the system's text. Context goes in front of the text while an error passes up.
class [[nodiscard]] KX_EXPORT XCode {
 public:
  static constexpr std::int32_t SUCCESS = 0;
  static constexpr std::int32_t GENERIC_ERROR = 1;
  static constexpr std::int32_t SYSTEM_ERROR = 1000;

  XCode() = default;
  XCode(std::int32_t code) : code_(code) {}
  XCode(std::int32_t code, String text) : text_(static_cast<String&&>(text)), code_(code) {}
  static XCode error(String text) { return XCode(GENERIC_ERROR, static_cast<String&&>(text)); }
  static XCode fromErrno(int error);

  bool isSuccess() const { return code_ == SUCCESS; }
  bool isErr() const { return code_ != SUCCESS; }
  std::int32_t code() const { return code_; }

  void setString(const String& text) { text_ = text; }
  [[gnu::format(printf, 2, 3)]] void setStringF(const char* format, ...);
  // "context", separator, and the text that was there: the reason stays last.
  void extendString(const String& context, const char* separator);
  // The text; without one "Error", or "" for success.
  String toString() const;

 private:
  String text_;
  std::int32_t code_ = SUCCESS;
};
