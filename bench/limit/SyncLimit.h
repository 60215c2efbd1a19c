// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <simdjson.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "bench/sync/SyncProgram.h"

// The least that a sync costs: simdjson reads the request, a compact table with an index by address of either kind
// takes the nodes, and the table is written out as the answer. It does what the library does with the requests of the
// benchmark, to the letter, and nothing else: one request, no other input, no limits, no errors.
class SyncLimit final : public SyncProgram {
 public:
  std::string sync(std::string_view request) override;

 private:
  struct Service {
    std::uint32_t name;
    std::uint16_t port;
  };
  struct Row {
    std::int64_t date = 0;  // milliseconds
    std::uint32_t ip = 0;   // texts are offsets into texts_
    std::uint32_t mac = 0;
    std::uint32_t interface = 0;
    std::uint32_t model = 0;
    std::uint32_t services = 0;
    std::uint8_t serviceCount = 0;
    std::uint8_t status = 0;
  };
  using Index = std::vector<std::uint32_t>;

  void takeNode(simdjson::dom::element element);
  void takeServices(Row& row, simdjson::dom::element services);
  std::uint32_t store(std::string_view text);
  std::uint32_t intern(std::string_view text);
  std::string_view textAt(std::uint32_t offset) const;
  std::uint32_t& slot(Index& index, std::string_view key, std::uint32_t Row::*field);
  void reserve();
  void writeNode(std::string& out, const Row& row) const;

  simdjson::dom::parser parser_;
  std::string texts_;
  std::vector<Row> rows_;
  std::vector<Service> services_;
  std::vector<std::uint32_t> interned_;
  Index byIp_;
  Index byMac_;
};
