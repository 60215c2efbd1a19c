// SPDX-License-Identifier: Apache-2.0
#include "agent/NodeTable.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

#include "platform/net/IpAddress.h"
#include "platform/text/Printable.h"

using KX::NMS::Discovery::Node;

namespace {

constexpr std::size_t COLUMNS = 5;
using Row = std::array<String, COLUMNS>;

std::uint32_t addressOf(const Node& node) {
  IpAddress address;
  // What is no address sorts first.
  static_cast<void>(address.setIpAddrAsString(node.ipAddress()));
  return address.getV4AddrAsBinaryUInt32();
}

std::vector<Row> makeRows(const KX::NMS::Discovery::Repository& repository) {
  std::vector<const Node*> nodes;
  for (const auto& node : repository.getNodes()) nodes.push_back(node.get());
  std::stable_sort(nodes.begin(), nodes.end(),
                   [](const Node* left, const Node* right) { return addressOf(*left) < addressOf(*right); });
  std::vector<Row> rows{{"ADDRESS", "MAC", "INTERFACE", "MODEL", "ONBOARDING"}};
  for (const Node* node : nodes) {
    // Models come from the network: nothing of them may reach the terminal as a command.
    rows.push_back({toPrintable(node->ipAddress()), toPrintable(node->physicalAddress()),
                    toPrintable(node->interface()), toPrintable(node->model()),
                    node->supportsOnboarding() ? "supported" : ""});
  }
  return rows;
}

// The width of each column; 0 where no node has anything to say.
std::array<std::size_t, COLUMNS> measure(const std::vector<Row>& rows) {
  std::array<std::size_t, COLUMNS> widths{};
  for (std::size_t column = 0; column < COLUMNS; ++column) {
    for (std::size_t row = 1; row < rows.size(); ++row)
      widths[column] = std::max(widths[column], rows[row][column].length());
    if (widths[column] != 0) widths[column] = std::max(widths[column], rows[0][column].length());
  }
  return widths;
}

}  // namespace

void printNodeTable(const KX::NMS::Discovery::Repository& repository) {
  const std::vector<Row> rows = makeRows(repository);
  const auto widths = measure(rows);
  for (const Row& row : rows) {
    String line;
    for (std::size_t column = 0; column < COLUMNS; ++column) {
      if (widths[column] == 0) continue;
      line.concatf("%s%-*s", line.isEmpty() ? "" : "  ", static_cast<int>(widths[column]), row[column].c_str());
    }
    const std::size_t end = line.view().find_last_not_of(' ') + 1;
    if (end != 0) std::printf("%.*s\n", static_cast<int>(end), line.c_str());
  }
  const std::size_t count = repository.getNodes().size();
  std::printf("%zu %s\n", count, count == 1 ? "node" : "nodes");
}
