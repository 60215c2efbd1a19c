// SPDX-License-Identifier: Apache-2.0
#include "agent/InterfacesCommand.h"

#include <unistd.h>

#include <cstdio>

#include "agent/Device.h"
#include "agent/InterfaceChoice.h"
#include "agent/ScanPlan.h"
#include "platform/text/Printable.h"
#include "program/Complaint.h"
#include "program/Terminal.h"
#include "sweep/Networks.h"

namespace {

String networksOf(const String& device) {
  String text;
  for (const HostSweep::Network& network : HostSweep::connectedNetworks()) {
    if (network.device == device) text.concatf("%s%s", text.isEmpty() ? "" : " ", network.toString().c_str());
  }
  return text;
}

}  // namespace

int interfacesCommand(const Options& options) {
  Device device(options);
  XCode result = device.start(options);
  std::vector<InterfaceChoice> choices;
  if (result.isSuccess()) result = chooseInterfaces(device.loop(), device.sink(), describeNodeScan(options), choices);
  if (result.isErr()) return complain(result.toString());
  std::vector<std::vector<Cell>> rows;
  for (const InterfaceChoice& choice : choices) {
    const Cell verdict{choice.isChosen ? "yes"_s : "no"_s, choice.isChosen ? Colour::GREEN : Colour::NONE};
    rows.push_back({{toPrintable(choice.name)},
                    {toPrintable(choice.device)},
                    {networksOf(choice.device)},
                    verdict,
                    {choice.reason()}});
  }
  const std::vector<Column> columns{{"INTERFACE"}, {"DEVICE", 0, 2}, {"NETWORKS", 18, 1, true}, {"SCAN"}, {"WHY", 8}};
  for (const String& line : layOutTable(columns, rows, styleOf(Terminal(STDOUT_FILENO)))) {
    std::printf("%s\n", line.c_str());
  }
  return finishOutput();
}
