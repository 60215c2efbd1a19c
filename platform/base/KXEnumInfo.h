// SPDX-License-Identifier: Apache-2.0
#pragma once

// The names of an enumeration's values. Whoever defines an enumeration that is printed specialises VALUE_NAME; it
// gives null for a value without a name.
template <class E>
struct KXEnumInfo {
  static const char* VALUE_NAME(E value);

  // The name, or "" where there is none.
  static const char* nameOrEmpty(E value) {
    const char* name = VALUE_NAME(value);
    return name == nullptr ? "" : name;
  }
};
