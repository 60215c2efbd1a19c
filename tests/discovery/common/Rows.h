// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "platform/monitor/InfoContainer.h"

namespace KX::NMS::Discovery {

// Level and column of an object's first row, and the highest ones that are wanted.
struct RowLimits {
  unsigned maxLevel = 9;
  unsigned level = 0;
  unsigned maxColumn = 9;
  unsigned column = 0;
};

// What an object shows of itself, a row each: "level,column label: value".
template <class T>
std::vector<std::string> rowsOf(const T& object, const RowLimits& limits = {}, const String& title = String()) {
  InfoContainer container;
  object.getInfo(container, limits.maxLevel, limits.level, limits.maxColumn, limits.column, title);
  std::vector<std::string> rows;
  for (const InfoContainer::Row& row : container.rows()) {
    rows.push_back(std::to_string(row.level) + "," + std::to_string(row.column) + " " + row.label.c_str() + ": " +
                   row.value.c_str());
  }
  return rows;
}

}  // namespace KX::NMS::Discovery
