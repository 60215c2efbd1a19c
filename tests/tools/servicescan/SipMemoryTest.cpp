// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <osipparser2/osip_port.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "tools/servicescan/SipMemory.h"

namespace ServiceScan {
namespace {

struct Piece {
  char* begin;
  std::size_t size;
};

// Each has a content of its own, which another that lies over it would change.
std::vector<Piece> allocateAndFill(SipMemory& memory, std::size_t count, std::size_t step) {
  std::vector<Piece> pieces;
  for (std::size_t number = 0; number < count; ++number) {
    const std::size_t size = 1 + number * step;
    pieces.push_back({static_cast<char*>(memory.allocate(size)), size});
    std::memset(pieces.back().begin, static_cast<int>(number), size);
  }
  return pieces;
}

void expectUnchanged(const std::vector<Piece>& pieces) {
  for (std::size_t number = 0; number < pieces.size(); ++number) {
    const auto [begin, size] = pieces[number];
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(begin) % alignof(std::max_align_t), 0U);
    EXPECT_EQ(std::vector<char>(begin, begin + size), std::vector<char>(size, static_cast<char>(number)));
  }
}

TEST(SipMemoryTest, PiecesAreAlignedAndApart) {
  SipMemory memory;
  expectUnchanged(allocateAndFill(memory, 50, 1));
}

TEST(SipMemoryTest, WhatDoesNotFitIsThereAllTheSame) {
  SipMemory memory;
  expectUnchanged(allocateAndFill(memory, 200, 100));
}

TEST(SipMemoryTest, APieceMayHaveAnySize) {
  for (std::size_t size = 8000; size < 8400; ++size) {
    SipMemory memory;
    expectUnchanged({allocateAndFill(memory, 1, 0)});
    std::memset(memory.allocate(size), 0xff, size);
  }
}

TEST(SipMemoryTest, OsipUsesItWhileItLives) {
  {
    const SipMemory memory;
    auto* const piece = static_cast<char*>(osip_malloc(1));
    const auto* const object = reinterpret_cast<const char*>(&memory);
    EXPECT_TRUE(piece >= object && piece < object + sizeof(memory));
    osip_free(piece);
  }
  EXPECT_EQ(osip_malloc_func, nullptr);
  EXPECT_EQ(osip_realloc_func, nullptr);
  EXPECT_EQ(osip_free_func, nullptr);
}

}  // namespace
}  // namespace ServiceScan
