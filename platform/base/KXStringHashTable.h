// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <utility>

#include "platform/base/StringTableBuckets.h"

// A table keyed by strings, which are compared byte for byte. It is walked by bucket, ascending, and inside a bucket by
// insertion: that order reaches the wire, so hash and bucket choice are fixed. It grows only when it holds more than
// four entries a bucket; entries that then meet in a bucket keep the order in which they were walked before. A table of
// up to 64 entries is one sorted array, because every node has one for its services, and copies share it until one of
// them is changed, or walked or searched without const, by which it could be. References to values stay good until
// then, and those for writing until a copy is made.
template <class T>
class KXStringHashTable {
 public:
  using Entry = KX::TableEntry<T>;

  KXStringHashTable() = default;
  explicit KXStringHashTable(std::uint32_t buckets) : buckets_(buckets) {}

  std::size_t size() const { return buckets_.size(); }
  bool isEmpty() const { return size() == 0; }

  // Null when there is no such key.
  T* find(std::string_view key) {
    buckets_.unshare();
    Entry* const entry = buckets_.find(key);
    return entry == nullptr ? nullptr : &entry->value;
  }
  const T* find(std::string_view key) const {
    const Entry* const entry = buckets_.find(key);
    return entry == nullptr ? nullptr : &entry->value;
  }

  // Adds the entry, or overwrites the value under its key.
  T& set(const String& key, T value) {
    buckets_.unshare();
    const std::uint32_t hash = kxHash(key);
    Entry* const known = buckets_.find(key, hash);
    if (known != nullptr) return known->value = std::move(value);
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
  // Whether both share one array.
  bool isSharedWith(const KXStringHashTable& other) const { return buckets_.isSharedWith(other.buckets_); }
  // The same entries in the same order, which they would keep as the tables go on.
  bool operator==(const KXStringHashTable& other) const {
    if (isSharedWith(other)) return true;
    if (size() != other.size() || !buckets_.hasBucketsOf(other.buckets_)) return false;
    for (auto mine = begin(), its = other.begin(); mine != end(); ++mine, ++its) {
      if (!(mine->key == its->key && mine->value == its->value)) return false;
    }
    return true;
  }

  // False when there is no such key.
  bool remove(std::string_view key) { return buckets_.remove(key); }
  void clear() { buckets_ = KX::TableBuckets<T>(); }

  template <class E>
  class Iterator {
   public:
    Iterator(const KX::TableBuckets<T>& buckets, E* entry) : buckets_(&buckets), entry_(entry) {}
    E& operator*() const { return *entry_; }
    E* operator->() const { return entry_; }
    Iterator& operator++() {
      entry_ = buckets_->after(entry_);
      return *this;
    }
    bool operator==(const Iterator& other) const { return entry_ == other.entry_; }

   private:
    const KX::TableBuckets<T>* buckets_;
    E* entry_;  // null at the end
  };

  auto begin() {
    buckets_.unshare();
    return Iterator<Entry>(buckets_, buckets_.first());
  }
  auto end() { return Iterator<Entry>(buckets_, nullptr); }
  auto begin() const { return Iterator<const Entry>(buckets_, buckets_.first()); }
  auto end() const { return Iterator<const Entry>(buckets_, nullptr); }

 private:
  KX::TableBuckets<T> buckets_;
};
