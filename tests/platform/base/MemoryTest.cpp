// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform/base/KXVector.h"
#include "platform/base/Memory.h"
#include "platform/base/String.h"

#if defined(__has_feature)
#define KX_HAS_FEATURE(name) __has_feature(name)
#else
#define KX_HAS_FEATURE(name) 0
#endif

namespace {

constexpr std::size_t BLOCK = std::size_t{16} << 20U;
constexpr int MORE_THAN_FIT = 4096;

// The sanitizer and valgrind end a process that runs out of memory in their own way.
bool ownsTheAllocator() {
#if defined(__SANITIZE_ADDRESS__)
  return false;
#elif KX_HAS_FEATURE(address_sanitizer)
  return false;
#else
  const char* preloaded = std::getenv("LD_PRELOAD");
  return preloaded == nullptr || std::string_view(preloaded).find("vgpreload") == std::string_view::npos;
#endif
}

void limitMemory() {
  const rlimit limit{std::size_t{512} << 20U, std::size_t{512} << 20U};
  if (setrlimit(RLIMIT_AS, &limit) != 0) _Exit(1);
}

void exhaustWithAllocate() {
  limitMemory();
  for (int i = 0; i < MORE_THAN_FIT; ++i) static_cast<void>(KX::allocate(BLOCK));
  _Exit(0);
}

void exhaustWithReallocate() {
  limitMemory();
  void* memory = nullptr;
  for (std::size_t i = 1; i < MORE_THAN_FIT; ++i) memory = KX::reallocate(memory, i * BLOCK);
  _Exit(0);
}

void exhaustWithString() {
  limitMemory();
  String text("x");
  for (int i = 0; i < 31; ++i) text.append(text);
  _Exit(0);
}

void exhaustWithNew() {
  limitMemory();
  KX::endProcessWhenOutOfMemory();
  KXVector<char*> blocks;
  for (int i = 0; i < MORE_THAN_FIT; ++i) blocks.add(new char[BLOCK]);
  _Exit(0);
}

class OutOfMemoryDeathTest : public testing::TestWithParam<void (*)()> {};

TEST_P(OutOfMemoryDeathTest, EndsTheProcessWithOneLineAndStatus70) {
  if (!ownsTheAllocator()) GTEST_SKIP() << "another allocator ends the process";
  EXPECT_EXIT(GetParam()(), testing::ExitedWithCode(70), "^Out of memory\n$");
}

INSTANTIATE_TEST_SUITE_P(EveryWay, OutOfMemoryDeathTest,
                         testing::Values(exhaustWithAllocate, exhaustWithReallocate, exhaustWithString,
                                         exhaustWithNew));

TEST(MemoryTest, ReallocationKeepsTheContent) {
  auto* memory = static_cast<char*>(KX::allocate(4));
  std::memcpy(memory, "abc", 4);
  memory = static_cast<char*>(KX::reallocate(memory, 100000));
  EXPECT_STREQ(memory, "abc");
  std::free(memory);
}

}  // namespace
