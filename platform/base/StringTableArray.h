// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string_view>
#include <utility>

#include "platform/base/Count.h"
#include "platform/base/Memory.h"
#include "platform/base/String.h"

namespace KX {

template <class T>
struct TableEntry {
  String key;
  T value;
};

// The entries of a small table in one block, sorted by bucket. Copies of the table share the block until one of them is
// changed; only a block with one reference is changed.
template <class T>
struct alignas(TableEntry<T>) TableArray {
  Count references;
  std::uint32_t size;
  std::uint32_t buckets;

  TableEntry<T>* entries() { return reinterpret_cast<TableEntry<T>*>(this + 1); }

  // Room is exact for the few entries that most tables have, and in steps beyond.
  static std::uint32_t capacityFor(std::uint32_t size) { return size <= 4 ? size : (size + 7U) & ~7U; }

  static TableArray* create(std::uint32_t size, std::uint32_t buckets) {
    static_assert(alignof(TableEntry<T>) <= alignof(std::max_align_t));
    void* memory = allocate(sizeof(TableArray) + capacityFor(size) * sizeof(TableEntry<T>));
    return new (memory) TableArray{Count(1), 0, buckets};
  }
  static void release(TableArray* array) {
    if (array != nullptr && array->references.decrement() == 0) destroy(array);
  }
  // Exchanges a reference for the only one to a block of the same entries.
  static TableArray* writable(TableArray* array) {
    return array == nullptr || array->references.value() == 1 ? array : copy(array);
  }

  TableEntry<T>* find(std::string_view key) {
    for (std::uint32_t i = 0; i < size; ++i) {
      if (entries()[i].key == key) return &entries()[i];
    }
    return nullptr;
  }
  // Puts the entry behind the last one of its own bucket or a lower one; the array may move.
  static T& insert(TableArray*& array, TableEntry<T> entry, std::uint32_t hash) {
    if (capacityFor(array->size + 1) != capacityFor(array->size)) {
      TableArray* old = std::exchange(array, create(array->size + 1, array->buckets));
      for (std::uint32_t i = 0; i < old->size; ++i) array->append(std::move(old->entries()[i]));
      release(old);
    }
    const std::uint32_t position = array->positionFor(hash % array->buckets);
    array->append(std::move(entry));
    for (std::uint32_t i = array->size - 1; i > position; --i) std::swap(array->entries()[i], array->entries()[i - 1]);
    return array->entries()[position].value;
  }
  void remove(TableEntry<T>* entry) {
    for (TableEntry<T>* const last = entries() + size - 1; entry != last; ++entry) std::swap(entry[0], entry[1]);
    entries()[--size].~TableEntry<T>();
  }
  void append(TableEntry<T>&& entry) { new (&entries()[size++]) TableEntry<T>(std::move(entry)); }

 private:
  [[gnu::noinline]] static TableArray* copy(TableArray* array) {
    TableArray* result = create(array->size, array->buckets);
    for (std::uint32_t i = 0; i < array->size; ++i) result->append(TableEntry<T>(array->entries()[i]));
    release(array);
    return result;
  }
  [[gnu::noinline]] static void destroy(TableArray* array) {
    for (std::uint32_t i = 0; i < array->size; ++i) array->entries()[i].~TableEntry<T>();
    std::free(array);
  }
  std::uint32_t positionFor(std::uint32_t bucket) {
    std::uint32_t position = size;
    while (position > 0 && kxHash(entries()[position - 1].key) % buckets > bucket) --position;
    return position;
  }
};

}  // namespace KX
