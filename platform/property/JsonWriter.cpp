// SPDX-License-Identifier: Apache-2.0
#include "platform/base/StringBuilder.h"
#include "platform/property/PlainText.h"
#include "platform/property/ScalarText.h"
#include "platform/property/Value.h"
#include "platform/property/ValueWalk.h"
#include "platform/text/Utf8.h"

namespace KX::Property {

namespace {

class JsonWriter {
 public:
  void leaf(const Value& value) {
    if (value.isString()) {
      quoted(value.stringView());
    } else {
      json_.append(ScalarText(value).view());
    }
  }
  void enter(const Value& container) { json_.append(container.isObject() ? '{' : '['); }
  void leave(const Value& container) { json_.append(container.isObject() ? '}' : ']'); }
  void element(bool isFirst) {
    if (!isFirst) json_.append(',');
  }
  void key(std::string_view key, bool isFirst) {
    element(isFirst);
    quoted(key);
    json_.append(':');
  }
  String take() { return json_.take(); }

 private:
  void quoted(std::string_view text);
  // Writes what the text starts with, which is not plain, and says how much of it that was.
  std::size_t special(std::string_view text);
  void escaped(char c);

  StringBuilder json_;
};

void JsonWriter::quoted(std::string_view text) {
  char* to = json_.room(text.size() + 2);
  *to++ = '"';
  const char* const end = text.data() + text.size();
  const char* next = copyPlainText(text.data(), end, to);
  if (next == end) {
    *to++ = '"';
    return json_.written(to);
  }
  json_.written(to);
  while (next != end) {
    next += special({next, static_cast<std::size_t>(end - next)});
    const char* const plainEnd = skipPlainText<true>(next, end);
    json_.append({next, static_cast<std::size_t>(plainEnd - next)});
    next = plainEnd;
  }
  json_.append('"');
}

std::size_t JsonWriter::special(std::string_view text) {
  const Utf8Step step = nextUtf8(text);
  if (!step.valid) {
    json_.append(UTF8_REPLACEMENT);
  } else if (step.length > 1) {
    json_.append(text.substr(0, step.length));
  } else {
    escaped(text.front());
  }
  return step.length;
}

void JsonWriter::escaped(char c) {
  constexpr std::string_view SHORT = "\"\\\b\f\n\r\t";
  constexpr std::string_view LETTERS = "\"\\bfnrt";
  constexpr std::string_view DIGITS = "0123456789abcdef";
  json_.append('\\');
  const std::size_t index = SHORT.find(c);
  if (index != std::string_view::npos) return json_.append(LETTERS[index]);
  json_.append("u00");
  json_.append(DIGITS[static_cast<unsigned char>(c) >> 4U]);
  json_.append(DIGITS[static_cast<unsigned char>(c) & 0xfU]);
}

}  // namespace

String Value::toJson() const {
  JsonWriter writer;
  walkValue(*this, writer);
  return writer.take();
}

}  // namespace KX::Property
