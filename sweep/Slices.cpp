// SPDX-License-Identifier: Apache-2.0
#include "sweep/Slices.h"

namespace HostSweep {
namespace {

// The kernel takes neighbours out of a full table by itself five seconds after it has ceased to trust them, which is up
// to 45 seconds after their last word.
constexpr std::int64_t TRUSTED_MS = 52'000;
// One that it gave up asking goes at once; it asks for three seconds.
constexpr std::int64_t ASKED_MS = 3'200;

}  // namespace

void Slices::plan(std::size_t hosts, const std::vector<std::uint32_t>& addresses) {
  isSliced_ = hosts > neighbours_.room();
  if (!isSliced_ || !neighbours_.drop(addresses)) return;
  neighbours_.measure();
  isSliced_ = hosts > neighbours_.room();
}

void Slices::ended(std::uint32_t address, Host host, std::int64_t silentFrom) {
  if (isSliced_) ended_.push_back({silentFrom, address, host});
}

// Without the right to change the table, time does it.
void Slices::giveBack(std::int64_t now, std::size_t least) {
  if (ended_.size() < least) return;
  std::vector<std::uint32_t> addresses;
  for (const Ended& host : ended_) {
    if (host.silentFrom <= now) addresses.push_back(host.address);
  }
  if (addresses.size() < least) return;
  const bool isDropped = neighbours_.drop(addresses);
  released_ += std::erase_if(ended_, [&](const Ended& host) {
    const std::int64_t age = isDropped ? 0 : host.host == Host::SPOKE ? TRUSTED_MS : ASKED_MS;
    return host.silentFrom + age <= now;
  });
}

}  // namespace HostSweep
