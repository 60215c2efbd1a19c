// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "platform/property/Slab.h"
#include "platform/property/Value.h"

namespace {

using KX::Property::Slab;
using KX::Property::Value;

TEST(SlabTest, PiecesAreApartAndAligned) {
  Slab slab;
  std::vector<Slab::Piece> pieces;
  for (std::size_t bytes = 1; bytes < 3000; bytes += 7) {
    pieces.push_back(slab.take(bytes));
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(pieces.back().memory) % alignof(Value), 0U);
    std::memset(pieces.back().memory, static_cast<int>(bytes % 251), bytes);
  }
  std::size_t bytes = 1;
  for (const Slab::Piece& piece : pieces) {
    const std::string expected(bytes, static_cast<char>(bytes % 251));
    EXPECT_EQ(std::memcmp(piece.memory, expected.data(), bytes), 0) << bytes;
    Slab::giveBack(piece);
    bytes += 7;
  }
}

TEST(SlabTest, LargePiecesComeFromTheHeap) {
  Slab slab;
  for (const std::size_t bytes : {1024U, 1025U}) {
    const Slab::Piece piece = slab.take(bytes);
    EXPECT_EQ(piece.place == 0, bytes > 1024);
    Slab::giveBack(piece);
  }
}

TEST(SlabTest, ValuesOutliveTheirSlab) {
  Value kept;
  {
    Slab slab;
    for (int i = 0; i < 1000; ++i) {
      Value object = Value::object(2, slab);
      object["number"] = i;
      object["text"] = "one of many";
      if (i == 500) kept = object;
    }
  }
  EXPECT_EQ(kept.toJson(), R"({"number":500,"text":"one of many"})");
  kept["more"] = true;
  EXPECT_EQ(kept.toJson(), R"({"number":500,"text":"one of many","more":true})");
}

TEST(SlabTest, MemberThatIsKeptOutlivesTheDocument) {
  std::string text = "[";
  for (int i = 0; i < 1000; ++i) text += R"({"id":)" + std::to_string(i) + R"(,"what":{"scan":["a","b"]}},)";
  text.back() = ']';
  Value document;
  ASSERT_TRUE(document.fromJson(text).isSuccess());
  std::vector<Value> kept;
  for (std::size_t i = 0; i < 1000; i += 100) kept.push_back(document[i]["what"]);
  document = Value();
  for (const Value& value : kept) EXPECT_EQ(value.toJson(), R"({"scan":["a","b"]})");
}

#ifdef __GLIBC__
std::size_t allocatedBytes() { return mallinfo2().uordblks; }

TEST(SlabTest, PageGoesWithItsLastPiece) {
  const std::size_t before = allocatedBytes();
  if (before == 0) GTEST_SKIP() << "the heap does not tell what it has given out";
  std::vector<Slab::Piece> pieces;
  pieces.reserve(1000);
  const std::size_t atStart = allocatedBytes();
  {
    Slab slab;
    for (int i = 0; i < 1000; ++i) pieces.push_back(slab.take(200));
  }
  const std::size_t full = allocatedBytes();
  EXPECT_GT(full, atStart + std::size_t{1000} * 200);
  EXPECT_LT(full, atStart + std::size_t{1000} * 230);
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    if (i != 500) Slab::giveBack(pieces[i]);
  }
  // The heap keeps the small pages for itself.
  const std::size_t one = allocatedBytes();
  EXPECT_LT(one, atStart + 16384);
  Slab::giveBack(pieces[500]);
  EXPECT_LT(allocatedBytes() + 8000, one);
}
#endif

}  // namespace
