// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/base/Memory.h"
#include "platform/base/StringTableArray.h"

namespace KX {

// The entries of a large table: one chain a bucket, in the order of insertion. The links are cut from blocks and never
// move, and each keeps its hash, so that neither a look-up that passes by nor growth reads a key.
template <class T>
class TableChains {
 public:
  struct Link : TableEntry<T> {
    std::uint32_t hash;
    std::uint32_t next;
  };

  explicit TableChains(std::uint32_t buckets) : buckets_(buckets), heads_(newHeads(buckets)) {}
  TableChains(const TableChains& other) : TableChains(other.buckets_) {
    for (Link* link = other.first(); link != nullptr; link = other.after(link))
      insert(TableEntry<T>(*link), link->hash);
  }
  TableChains& operator=(const TableChains&) = delete;
  ~TableChains() {
    for (Link* link = first(); link != nullptr;) std::exchange(link, after(link))->~Link();
    freeBlocks();
    std::free(heads_);
  }

  std::uint32_t size() const { return size_; }
  std::uint32_t buckets() const { return buckets_; }

  Link* find(std::string_view key, std::uint32_t hash) const {
    const std::uint32_t position = *placeOf(key, hash);
    return position == NONE ? nullptr : &linkAt(position);
  }
  // In the order of the walk; null at the end.
  Link* first() const { return firstFrom(0); }
  Link* after(const Link* link) const {
    return link->next == NONE ? firstFrom(link->hash % buckets_ + 1) : &linkAt(link->next);
  }

  // The key must be new.
  T& insert(TableEntry<T> entry, std::uint32_t hash) {
    const std::uint32_t position = takeSlot();
    Link* const link = new (&slotAt(position).link) Link{{std::move(entry)}, hash, NONE};
    *endOf(hash) = position;
    ++size_;
    return link->value;
  }
  bool remove(std::string_view key, std::uint32_t hash) {
    std::uint32_t* const place = placeOf(key, hash);
    if (*place == NONE) return false;
    const std::uint32_t position = std::exchange(*place, linkAt(*place).next);
    linkAt(position).~Link();
    slotAt(position).nextFree = std::exchange(free_, position);
    if (--size_ == 0) freeBlocks();
    return true;
  }

  // Links that meet in a bucket keep the order in which they were walked before.
  void spread(std::uint32_t buckets) {
    const std::uint32_t before = std::exchange(buckets_, buckets);
    std::uint32_t* const heads = std::exchange(heads_, newHeads(buckets));
    for (std::uint32_t i = 0; i < before; ++i) {
      for (std::uint32_t position = heads[i]; position != NONE;) {
        Link& link = linkAt(position);
        *endOf(link.hash) = position;
        position = std::exchange(link.next, NONE);
      }
    }
    std::free(heads);
  }

 private:
  static constexpr std::uint32_t NONE = 0xffffffffU;
  static constexpr std::uint32_t BLOCK = 64;

  union Slot {
    std::uint32_t nextFree;
    Link link;
  };

  static std::uint32_t* newHeads(std::uint32_t buckets) {
    auto* heads = static_cast<std::uint32_t*>(allocate(buckets * sizeof(std::uint32_t)));
    std::fill_n(heads, buckets, NONE);
    return heads;
  }
  Slot& slotAt(std::uint32_t position) const { return blocks_[position / BLOCK][position % BLOCK]; }
  Link& linkAt(std::uint32_t position) const { return slotAt(position).link; }
  Link* firstFrom(std::uint32_t bucket) const {
    while (bucket < buckets_ && heads_[bucket] == NONE) ++bucket;
    return bucket < buckets_ ? &linkAt(heads_[bucket]) : nullptr;
  }

  // Where the position of the key's link stands, or of the end of its chain.
  std::uint32_t* placeOf(std::string_view key, std::uint32_t hash) const {
    std::uint32_t* place = &heads_[hash % buckets_];
    for (; *place != NONE; place = &linkAt(*place).next) {
      if (linkAt(*place).hash == hash && linkAt(*place).key == key) break;
    }
    return place;
  }
  std::uint32_t* endOf(std::uint32_t hash) const {
    std::uint32_t* place = &heads_[hash % buckets_];
    while (*place != NONE) place = &linkAt(*place).next;
    return place;
  }

  std::uint32_t takeSlot() {
    if (free_ != NONE) return std::exchange(free_, slotAt(free_).nextFree);
    if (used_ % BLOCK == 0) blocks_.push_back(static_cast<Slot*>(allocate(BLOCK * sizeof(Slot))));
    return used_++;
  }
  void freeBlocks() {
    for (Slot* block : blocks_) std::free(block);
    blocks_.clear();
    used_ = 0;
    free_ = NONE;
  }

  std::uint32_t size_ = 0;
  std::uint32_t buckets_;
  std::uint32_t used_ = 0;     // slots that were ever taken
  std::uint32_t free_ = NONE;  // those given back
  std::uint32_t* heads_;
  std::vector<Slot*> blocks_;
};

}  // namespace KX
