// SPDX-License-Identifier: Apache-2.0
#include "agent/Progress.h"

namespace {

constexpr unsigned PRIORITY = 3;
constexpr unsigned REFRESH_MS = 100;

using KX::NMS::Discovery::Node;

}  // namespace

Progress::Progress(KXEventLoop& loop, const KX::NMS::Discovery::Repository& repository, const ScanRun& run,
                   StatusLine& statusLine)
    : repository_(repository), run_(run), statusLine_(statusLine), timer_(loop, PRIORITY, *this, &Progress::show) {
  if (statusLine_.isVisible()) timer_.start(REFRESH_MS, true, true);
}

Progress::~Progress() {
  statusLine_.withdraw();
  statusLine_.clearAbove();
}

void Progress::show() {
  showNodes();
  showStage();
}

void Progress::showNodes() {
  const auto& nodes = repository_.getNodes();
  for (; nodesShown_ < nodes.size(); ++nodesShown_) {
    const Node& node = *nodes[nodesShown_];
    statusLine_.addAbove(String::format("%-15s  %s  %s", node.ipAddress().c_str(), node.physicalAddress().c_str(),
                                        node.interface().c_str()));
  }
}

void Progress::showStage() {
  const ScanStage stage = run_.stage();
  if (stage.number == 0) return;
  const KX::Clock now = KX::Clock::NOW();
  if (stage.number != step_) stepStarted_ = now;
  step_ = stage.number;
  const auto seconds = static_cast<long long>(now.toTime().seconds - stepStarted_.toTime().seconds);
  const std::size_t nodes = repository_.getNodes().size();
  statusLine_.show(String::format("Scan %zu of %zu: %s, %lld s of about %u s, %zu %s", stage.number, stage.total,
                                  stage.text.c_str(), seconds, stage.expectedSeconds, nodes,
                                  nodes == 1 ? "node" : "nodes"));
}
