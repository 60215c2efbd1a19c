// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>

#include "platform/base/Memory.h"
#include "platform/base/String.h"

namespace KX {

template <class T>
struct TableEntry {
  String key;
  T value;
};

// Entries in one block. A small table is one such array and keeps its bucket count in it.
template <class T>
struct TableArray {
  std::uint32_t size;
  std::uint32_t buckets;

  TableEntry<T>* entries() { return reinterpret_cast<TableEntry<T>*>(this + 1); }

  // Room is exact for the few entries that most arrays have, and in steps beyond.
  static std::uint32_t capacityFor(std::uint32_t size) { return size <= 4 ? size : (size + 7U) & ~7U; }

  static TableArray* create(std::uint32_t size, std::uint32_t buckets) {
    static_assert(alignof(TableEntry<T>) <= alignof(std::max_align_t));
    auto* array = static_cast<TableArray*>(allocate(sizeof(TableArray) + capacityFor(size) * sizeof(TableEntry<T>)));
    array->size = 0;
    array->buckets = buckets;
    return array;
  }
  static TableArray* copy(TableArray& other) {
    TableArray* array = create(other.size, other.buckets);
    for (std::uint32_t i = 0; i < other.size; ++i) array->append(other.entries()[i]);
    return array;
  }
  static void destroy(TableArray* array) {
    if (array == nullptr) return;
    for (std::uint32_t i = 0; i < array->size; ++i) array->entries()[i].~TableEntry<T>();
    std::free(array);
  }

  // Puts the entry in front of the one at the position; the array may move.
  static T& insert(TableArray*& array, std::uint32_t position, TableEntry<T> entry) {
    TableArray* old = array;
    if (old == nullptr || capacityFor(old->size + 1) != capacityFor(old->size)) {
      array = create(old == nullptr ? 1 : old->size + 1, old == nullptr ? 0 : old->buckets);
      for (std::uint32_t i = 0; old != nullptr && i < old->size; ++i) array->append(std::move(old->entries()[i]));
      destroy(old);
    }
    array->append(std::move(entry));
    for (std::uint32_t i = array->size - 1; i > position; --i) std::swap(array->entries()[i], array->entries()[i - 1]);
    return array->entries()[position].value;
  }
  void removeAt(std::uint32_t position) {
    for (std::uint32_t i = position; i + 1 < size; ++i) std::swap(entries()[i], entries()[i + 1]);
    entries()[--size].~TableEntry<T>();
  }
  void append(TableEntry<T> entry) { new (&entries()[size++]) TableEntry<T>(std::move(entry)); }
};

}  // namespace KX
