// SPDX-License-Identifier: Apache-2.0
#include "platform/net/NeighbourMessages.h"

#include <arpa/inet.h>
#include <libmnl/libmnl.h>
#include <linux/neighbour.h>

#include <cstring>

namespace {

int readAttribute(const nlattr* attribute, void* data) {
  Neighbour& neighbour = *static_cast<Neighbour*>(data);
  const std::uint16_t type = mnl_attr_get_type(attribute);
  const std::uint16_t length = mnl_attr_get_payload_len(attribute);
  if (type == NDA_DST && length == sizeof(neighbour.address)) {
    neighbour.address = ntohl(mnl_attr_get_u32(attribute));
  } else if (type == NDA_LLADDR && length == sizeof(MacAddress)) {
    MacAddress address{};
    std::memcpy(address.data(), mnl_attr_get_payload(attribute), address.size());
    if (address != MacAddress{}) neighbour.macAddress = address;
  }
  return MNL_CB_OK;
}

}  // namespace

Neighbour readNeighbourMessage(const nlmsghdr* message) {
  const auto* const header = static_cast<const ndmsg*>(mnl_nlmsg_get_payload(message));
  Neighbour neighbour;
  neighbour.interface = header->ndm_ifindex;
  neighbour.isFixed = (header->ndm_state & (NUD_PERMANENT | NUD_NOARP)) != 0;
  neighbour.isReachable = (header->ndm_state & NUD_REACHABLE) != 0;
  mnl_attr_parse(message, sizeof(ndmsg), readAttribute, &neighbour);
  if ((header->ndm_state & (NUD_NOARP | NUD_INCOMPLETE | NUD_FAILED)) != 0) neighbour.macAddress.reset();
  return neighbour;
}
