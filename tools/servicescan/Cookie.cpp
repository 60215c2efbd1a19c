// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/Cookie.h"

#include <sys/random.h>

#include <array>
#include <cerrno>

namespace ServiceScan {

XCode giveCookies(std::vector<Probe>& probes) {
  // So few bytes come at once, however the call is interrupted.
  std::array<std::uint64_t, 32> cookies{};
  for (std::size_t index = 0; index < probes.size(); ++index) {
    const std::size_t place = index % cookies.size();
    if (place == 0 && getrandom(cookies.data(), sizeof(cookies), 0) != sizeof(cookies)) return XCode::fromErrno(errno);
    probes[index].cookie = cookies[place];
  }
  return XCode();
}

}  // namespace ServiceScan
