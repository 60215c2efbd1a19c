// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <limits>

#include "platform/base/Export.h"
#include "platform/base/KXVector.h"
#include "platform/base/String.h"
#include "platform/property/Value.h"

// Collects the labelled rows that objects show of themselves for diagnostics, in the order in which they are added.
class KX_EXPORT InfoContainer {
 public:
  struct Row {
    unsigned level;
    unsigned column;
    String label;
    String value;
  };

  void add(unsigned level, unsigned column, const String& label, const String& value);
  const KXVector<Row>& rows() const { return rows_; }
  // One line a row, indented by two blanks a level: "label: value", or "label" where the value is empty.
  String toText() const;

 private:
  KXVector<Row> rows_;
};

// A row with the label, and below it the value's members and elements, a level deeper each, as far as maxLevel; a
// scalar stands in the row itself.
KX_EXPORT void addInfoProperty(InfoContainer& container, unsigned level, unsigned column, const String& label,
                               const KX::Property::Value& value,
                               unsigned maxLevel = std::numeric_limits<unsigned>::max());

// "yes" or "no".
KX_EXPORT const char* YES_NO(bool value);

// What every object that shows itself offers. Rows deeper than maxLevel or maxColumn are left out; level and column are
// those of the object's first row; title goes in front of its label.
class KX_EXPORT IInfo {
 public:
  virtual void getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
                       const String& title) const = 0;

 protected:
  ~IInfo() = default;
};
