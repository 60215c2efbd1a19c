// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/XCode.h"
#include "platform/net/NeighbourChanges.h"
#include "platform/process/Descriptor.h"
#include "sweep/Lan.h"
#include "sweep/Networks.h"

namespace HostSweep {

// A network as this machine is connected to it. Datagrams are empty, go to the discard port, never leave the network,
// and take no rights.
class KernelLan final : public Lan {
 public:
  explicit KernelLan(const Network& network) : network_(network) {}

  [[nodiscard]] XCode open();
  // What kept datagrams from being sent, if anything did.
  const XCode& trouble() const { return trouble_; }

  bool ask(std::uint32_t address) override;
  std::vector<Neighbour> known() override;
  Heard listen() override;
  bool mayForget() const override { return mayForget_; }
  void forget(std::uint32_t address) override;

 private:
  [[nodiscard]] XCode addSocket();
  void readRefusals(int socket, Heard& heard);

  const Network network_;
  NeighbourTable table_;
  NeighbourChanges changes_;
  // The kernel keeps a datagram for as long as it asks for its address, which uses up the room that a socket has.
  std::vector<KX::Shell::Descriptor> sockets_;
  XCode trouble_;
  bool mayForget_ = false;
};

}  // namespace HostSweep
