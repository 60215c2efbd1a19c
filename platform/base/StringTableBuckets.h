// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "platform/base/StringTableArray.h"
#include "platform/base/StringTableChains.h"

namespace KX {

// The storage of a KXStringHashTable: one pointer, to the array of a small table or, marked, to the chains of a large
// one. An array may be shared with other tables; who is about to change a table or what an entry holds calls unshare()
// first, after which pointers to entries have to be found again.
template <class T>
class TableBuckets {
 public:
  using Array = TableArray<T>;
  using Chains = TableChains<T>;
  using Entry = TableEntry<T>;
  static constexpr std::uint32_t DEFAULT_BUCKETS = 16;
  static constexpr std::uint32_t ENTRIES_PER_BUCKET = 4;
  static constexpr std::uint32_t SMALL = 64;

  TableBuckets() = default;
  explicit TableBuckets(std::uint32_t buckets) {
    if (buckets != DEFAULT_BUCKETS) small_ = Array::create(0, buckets == 0 ? 1 : buckets);
  }
  TableBuckets(const TableBuckets& other) : small_(other.small_) {
    if (isLarge()) {
      setLarge(new Chains(*other.large()));
    } else if (small_ != nullptr) {
      small_->references.increment();
    }
  }
  TableBuckets(TableBuckets&& other) noexcept : small_(std::exchange(other.small_, nullptr)) {}
  TableBuckets& operator=(TableBuckets other) noexcept {
    std::swap(small_, other.small_);
    return *this;
  }
  ~TableBuckets() {
    if (isLarge()) {
      delete large();
    } else {
      Array::release(small_);
    }
  }

  void unshare() {
    if (!isLarge()) small_ = Array::writable(small_);
  }
  // Whether both are one array, so that their entries need no comparison.
  bool isSharedWith(const TableBuckets& other) const { return small_ == other.small_; }
  // Whether entries would be walked in the same order here.
  bool hasBucketsOf(const TableBuckets& other) const {
    return count() == other.count() && isLarge() == other.isLarge();
  }

  std::size_t size() const {
    if (isLarge()) return large()->size();
    return small_ == nullptr ? 0 : small_->size;
  }
  std::uint32_t count() const {
    if (isLarge()) return large()->buckets();
    return small_ == nullptr ? DEFAULT_BUCKETS : small_->buckets;
  }

  // Null when there is no such key.
  Entry* find(std::string_view key) const { return isLarge() ? large()->find(key, kxHash(key)) : findSmall(key); }
  // The same for who knows the key's hash.
  Entry* find(std::string_view key, std::uint32_t hash) const {
    return isLarge() ? large()->find(key, hash) : findSmall(key);
  }
  // In the order of the walk; null at the end.
  Entry* first() const {
    if (isLarge()) return large()->first();
    return size() == 0 ? nullptr : small_->entries();
  }
  Entry* after(const Entry* entry) const {
    if (isLarge()) return large()->after(static_cast<const typename Chains::Link*>(entry));
    const auto next = static_cast<std::size_t>(entry - small_->entries()) + 1;
    return next == small_->size ? nullptr : small_->entries() + next;
  }

  // The key must be new, and the hash its own. Out of line, since every user of a table would have a copy.
  [[gnu::noinline]] T& insert(Entry entry, std::uint32_t hash) {
    if (size() >= SMALL || size() >= std::size_t{ENTRIES_PER_BUCKET} * count()) makeRoom();
    if (isLarge()) return large()->insert(std::move(entry), hash);
    if (small_ == nullptr) small_ = Array::create(1, DEFAULT_BUCKETS);
    unshare();
    return Array::insert(small_, std::move(entry), hash);
  }
  bool remove(std::string_view key) {
    if (isLarge()) return large()->remove(key, kxHash(key));
    if (findSmall(key) == nullptr) return false;
    unshare();
    small_->remove(findSmall(key));
    return true;
  }

 private:
  static constexpr std::uintptr_t MARK = 1;

  bool isLarge() const { return (reinterpret_cast<std::uintptr_t>(small_) & MARK) != 0; }
  Chains* large() const { return reinterpret_cast<Chains*>(reinterpret_cast<std::uintptr_t>(small_) & ~MARK); }
  void setLarge(Chains* chains) { small_ = reinterpret_cast<Array*>(reinterpret_cast<std::uintptr_t>(chains) | MARK); }
  Entry* findSmall(std::string_view key) const { return small_ == nullptr ? nullptr : small_->find(key); }

  // A power of two suits the hash badly: sequential addresses would share their buckets.
  static std::uint32_t primeFrom(std::size_t least) {
    for (auto candidate = static_cast<std::uint32_t>(least | 1U);; candidate += 2) {
      std::uint32_t divisor = 3;
      while (divisor * divisor <= candidate && candidate % divisor != 0) divisor += 2;
      if (divisor * divisor > candidate) return candidate;
    }
  }

  // Goes over to chains, and to more buckets where the table is full.
  void makeRoom() {
    const bool isFull = size() >= std::size_t{ENTRIES_PER_BUCKET} * count();
    const std::uint32_t buckets = isFull ? primeFrom(size() + 1) : count();
    if (!isLarge()) {
      Array* const array = Array::writable(small_);
      setLarge(new Chains(buckets));
      for (std::uint32_t i = 0; i < array->size; ++i) {
        const std::uint32_t hash = kxHash(array->entries()[i].key);
        large()->insert(std::move(array->entries()[i]), hash);
      }
      Array::release(array);
    } else if (isFull) {
      large()->spread(buckets);
    }
  }

  Array* small_ = nullptr;
};

}  // namespace KX
