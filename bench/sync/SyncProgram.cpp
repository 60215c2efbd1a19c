// SPDX-License-Identifier: Apache-2.0
#include "bench/sync/SyncProgram.h"

#ifndef HAVE_SIMDJSON
std::unique_ptr<SyncProgram> makeSyncLimit() { return nullptr; }
#endif

std::vector<SyncPeer> syncPeers() {
  return {
#ifdef HAVE_BOOST_JSON
      {"Boost.JSON", makeBoostSync},
#endif
#ifdef HAVE_NLOHMANN_JSON
      {"nlohmann-json", makeNlohmannSync},
#endif
  };
}
