// SPDX-License-Identifier: Apache-2.0
#include "platform/monitor/InfoContainer.h"

#include "platform/text/Printable.h"

namespace {

String rowText(const KX::Property::Value& value) {
  if (value.isString()) return value.toString();
  // Null and empty containers are told from empty texts.
  return value.isValid() && value.isEmpty() ? value.toJson() : String();
}

}  // namespace

void InfoContainer::add(unsigned level, unsigned column, const String& label, const String& value) {
  rows_.add({level, column, label, value});
}

String InfoContainer::toText() const {
  String text;
  for (const Row& row : rows_) {
    text.concatf("%*s", static_cast<int>(row.level * 2), "").append(toPrintable(row.label));
    if (!row.value.isEmpty()) text.append(": ").append(toPrintable(row.value));
    text.append("\n");
  }
  return text;
}

void addInfoProperty(InfoContainer& container, unsigned level, unsigned column, const String& label,
                     const KX::Property::Value& value, unsigned maxLevel) {
  if (level > maxLevel) return;
  container.add(level, column, label, rowText(value));
  for (const KX::Property::Member& member : value.members()) {
    addInfoProperty(container, level + 1, column, member.key, member.value, maxLevel);
  }
  std::size_t index = 0;
  for (const KX::Property::Value& element : value.elements()) {
    addInfoProperty(container, level + 1, column, String::format("[%zu]", index++), element, maxLevel);
  }
}

const char* YES_NO(bool value) { return value ? "yes" : "no"; }
