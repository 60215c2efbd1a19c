// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/repository/Node.h"
#include "platform/base/KXVector.h"

namespace KX::NMS::Discovery {

// The repository's nodes in the order of their creation, and beside them those with a change mark, so that neither
// removing many nodes nor finding the few that changed takes a walk over all.
//
// A node knows its place. Places ascend in list order at all times; they are also the slots of the vector, except after
// gaps have closed, when they are looked up, or given anew before a second removal. One thread.
class NodeList {
 public:
  const KXVector<KXLWPtr<Node>>& nodes() const { return nodes_; }

  // The node is new. It goes to the end.
  void add(const KXLWPtr<Node>& node);
  // The node is in the list. The order of the others is kept.
  void remove(const KXLWPtr<Node>& node);

  // To be called when a node of the list gets a change mark.
  void mark(Node& node);
  // Those that were marked, in list order. Some may have lost their marks since.
  KXVector<KXLWPtr<Node>> marked() const;
  // From here on only nodes that still have a mark are kept for marked().
  void forgetUnmarked();

 private:
  std::size_t slotOf(const KXLWPtr<Node>& node);
  std::size_t find(const Node& node) const;
  void renumber();

  KXVector<KXLWPtr<Node>> nodes_;
  std::uint32_t nextPlace_ = 0;
  // In the order of marking. A removed node waits here for its marks to be forgotten, but never the most of them do.
  KXVector<KXLWPtr<Node>> marked_;
  std::size_t markedAndRemoved_ = 0;
};

}  // namespace KX::NMS::Discovery
