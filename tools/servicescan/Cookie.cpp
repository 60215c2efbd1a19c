// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/Cookie.h"

#include <sys/random.h>

#include <chrono>

namespace ServiceScan {

std::uint64_t makeCookie() {
  std::uint64_t cookie = 0;
  if (getrandom(&cookie, sizeof(cookie), 0) == static_cast<ssize_t>(sizeof(cookie))) return cookie;
  // A kernel without it; the clock is better than nothing.
  return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
}

}  // namespace ServiceScan
