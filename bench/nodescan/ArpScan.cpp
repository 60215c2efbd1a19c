// SPDX-License-Identifier: Apache-2.0
// Stands in for arp-scan: prints as many nodes as the file "nodes" in its folder says, in its format, and ends. PATH is
// that folder.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

int main() {
  const char* const folder = std::getenv("PATH");
  unsigned long nodes = 0;
  if (folder != nullptr) std::ifstream(std::string(folder) + "/nodes") >> nodes;
  for (unsigned long i = 0; i < nodes; ++i) {
    const auto n = static_cast<unsigned>(i);
    std::printf("10.%u.%u.%u\t02:00:5e:%02x:%02x:%02x\n", n >> 16U & 255U, n >> 8U & 255U, n & 255U, n >> 16U & 255U,
                n >> 8U & 255U, n & 255U);
  }
  return 0;
}
