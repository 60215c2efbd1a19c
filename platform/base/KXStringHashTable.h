// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <utility>

#include "platform/base/StringTableBuckets.h"

// A table keyed by strings, which are compared byte for byte. It is walked by bucket, ascending, and inside a bucket by
// insertion: that order reaches the wire, so hash and bucket choice are fixed. It grows only when it holds more than
// four entries a bucket; entries that then meet in a bucket keep the order in which they were walked before. A table of
// up to 64 entries is one sorted array, because every node has one for its services; a larger one has an array a
// bucket. References to values stay good until the table is changed.
template <class T>
class KXStringHashTable {
 public:
  using Entry = KX::TableEntry<T>;
  using Array = KX::TableArray<T>;

  KXStringHashTable() = default;
  explicit KXStringHashTable(std::uint32_t buckets) : buckets_(buckets) {}

  std::size_t size() const { return buckets_.size(); }
  bool isEmpty() const { return size() == 0; }

  // Null when there is no such key.
  T* find(std::string_view key) { return valueOf(buckets_.arrayFor(key), key); }
  const T* find(std::string_view key) const { return valueOf(buckets_.arrayFor(key), key); }

  // Adds the entry, or overwrites the value under its key.
  T& set(const String& key, T value) {
    const std::uint32_t hash = kxHash(key);
    T* known = valueOf(buckets_.arrayForHash(hash), key);
    if (known != nullptr) return *known = std::move(value);
    return buckets_.insert(Entry{key, std::move(value)}, hash);
  }

  // set() for every entry of the other table, in its order.
  void setAll(const KXStringHashTable& other) {
    if (isEmpty() && buckets_.hasBucketsOf(other.buckets_)) {
      buckets_ = other.buckets_;
    } else {
      for (const Entry& entry : other) set(entry.key, entry.value);
    }
  }

  // False when there is no such key.
  bool remove(std::string_view key) { return buckets_.remove(key); }
  void clear() { buckets_ = KX::TableBuckets<T>(); }

  template <class E>
  class Iterator {
   public:
    Iterator(Array* const* bucket, Array* const* end) : bucket_(bucket), end_(end) { skipEmpty(); }
    E& operator*() const { return (*bucket_)->entries()[index_]; }
    E* operator->() const { return &**this; }
    Iterator& operator++() {
      ++index_;
      skipEmpty();
      return *this;
    }
    bool operator==(const Iterator& other) const { return bucket_ == other.bucket_ && index_ == other.index_; }

   private:
    void skipEmpty() {
      while (bucket_ != end_ && (*bucket_ == nullptr || index_ == (*bucket_)->size)) {
        ++bucket_;
        index_ = 0;
      }
    }
    Array* const* bucket_;
    Array* const* end_;
    std::uint32_t index_ = 0;
  };

  auto begin() { return Iterator<Entry>(buckets_.first(), buckets_.last()); }
  auto end() { return Iterator<Entry>(buckets_.last(), buckets_.last()); }
  auto begin() const { return Iterator<const Entry>(buckets_.first(), buckets_.last()); }
  auto end() const { return Iterator<const Entry>(buckets_.last(), buckets_.last()); }

 private:
  static T* valueOf(Array* array, std::string_view key) {
    if (array == nullptr) return nullptr;
    for (std::uint32_t i = 0; i < array->size; ++i) {
      if (array->entries()[i].key == key) return &array->entries()[i].value;
    }
    return nullptr;
  }

  KX::TableBuckets<T> buckets_;
};
