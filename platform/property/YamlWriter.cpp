// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "platform/base/StringBuilder.h"
#include "platform/property/ScalarText.h"
#include "platform/property/Value.h"
#include "platform/property/ValueWalk.h"
#include "platform/text/Utf8.h"

namespace KX::Property {

namespace {

// The code point of a valid character.
std::uint32_t codePoint(std::string_view character) {
  if (character.size() == 1) return static_cast<unsigned char>(character[0]);
  std::uint32_t code = static_cast<unsigned char>(character[0]) & (0xffU >> (character.size() + 1));
  for (const char c : character.substr(1)) code = code << 6U | (static_cast<unsigned char>(c) & 0x3fU);
  return code;
}

// Whether YAML takes the character for a line break, a mark or nothing that may stand in a text.
bool needsEscape(std::uint32_t code) {
  return code < 0x20 || (code >= 0x7f && code < 0xa0) || code == 0x2028 || code == 0x2029 || code == 0xfeff ||
         code == 0xfffe || code == 0xffff;
}

class YamlWriter {
 public:
  YamlWriter(unsigned indentation, unsigned step)
      : elementStep_(std::max(step, 2U)), memberStep_(std::max(step, 1U)), next_{indentation, true} {}

  void leaf(const Value& value) {
    if (!next_.isInline) yaml_.append(' ');
    if (value.isString()) {
      quoted(value.stringView());
    } else if (value.isArray() || value.isObject()) {
      yaml_.append(ScalarText(value).view());
    } else {
      quoted(ScalarText(value).view());
    }
  }
  void enter(const Value&) { levels_.push_back(next_); }
  void leave(const Value&) { levels_.pop_back(); }
  void element(bool isFirst);
  void key(std::string_view key, bool isFirst);
  String take() { return yaml_.take(); }

 private:
  // Where the items of a container stand, and whether the first of them goes on with the line.
  struct Level {
    std::size_t column;
    bool isInline;
  };

  void startItem(bool isFirst) {
    if (!isFirst || !levels_.back().isInline) newLine();
  }
  void newLine() {
    yaml_.append('\n');
    yaml_.append(levels_.back().column, ' ');
  }
  void quoted(std::string_view text);
  void escaped(std::uint32_t code);

  // Less would not tell an item from its container.
  const unsigned elementStep_;
  const unsigned memberStep_;
  Level next_;
  std::vector<Level> levels_;
  StringBuilder yaml_;
};

void YamlWriter::element(bool isFirst) {
  startItem(isFirst);
  yaml_.append('-');
  yaml_.append(elementStep_ - 1, ' ');
  next_ = {levels_.back().column + elementStep_, true};
}

// YAML has a long form for keys that would take more than 1024 characters; a byte takes four at most.
void YamlWriter::key(std::string_view key, bool isFirst) {
  constexpr std::size_t LONGEST = 250;
  startItem(isFirst);
  if (key.size() > LONGEST) yaml_.append("? ");
  quoted(key);
  if (key.size() > LONGEST) newLine();
  yaml_.append(':');
  next_ = {levels_.back().column + memberStep_, false};
}

void YamlWriter::quoted(std::string_view text) {
  yaml_.append('"');
  while (!text.empty()) {
    const Utf8Step step = nextUtf8(text);
    const std::string_view character = text.substr(0, step.length);
    if (!step.valid) {
      yaml_.append(UTF8_REPLACEMENT);
    } else if (character == "\"" || character == "\\") {
      yaml_.append('\\');
      yaml_.append(character);
    } else if (const std::uint32_t code = codePoint(character); needsEscape(code)) {
      escaped(code);
    } else {
      yaml_.append(character);
    }
    text.remove_prefix(step.length);
  }
  yaml_.append('"');
}

void YamlWriter::escaped(std::uint32_t code) {
  if (code == '\n') return yaml_.append("\\n");
  if (code == '\r') return yaml_.append("\\r");
  if (code == '\t') return yaml_.append("\\t");
  char* room = yaml_.room(sizeof("\\uffff"));
  yaml_.written(room + std::snprintf(room, sizeof("\\uffff"), code < 0x80 ? "\\x%02x" : "\\u%04x", code));
}

}  // namespace

String Value::toYaml(unsigned indentation, unsigned step) const {
  YamlWriter writer(indentation, step);
  walkValue(*this, writer);
  return writer.take();
}

}  // namespace KX::Property
