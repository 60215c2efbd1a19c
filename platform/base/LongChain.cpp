// SPDX-License-Identifier: Apache-2.0
#include "platform/base/LongChain.h"

#include <utility>

namespace KX {

std::uint32_t LongChain::append(std::string_view key, std::uint32_t position) {
  if (++size_ * 3 > slots_.size() * 2) grow();
  const std::uint32_t before = std::exchange(last_, position);
  put({hashOf(key), position, before});
  if (before == NONE) first_ = position;
  return before;
}

void LongChain::put(const Slot& slot) {
  std::size_t at = slot.hash & mask();
  while (slots_[at].position != NONE) at = (at + 1) & mask();
  slots_[at] = slot;
}

void LongChain::grow() {
  const std::vector<Slot> old = std::exchange(slots_, std::vector<Slot>(slots_.size() * 2));
  for (const Slot& slot : old) {
    if (slot.position != NONE) put(slot);
  }
}

// Slots behind the one that gets free move up, unless a search for them would no longer find them there.
void LongChain::remove(std::size_t index, std::uint32_t next) {
  --size_;
  if (slots_[index].before == NONE) first_ = next;
  if (next == NONE) last_ = slots_[index].before;
  std::size_t gap = index;
  for (std::size_t at = (gap + 1) & mask(); slots_[at].position != NONE; at = (at + 1) & mask()) {
    const std::size_t home = slots_[at].hash & mask();
    if (((at - home) & mask()) < ((at - gap) & mask())) continue;
    slots_[gap] = slots_[at];
    gap = at;
  }
  slots_[gap].position = NONE;
}

}  // namespace KX
