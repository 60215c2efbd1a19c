// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <string_view>
#include <utility>

#include "platform/base/Count.h"
#include "platform/property/Slab.h"
#include "platform/property/Value.h"

namespace KX::Property {

// What an array or an object holds, in one piece of memory: this header, room for the items, and in an object with room
// for more than a few members the slots of a hash index over its keys. Blocks are shared by the copies of a value and
// are changed only by a value that holds the only reference. The index is kept up to date with every member, never made
// by a look-up, so that several threads may look up in a shared block.
struct ValueBlock {
  static constexpr std::uint32_t NONE = std::numeric_limits<std::uint32_t>::max();
  // Up to here a look-up compares one key after the other.
  static constexpr std::uint32_t LARGEST_WITHOUT_INDEX = 16;

  struct InUse {
    Count references;
    std::uint32_t capacity;
  };
  union {
    InUse use;
    ValueBlock* nextDead;  // once the last reference is gone: links the blocks that are still to be destroyed
  };
  std::uint32_t size;
  bool isObject;
  std::uint16_t place;  // in its slab

  // An empty block with one reference, on the heap without a slab.
  static ValueBlock* create(bool isObject, std::size_t capacity, Slab* slab = nullptr);
  // Exchanges a reference, or null, for the only reference to a block with the same items and room for some more.
  static ValueBlock* writable(ValueBlock* block, bool isObject, std::uint32_t room);
  static void release(ValueBlock* block);
  // Hands a reference over to a value. An empty block is not kept.
  static Value toValue(ValueBlock* block);

  Value* elements() { return reinterpret_cast<Value*>(this + 1); }
  const Value* elements() const { return reinterpret_cast<const Value*>(this + 1); }
  Member* members() { return reinterpret_cast<Member*>(this + 1); }
  const Member* members() const { return reinterpret_cast<const Member*>(this + 1); }

  // The position of the member, or NONE.
  std::uint32_t find(std::string_view key) const;
  // There is room. A member's key is new.
  Value& append(Value&& element) { return *new (elements() + size++) Value(std::move(element)); }
  Value& append(String&& key, Value&& value) {
    if (use.capacity > LARGEST_WITHOUT_INDEX) slots()[slotOf(key)] = size;
    return (new (members() + size++) Member{std::move(key), std::move(value)})->value;
  }
  // The same with a key that is a string value.
  Value& append(Value&& key, Value&& value) { return append(std::move(key.data_.string), std::move(value)); }

 private:
  ValueBlock(bool object, std::uint32_t capacity, std::uint16_t slabPlace)
      : use{Count(1), capacity}, size(0), isObject(object), place(slabPlace) {}

  static void destroy(ValueBlock* block);
  static ValueBlock* destroyItem(Value& item, ValueBlock* dead);
  void takeItemsOf(ValueBlock& other);
  void copyItemsOf(const ValueBlock& other);

  std::uint32_t* slots() { return reinterpret_cast<std::uint32_t*>(members() + use.capacity); }
  const std::uint32_t* slots() const { return reinterpret_cast<const std::uint32_t*>(members() + use.capacity); }
  // The slot that names the key's member, or the free one where it belongs.
  std::uint32_t slotOf(std::string_view key) const;
};

}  // namespace KX::Property
