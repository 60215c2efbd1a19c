// SPDX-License-Identifier: Apache-2.0
#include "discovery/repository/NodeList.h"

#include <algorithm>

namespace KX::NMS::Discovery {

void NodeList::add(const KXLWPtr<Node>& node) {
  if (nextPlace_ == Node::NO_PLACE) renumber();
  node->place_ = nextPlace_++;
  nodes_.add(node);
}

void NodeList::remove(const KXLWPtr<Node>& node) {
  nodes_.takeOut(slotOf(node));
  node->place_ = Node::NO_PLACE;
  if (node->isListedAsMarked_ && 2 * ++markedAndRemoved_ > marked_.size()) forgetUnmarked();
}

std::size_t NodeList::slotOf(const KXLWPtr<Node>& node) {
  if (nodes_.isInSlot(node->place_, node)) return node->place_;
  if (!nodes_.hasGaps()) return find(*node);
  renumber();
  return node->place_;
}

// There are no gaps.
std::size_t NodeList::find(const Node& node) const {
  const auto isBefore = [](const KXLWPtr<Node>& other, std::uint32_t place) { return other->place_ < place; };
  return static_cast<std::size_t>(std::lower_bound(nodes_.begin(), nodes_.end(), node.place_, isBefore) -
                                  nodes_.begin());
}

void NodeList::renumber() {
  nextPlace_ = 0;
  for (const KXLWPtr<Node>& node : nodes_) node->place_ = nextPlace_++;
}

void NodeList::mark(Node& node) {
  if (node.isListedAsMarked_) return;
  node.isListedAsMarked_ = true;
  marked_.add(KXLWPtr<Node>(&node));
}

KXVector<KXLWPtr<Node>> NodeList::marked() const {
  KXVector<KXLWPtr<Node>> nodes;
  for (const KXLWPtr<Node>& node : marked_) {
    if (node->place_ != Node::NO_PLACE) nodes.add(node);
  }
  const auto isBefore = [](const KXLWPtr<Node>& a, const KXLWPtr<Node>& b) { return a->place_ < b->place_; };
  std::sort(nodes.begin(), nodes.end(), isBefore);
  return nodes;
}

void NodeList::forgetUnmarked() {
  KXVector<KXLWPtr<Node>> kept;
  for (const KXLWPtr<Node>& node : marked_) {
    node->isListedAsMarked_ = node->place_ != Node::NO_PLACE && node->hasMark();
    if (node->isListedAsMarked_) kept.add(node);
  }
  marked_.swap(kept);
  markedAndRemoved_ = 0;
}

}  // namespace KX::NMS::Discovery
