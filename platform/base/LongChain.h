// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/base/Export.h"
#include "platform/base/KeyHash.h"

namespace KX {

// The index of a chain in a string table that has grown long, because many keys share a bucket. The table's hash is
// fixed and easy to collide, so whoever names its keys can make chains of any length; with this, looking up, appending
// and removing cost the same in each. The links and their keys stay with the table: the index knows their positions,
// and asks for the key at a position where it needs one.
class KX_EXPORT LongChain {
 public:
  static constexpr std::uint32_t NONE = 0xffffffffU;

  struct Slot {
    std::uint32_t hash;
    std::uint32_t position = NONE;  // of a link; NONE in a free slot
    std::uint32_t before;           // the position of the link before it, or NONE
  };

  // NONE when the chain is empty.
  std::uint32_t first() const { return first_; }
  std::uint32_t last() const { return last_; }

  // The slot of a key, or a free one when there is no such key.
  template <class KeyAt>
  const Slot& find(std::string_view key, const KeyAt& keyAt) const {
    const std::uint32_t hash = hashOf(key);
    std::size_t at = hash & mask();
    while (slots_[at].position != NONE && !(slots_[at].hash == hash && keyAt(slots_[at].position) == key)) {
      at = (at + 1) & mask();
    }
    return slots_[at];
  }

  // The key must be new. Gives the position of the link before it, or NONE.
  std::uint32_t append(std::string_view key, std::uint32_t position);

  // Takes a link out that stands in the slot and is followed by the given one, or by NONE.
  template <class KeyAt>
  void remove(const Slot& slot, std::uint32_t next, const KeyAt& keyAt) {
    if (next != NONE) slots_[indexOf(find(keyAt(next), keyAt))].before = slot.before;
    remove(indexOf(slot), next);
  }

 private:
  static std::uint32_t hashOf(std::string_view key) { return static_cast<std::uint32_t>(keyHash(key)); }
  std::size_t mask() const { return slots_.size() - 1; }
  std::size_t indexOf(const Slot& slot) const { return static_cast<std::size_t>(&slot - slots_.data()); }
  void remove(std::size_t index, std::uint32_t next);
  void put(const Slot& slot);
  void grow();

  std::vector<Slot> slots_ = std::vector<Slot>(32);  // a power of two, a third of them free
  std::size_t size_ = 0;
  std::uint32_t first_ = NONE;
  std::uint32_t last_ = NONE;
};

}  // namespace KX
