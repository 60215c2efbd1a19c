// SPDX-License-Identifier: Apache-2.0
#include "platform/property/Slab.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include "platform/base/Count.h"
#include "platform/base/Memory.h"

namespace KX::Property {

// One reference for each piece, and one for the slab as long as it cuts from the page.
struct alignas(8) Slab::Page {
  Count references{1};
};

Slab::~Slab() { release(page_); }

Slab::Piece Slab::take(std::size_t bytes) {
  if (bytes > LARGEST_PIECE) return {allocate(bytes), 0};
  bytes = (bytes + WORD - 1) / WORD * WORD;
  while (bytes > pageSize_ - used_) openPage();
  page_->references.increment();
  const Piece piece{reinterpret_cast<char*>(page_) + used_, static_cast<std::uint16_t>(used_ / WORD)};
  used_ += bytes;
  return piece;
}

void Slab::giveBack(const Piece& piece) {
  if (piece.place == 0) return std::free(piece.memory);
  release(reinterpret_cast<Page*>(static_cast<char*>(piece.memory) - piece.place * WORD));
}

void Slab::openPage() {
  static_assert(sizeof(Page) == WORD && LARGEST_PAGE >= 2 * LARGEST_PIECE && LARGEST_PAGE / WORD <= 0xffff);
  const std::size_t size = std::clamp(2 * (pageSize_ + HEAP_HEADER), FIRST_PAGE, LARGEST_PAGE) - HEAP_HEADER;
  release(page_);
  page_ = new (allocate(size)) Page;
  pageSize_ = size;
  used_ = sizeof(Page);
}

void Slab::release(Page* page) {
  if (page != nullptr && page->references.decrement() == 0) std::free(page);
}

}  // namespace KX::Property
