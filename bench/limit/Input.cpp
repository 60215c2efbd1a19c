// SPDX-License-Identifier: Apache-2.0
#include "bench/limit/Input.h"

#include <arpa/inet.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string>

namespace Limit {

Input readInput(std::istream& stream) {
  Input input;
  for (std::string line, word; std::getline(stream, line);) {
    std::istringstream words(line);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    if (!(words >> word) || inet_pton(AF_INET, word.c_str(), &address.sin_addr) != 1) {
      throw std::runtime_error("no address: " + line);
    }
    input.hosts.push_back({address.sin_addr, 0});
    while (words >> word) {
      const std::size_t colon = word.find(':');
      const auto name = std::find(SERVICE_NAMES.begin(), SERVICE_NAMES.end(), word.substr(0, colon));
      if (colon == std::string::npos || name == SERVICE_NAMES.end()) throw std::runtime_error("no service: " + word);
      address.sin_port = htons(static_cast<std::uint16_t>(std::stoul(word.substr(colon + 1))));
      const auto host = static_cast<std::uint32_t>(input.hosts.size() - 1);
      input.targets[static_cast<std::size_t>(name - SERVICE_NAMES.begin())].push_back({address, host});
      ++input.hosts.back().services;
    }
  }
  return input;
}

}  // namespace Limit
