// SPDX-License-Identifier: Apache-2.0
#include "agent/NodeTable.h"

#include <algorithm>

#include "platform/net/IpAddress.h"
#include "platform/text/Printable.h"

using KX::NMS::Discovery::Node;
using KX::NMS::Discovery::NodeStatus;
using KX::NMS::Discovery::Service;

namespace {

std::uint32_t addressOf(const Node& node) {
  IpAddress address;
  // What is no address sorts first.
  static_cast<void>(address.setIpAddrAsString(node.ipAddress()));
  return address.getV4AddrAsBinaryUInt32();
}

std::vector<const Node*> sortedNodes(const KX::NMS::Discovery::Repository& repository) {
  std::vector<const Node*> nodes;
  for (const auto& node : repository.getNodes()) nodes.push_back(node.get());
  std::stable_sort(nodes.begin(), nodes.end(),
                   [](const Node* left, const Node* right) { return addressOf(*left) < addressOf(*right); });
  return nodes;
}

// Of a narrow terminal's columns, which device answers and whether it still does stay longest.
std::vector<Column> makeColumns() {
  return {{"ADDRESS"},
          {"MAC", 0, 4},
          {"INTERFACE", 0, 6},
          {"VENDOR", 8, 5},
          {"MODEL", 12, 3},
          {"SERVICES", 12, 2, true},
          {"STATUS", 0, 1, true},
          {"ONBOARDING", 0, 7}};
}

// As they are written for --service, but without a port that is none.
String describeServices(const Node& node) {
  std::vector<const Service*> services;
  for (const auto& entry : node.services()) services.push_back(&entry.value);
  std::sort(services.begin(), services.end(),
            [](const Service* left, const Service* right) { return left->name.view() < right->name.view(); });
  String text;
  for (const Service* service : services) {
    text.concatf("%s%s", text.isEmpty() ? "" : " ", service->name.c_str());
    if (service->port != 0) text.concatf(":%u", static_cast<unsigned>(service->port));
  }
  return text;
}

// What the network did not offer, in brackets, so that it is not taken for a service.
String describeAbsence(ServiceAnswers::Answer answer) {
  switch (answer) {
    case ServiceAnswers::Answer::REFUSED:
      return "(refused)"_s;
    case ServiceAnswers::Answer::SILENT:
      return "(silent)"_s;
    default:
      return "(not asked)"_s;
  }
}

String describeServices(const Node& node, const ServiceAnswers& answers) {
  return node.services().isEmpty() ? describeAbsence(answers.of(node.ipAddress())) : describeServices(node);
}

Cell describeStatus(const Node& node) {
  switch (node.status()) {
    case NodeStatus::UP:
      return {"up"_s, Colour::GREEN};
    case NodeStatus::DOWN:
      return {"down"_s, Colour::RED};
    default:
      return {};
  }
}

std::vector<Cell> makeRow(const Node& node, const Vendors& vendors, const ServiceAnswers& answers) {
  return {{toPrintable(node.ipAddress())},
          {toPrintable(node.physicalAddress())},
          {toPrintable(node.interface())},
          {toPrintable(vendors.vendorOf(node.physicalAddress()))},
          {toPrintable(node.model())},
          {toPrintable(describeServices(node, answers))},
          describeStatus(node),
          {node.supportsOnboarding() ? "supported"_s : String()}};
}

}  // namespace

std::vector<String> layOutNodes(const KX::NMS::Discovery::Repository& repository, const Vendors& vendors,
                                const ServiceAnswers& answers, const TableStyle& style) {
  std::vector<std::vector<Cell>> rows;
  for (const Node* node : sortedNodes(repository)) rows.push_back(makeRow(*node, vendors, answers));
  return layOutTable(makeColumns(), rows, style);
}

String summarise(const KX::NMS::Discovery::Repository& repository) {
  const std::size_t nodes = repository.getNodes().size();
  std::size_t services = 0;
  for (const auto& node : repository.getNodes()) services += node->services().size();
  return String::format("%zu %s with %zu %s", nodes, nodes == 1 ? "node" : "nodes", services,
                        services == 1 ? "service" : "services");
}
