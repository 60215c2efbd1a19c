// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// A program that answers one "syncNodes" request of the benchmark as the library does, to the letter, and keeps the
// nodes: the limit, and what one would write by hand with a JSON library.
class SyncProgram {
 public:
  // How much of the memory behind a request must be readable.
  static constexpr std::size_t PADDING = 64;

  virtual ~SyncProgram() = default;
  virtual std::string sync(std::string_view request) = 0;
};

// Null where the library that it takes was not there when this was built.
std::unique_ptr<SyncProgram> makeSyncLimit();
std::unique_ptr<SyncProgram> makeBoostSync();
std::unique_ptr<SyncProgram> makeNlohmannSync();

struct SyncPeer {
  const char* name;
  std::unique_ptr<SyncProgram> (*make)();
};

// What is written by hand, as far as it is there.
std::vector<SyncPeer> syncPeers();
