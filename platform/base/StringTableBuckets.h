// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "platform/base/Memory.h"
#include "platform/base/StringTableArray.h"

namespace KX {

// The storage of a KXStringHashTable: one pointer, to the array of a small table or, marked, to a large table's arrays.
template <class T>
class TableBuckets {
 public:
  using Array = TableArray<T>;
  static constexpr std::uint32_t DEFAULT_BUCKETS = 16;
  static constexpr std::uint32_t ENTRIES_PER_BUCKET = 4;
  static constexpr std::uint32_t SMALL = 64;

  TableBuckets() = default;
  explicit TableBuckets(std::uint32_t buckets) {
    if (buckets != DEFAULT_BUCKETS) small_ = Array::create(0, buckets == 0 ? 1 : buckets);
  }
  TableBuckets(const TableBuckets& other) {
    if (!other.isLarge()) {
      small_ = other.small_ == nullptr ? nullptr : Array::copy(*other.small_);
      return;
    }
    *this = TableBuckets(other.count());
    for (Array* const* bucket = other.first(); bucket != other.last(); ++bucket) {
      for (std::uint32_t i = 0; *bucket != nullptr && i < (*bucket)->size; ++i) insert((*bucket)->entries()[i]);
    }
  }
  TableBuckets(TableBuckets&& other) noexcept : small_(std::exchange(other.small_, nullptr)) {}
  TableBuckets& operator=(TableBuckets other) noexcept {
    std::swap(small_, other.small_);
    return *this;
  }
  ~TableBuckets() {
    if (isLarge()) {
      for (Array* const* bucket = first(); bucket != last(); ++bucket) Array::destroy(*bucket);
      std::free(large());
    } else {
      Array::destroy(small_);
    }
  }

  // Whether entries would be walked in the same order here.
  bool hasBucketsOf(const TableBuckets& other) const {
    return count() == other.count() && isLarge() == other.isLarge();
  }

  std::size_t size() const {
    if (isLarge()) return large()->size;
    return small_ == nullptr ? 0 : small_->size;
  }
  // The array that holds the key if the table has it; may be null.
  Array* arrayFor(std::string_view key) const { return isLarge() ? arrayForHash(kxHash(key)) : small_; }
  Array* arrayForHash(std::uint32_t hash) const {
    return isLarge() ? large()->heads()[hash % large()->buckets] : small_;
  }
  Array* const* first() const { return isLarge() ? large()->heads() : &small_; }
  Array* const* last() const { return isLarge() ? large()->heads() + large()->buckets : &small_ + 1; }

  // The key must be new.
  T& insert(TableEntry<T> entry) {
    const std::uint32_t hash = kxHash(entry.key);
    return insert(std::move(entry), hash);
  }
  // The same for who knows the key's hash.
  T& insert(TableEntry<T> entry, std::uint32_t hash) {
    if (size() >= SMALL || size() >= std::size_t{ENTRIES_PER_BUCKET} * count()) spread(size() + 1);
    if (isLarge()) {
      Large* table = large();
      ++table->size;
      Array*& bucket = table->heads()[hash % table->buckets];
      return Array::insert(bucket, bucket == nullptr ? 0 : bucket->size, std::move(entry));
    }
    if (small_ == nullptr) small_ = Array::create(1, DEFAULT_BUCKETS);
    const std::uint32_t position = positionFor(hash);
    return Array::insert(small_, position, std::move(entry));
  }

  bool remove(std::string_view key) {
    Array* array = arrayFor(key);
    for (std::uint32_t i = 0; array != nullptr && i < array->size; ++i) {
      if (!(array->entries()[i].key == key)) continue;
      array->removeAt(i);
      if (isLarge()) --large()->size;
      return true;
    }
    return false;
  }

 private:
  struct Large {
    std::size_t size;
    std::uint32_t buckets;
    Array** heads() { return reinterpret_cast<Array**>(this + 1); }
  };
  static constexpr std::uintptr_t MARK = 1;

  bool isLarge() const { return (reinterpret_cast<std::uintptr_t>(small_) & MARK) != 0; }
  Large* large() const { return reinterpret_cast<Large*>(reinterpret_cast<std::uintptr_t>(small_) & ~MARK); }
  std::uint32_t count() const {
    if (isLarge()) return large()->buckets;
    return small_ == nullptr ? DEFAULT_BUCKETS : small_->buckets;
  }

  // Behind the last entry of the key's own bucket or a lower one.
  std::uint32_t positionFor(std::uint32_t hash) const {
    const std::uint32_t bucket = hash % small_->buckets;
    std::uint32_t position = small_->size;
    while (position > 0 && kxHash(small_->entries()[position - 1].key) % small_->buckets > bucket) --position;
    return position;
  }

  // A power of two suits the hash badly: sequential addresses would share their buckets.
  static std::uint32_t primeFrom(std::size_t least) {
    for (auto candidate = static_cast<std::uint32_t>(least | 1U);; candidate += 2) {
      std::uint32_t divisor = 3;
      while (divisor * divisor <= candidate && candidate % divisor != 0) divisor += 2;
      if (divisor * divisor > candidate) return candidate;
    }
  }

  // Goes over to an array a bucket, and to more buckets where the table is full.
  void spread(std::size_t wanted) {
    const bool full = size() >= std::size_t{ENTRIES_PER_BUCKET} * count();
    const std::uint32_t buckets = full ? primeFrom(wanted) : count();
    if (isLarge() && !full) return;
    auto* table = static_cast<Large*>(allocate(sizeof(Large) + buckets * sizeof(Array*)));
    table->size = 0;
    table->buckets = buckets;
    for (std::uint32_t i = 0; i < buckets; ++i) table->heads()[i] = nullptr;
    TableBuckets spreadOut;
    spreadOut.small_ = reinterpret_cast<Array*>(reinterpret_cast<std::uintptr_t>(table) | MARK);
    for (Array* const* bucket = first(); bucket != last(); ++bucket) {
      for (std::uint32_t i = 0; *bucket != nullptr && i < (*bucket)->size; ++i) {
        spreadOut.insert(std::move((*bucket)->entries()[i]));
      }
    }
    *this = std::move(spreadOut);
  }

  Array* small_ = nullptr;
};

}  // namespace KX
