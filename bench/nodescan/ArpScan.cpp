// SPDX-License-Identifier: Apache-2.0
// Stands in for arp-scan: prints as many nodes as the variable NODES says, in its format, and ends.
#include <cstdio>
#include <cstdlib>

int main() {
  const char* const variable = std::getenv("NODES");
  const unsigned long nodes = variable == nullptr ? 0 : std::strtoul(variable, nullptr, 10);
  for (unsigned long i = 0; i < nodes; ++i) {
    const auto n = static_cast<unsigned>(i);
    std::printf("10.%u.%u.%u\t02:00:5e:%02x:%02x:%02x\n", n >> 16U & 255U, n >> 8U & 255U, n & 255U, n >> 16U & 255U,
                n >> 8U & 255U, n & 255U);
  }
  return 0;
}
