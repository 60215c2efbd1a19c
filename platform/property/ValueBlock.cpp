// SPDX-License-Identifier: Apache-2.0
#include "platform/property/ValueBlock.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "platform/base/KeyHash.h"
#include "platform/base/Memory.h"

namespace KX::Property {

namespace {

// A power of two that leaves at least a third of the slots free; 0 where there is no index.
std::size_t slotCount(bool isObject, std::size_t capacity) {
  if (!isObject || capacity <= ValueBlock::LARGEST_WITHOUT_INDEX) return 0;
  return std::bit_ceil(capacity + capacity / 2);
}

}  // namespace

ValueBlock* ValueBlock::create(bool isObject, std::size_t capacity, Slab* slab) {
  static_assert(sizeof(ValueBlock) % alignof(Member) == 0 && alignof(Member) <= alignof(std::max_align_t));
  if (capacity > std::numeric_limits<std::uint32_t>::max() / 64) outOfMemory();
  const std::size_t slots = slotCount(isObject, capacity);
  const std::size_t itemSize = isObject ? sizeof(Member) : sizeof(Value);
  const std::size_t bytes = sizeof(ValueBlock) + capacity * itemSize + slots * sizeof(std::uint32_t);
  const Slab::Piece piece = slab == nullptr ? Slab::Piece{allocate(bytes), 0} : slab->take(bytes);
  auto* block = new (piece.memory) ValueBlock(isObject, static_cast<std::uint32_t>(capacity), piece.place);
  std::fill_n(block->slots(), slots, NONE);
  return block;
}

ValueBlock* ValueBlock::writable(ValueBlock* block, bool isObject, std::uint32_t room) {
  const std::uint32_t size = block == nullptr ? 0 : block->size;
  const bool shared = block != nullptr && block->use.references.value() != 1;
  if (block != nullptr && !shared && block->use.capacity - size >= room) return block;
  const std::uint32_t capacity = room == 0 ? size : std::max(size + room, size + size / 2 + 4);
  ValueBlock* fresh = create(isObject, capacity);
  if (shared) {
    fresh->copyItemsOf(*block);
    release(block);
  } else if (block != nullptr) {
    fresh->takeItemsOf(*block);
    Slab::giveBack({block, block->place});
  }
  return fresh;
}

void ValueBlock::copyItemsOf(const ValueBlock& other) {
  for (std::uint32_t i = 0; i < other.size; ++i) {
    if (isObject) {
      append(String(other.members()[i].key), Value(other.members()[i].value));
    } else {
      append(Value(other.elements()[i]));
    }
  }
}

// Leaves nothing behind that needs to be destroyed.
void ValueBlock::takeItemsOf(ValueBlock& other) {
  for (std::uint32_t i = 0; i < other.size; ++i) {
    if (isObject) {
      Member& member = other.members()[i];
      append(std::move(member.key), std::move(member.value));
      member.~Member();
    } else {
      append(std::move(other.elements()[i]));
    }
  }
}

void ValueBlock::release(ValueBlock* block) {
  if (block != nullptr && block->use.references.decrement() == 0) destroy(block);
}

// What a dead block held last is linked instead of destroyed in a call of its own: values nested a million deep must
// not need a million stack frames.
void ValueBlock::destroy(ValueBlock* block) {
  block->nextDead = nullptr;
  while (block != nullptr) {
    ValueBlock* rest = block->nextDead;
    for (std::uint32_t i = 0; i < block->size; ++i) {
      if (block->isObject) block->members()[i].key.~String();
      rest = destroyItem(block->isObject ? block->members()[i].value : block->elements()[i], rest);
    }
    Slab::giveBack({block, block->place});
    block = rest;
  }
}

ValueBlock* ValueBlock::destroyItem(Value& item, ValueBlock* dead) {
  if (!item.isContainer()) {
    item.~Value();
    return dead;
  }
  ValueBlock* nested = item.data_.block;
  if (nested == nullptr || nested->use.references.decrement() != 0) return dead;
  nested->nextDead = dead;
  return nested;
}

Value ValueBlock::toValue(ValueBlock* block) {
  const Value::Type type = block->isObject ? Value::Type::OBJECT : Value::Type::ARRAY;
  if (block->size != 0) return Value(type, block);
  release(block);
  return Value(type, nullptr);
}

std::uint32_t ValueBlock::find(std::string_view key) const {
  if (use.capacity > LARGEST_WITHOUT_INDEX) return slots()[slotOf(key)];
  for (std::uint32_t i = 0; i < size; ++i) {
    if (members()[i].key == key) return i;
  }
  return NONE;
}

std::uint32_t ValueBlock::slotOf(std::string_view key) const {
  const auto mask = static_cast<std::uint32_t>(slotCount(true, use.capacity) - 1);
  auto slot = static_cast<std::uint32_t>(keyHash(key)) & mask;
  while (slots()[slot] != NONE && !(members()[slots()[slot]].key == key)) slot = (slot + 1) & mask;
  return slot;
}

}  // namespace KX::Property
