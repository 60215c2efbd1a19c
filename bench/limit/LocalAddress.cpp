// SPDX-License-Identifier: Apache-2.0
#include "bench/limit/LocalAddress.h"

#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace Limit {

in_addr localAddressFor(in_addr target) {
  const int probe = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr = target;
  address.sin_port = htons(9);  // Nothing is sent.
  socklen_t length = sizeof(address);
  const bool isKnown = connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 &&
                       getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length) == 0;
  close(probe);
  if (!isKnown) throw std::runtime_error("no route to the first host");
  return address.sin_addr;
}

}  // namespace Limit
