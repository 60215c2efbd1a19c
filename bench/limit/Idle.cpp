// SPDX-License-Identifier: Apache-2.0
// The least that an idle agent could be: a loop that a timer wakes up every 15 seconds.
#include <sys/timerfd.h>
#include <unistd.h>

#include <cstdint>

int main() {
  const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
  const itimerspec period{{15, 0}, {15, 0}};
  if (timer < 0 || timerfd_settime(timer, 0, &period, nullptr) != 0) return 1;
  for (std::uint64_t expirations = 0; read(timer, &expirations, sizeof expirations) > 0;) continue;
  return 1;
}
