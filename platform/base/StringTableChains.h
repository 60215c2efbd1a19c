// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/base/LongChain.h"
#include "platform/base/Memory.h"
#include "platform/base/StringTableArray.h"

namespace KX {

// The entries of a large table: one chain a bucket, in the order of insertion. The links are cut from blocks and never
// move, and each keeps its hash, so that neither a look-up that passes by nor growth reads a key. A chain of more than
// SHORT links has an index.
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
    std::uint32_t position = *placeOf(key, hash);
    if (isIndex(position)) position = longChain(position).find(key, keys()).position;
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
    append(*link, position);
    ++size_;
    return link->value;
  }
  bool remove(std::string_view key, std::uint32_t hash) {
    std::uint32_t* const place = placeOf(key, hash);
    if (*place == NONE) return false;
    const std::uint32_t position =
        isIndex(*place) ? removeFrom(longChain(*place), key) : std::exchange(*place, linkAt(*place).next);
    if (position == NONE) return false;
    linkAt(position).~Link();
    slotAt(position).nextFree = std::exchange(free_, position);
    if (--size_ == 0) freeBlocks();
    return true;
  }

  // Links that meet in a bucket keep the order in which they were walked before.
  void spread(std::uint32_t buckets) {
    const std::uint32_t before = std::exchange(buckets_, buckets);
    std::uint32_t* const heads = std::exchange(heads_, newHeads(buckets));
    const std::vector<LongChain> longChains = std::exchange(longChains_, {});
    for (std::uint32_t i = 0; i < before; ++i) {
      const std::uint32_t head = heads[i];
      for (std::uint32_t position = isIndex(head) ? longChains[head & ~INDEX].first() : head; position != NONE;) {
        Link& link = linkAt(position);
        const std::uint32_t next = std::exchange(link.next, NONE);
        append(link, position);
        position = next;
      }
    }
    std::free(heads);
  }

 private:
  static constexpr std::uint32_t NONE = LongChain::NONE;
  static constexpr std::uint32_t BLOCK = 64;
  // With four entries a bucket, one bucket in a million has more by chance.
  static constexpr std::uint32_t SHORT = 16;
  // Marks a head that is the place of a long chain, not the position of a link.
  static constexpr std::uint32_t INDEX = 0x80000000U;

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
    for (; bucket < buckets_; ++bucket) {
      const std::uint32_t head = heads_[bucket];
      const std::uint32_t position = isIndex(head) ? longChain(head).first() : head;
      if (position != NONE) return &linkAt(position);
    }
    return nullptr;
  }

  static bool isIndex(std::uint32_t head) { return head >= INDEX && head != NONE; }
  auto keys() const {
    return [this](std::uint32_t position) { return linkAt(position).key.view(); };
  }
  LongChain& longChain(std::uint32_t head) { return longChains_[head & ~INDEX]; }
  const LongChain& longChain(std::uint32_t head) const { return longChains_[head & ~INDEX]; }

  // Where the position of the key's link stands, or of the end of its chain, or the head of its long chain.
  std::uint32_t* placeOf(std::string_view key, std::uint32_t hash) const {
    std::uint32_t* place = &heads_[hash % buckets_];
    for (; *place < INDEX; place = &linkAt(*place).next) {
      if (linkAt(*place).hash == hash && linkAt(*place).key == key) break;
    }
    return place;
  }

  void append(Link& link, std::uint32_t position) {
    std::uint32_t& head = heads_[link.hash % buckets_];
    std::uint32_t* place = &head;
    std::uint32_t length = 0;
    for (; *place < INDEX; place = &linkAt(*place).next) ++length;
    if (*place == NONE) {
      *place = position;
      if (length == SHORT) addIndex(head);
      return;
    }
    const std::uint32_t before = longChain(*place).append(link.key, position);
    if (before != NONE) linkAt(before).next = position;
  }
  [[gnu::noinline]] void addIndex(std::uint32_t& head) {
    LongChain chain;
    for (std::uint32_t position = head; position != NONE; position = linkAt(position).next) {
      chain.append(linkAt(position).key, position);
    }
    head = INDEX | static_cast<std::uint32_t>(longChains_.size());
    longChains_.push_back(std::move(chain));
  }
  // NONE when there is no such key. A chain that gets short again keeps its index until the table grows or is empty.
  [[gnu::noinline]] std::uint32_t removeFrom(LongChain& chain, std::string_view key) {
    const LongChain::Slot& slot = chain.find(key, keys());
    const std::uint32_t position = slot.position;
    if (position == NONE) return NONE;
    const std::uint32_t next = linkAt(position).next;
    if (slot.before != NONE) linkAt(slot.before).next = next;
    chain.remove(slot, next, keys());
    return position;
  }

  std::uint32_t takeSlot() {
    if (free_ != NONE) return std::exchange(free_, slotAt(free_).nextFree);
    if (used_ % BLOCK == 0) blocks_.push_back(static_cast<Slot*>(allocate(BLOCK * sizeof(Slot))));
    return used_++;
  }
  void freeBlocks() {
    for (Slot* block : blocks_) std::free(block);
    blocks_.clear();
    if (!longChains_.empty()) std::fill_n(heads_, buckets_, NONE);
    longChains_.clear();
    used_ = 0;
    free_ = NONE;
  }

  std::uint32_t size_ = 0;
  std::uint32_t buckets_;
  std::uint32_t used_ = 0;     // slots that were ever taken
  std::uint32_t free_ = NONE;  // those given back
  std::uint32_t* heads_;
  std::vector<Slot*> blocks_;
  std::vector<LongChain> longChains_;
};

}  // namespace KX
