// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

#include "platform/property/ValueBlock.h"

namespace KX::Property {

// Gives equal small objects of a document one block, as StringCache does for strings: {"port":80} stands in most nodes.
// Two objects are taken for equal when their parts are the same to the bit, strings and blocks by their address; the
// string cache and this one see to it that they mostly are. An object has one place that it can be in.
class BlockCache {
 public:
  BlockCache() = default;
  BlockCache(const BlockCache&) = delete;
  BlockCache& operator=(const BlockCache&) = delete;
  ~BlockCache() {
    for (ValueBlock* block : slots_) ValueBlock::release(block);
  }

  // Where the block of an object of these parts, keys and values in turn, may be; null when there are too many.
  ValueBlock** slotFor(std::span<const Value> parts) {
    if (parts.empty() || parts.size() > MOST_PARTS) return nullptr;
    std::uint64_t hash = parts.size();
    for (const Value& part : parts) hash = (hash ^ part.data_.natural) * 0x9e3779b97f4a7c15U;
    return &slots_[hash >> (64U - SLOT_BITS)];
  }
  // Another reference to the slot's block if it is just so, else null.
  static ValueBlock* get(ValueBlock* block, std::span<const Value> parts) {
    if (block == nullptr || 2 * std::size_t{block->size} != parts.size()) return nullptr;
    for (std::uint32_t i = 0; i < block->size; ++i) {
      const Member& member = block->members()[i];
      if (member.key.c_str() != parts[2 * i].stringView().data() || !isSame(member.value, parts[2 * i + 1])) {
        return nullptr;
      }
    }
    block->use.references.increment();
    return block;
  }
  static void put(ValueBlock*& slot, ValueBlock* block) {
    ValueBlock::release(slot);
    block->use.references.increment();
    slot = block;
  }

 private:
  static constexpr std::size_t MOST_PARTS = 12;
  static constexpr unsigned SLOT_BITS = 6;

  static bool isSame(const Value& a, const Value& b) {
    return a.type_ == b.type_ && a.data_.natural == b.data_.natural;
  }

  ValueBlock* slots_[1U << SLOT_BITS] = {};
};

}  // namespace KX::Property
