// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/base/Export.h"

namespace KX::Property {

// Memory for the arrays and objects of one document. They are made in a row and mostly go together, so they are cut
// from pages instead of being asked of the heap one by one. A page goes with its last block: a small part of a document
// that is kept keeps a page of up to 8 KiB. The first pages are small, so that a short document needs little more than
// its own size.
//
// One thread makes values with a slab; the values may outlive it and go to any thread.
class KX_EXPORT Slab {
 public:
  // Memory, and what it is given back with. It is aligned for values.
  struct Piece {
    void* memory;
    std::uint16_t place;  // in words from the beginning of its page; 0 on the heap
  };

  Slab() = default;
  Slab(const Slab&) = delete;
  Slab& operator=(const Slab&) = delete;
  ~Slab();

  // A large piece comes from the heap.
  Piece take(std::size_t bytes);
  static void giveBack(const Piece& piece);

 private:
  struct Page;

  static constexpr std::size_t WORD = 8;
  static constexpr std::size_t LARGEST_PIECE = 1024;
  // With what the heap needs beside it a page fills a round number of bytes.
  static constexpr std::size_t HEAP_HEADER = 16;
  static constexpr std::size_t FIRST_PAGE = 512;
  static constexpr std::size_t LARGEST_PAGE = 8192;

  void openPage();
  static void release(Page* page);

  Page* page_ = nullptr;
  std::size_t pageSize_ = 0;
  std::size_t used_ = 0;
};

}  // namespace KX::Property
