// SPDX-License-Identifier: Apache-2.0
#include "discovery/scans/JobStatusScan.h"

#include <utility>

#include "discovery/common/Log.h"
#include "discovery/common/LogText.h"

namespace KX::NMS::Discovery {

JobStatusScan::JobStatusScan(KXEventLoop& loop, Repository& repository, const String& id, unsigned number,
                             const Property::Value& description)
    : Job(loop, repository, id, number, description), inputFile_(loop, id_, status_) {
  DISCOVERY_TRACE(2, logPrefix_, "Created");
  DISCOVERY_TRACE(2, logPrefix_, "  %s", description_.toYaml(2, 2).c_str());
}

JobStatusScan::~JobStatusScan() {
  DISCOVERY_TRACE(2, logPrefix_, "Destroying...");
  cancel();
  DISCOVERY_TRACE(2, logPrefix_, "Destroyed");
  expireWeakLink();
}

void JobStatusScan::prepare(bool& needed) {
  needed = false;
  if (!beginPreparation()) return;
  // It has logged its failure.
  static_cast<void>(prepareServiceScanInputFile(repository_.getNodesWithPendingStatusScan(), needed));
}

XCode JobStatusScan::prepareServiceScanInputFile(const KXVector<KXLWPtr<Node>>& nodes, bool& needed) {
  needed = !nodes.isEmpty();
  if (!needed) return XCode();
  DISCOVERY_TRACE(1, logPrefix_, "Writing servicescan input file:");
  XCode result = writeInputFile(nodes);
  if (result.isErr()) {
    inputFile_.abandon();
    DISCOVERY_TRACE(1, logPrefix_, "Preparation failed: %s", inLog(result.toString()).c_str());
    needed = false;
  }
  return result;
}

XCode JobStatusScan::writeInputFile(const KXVector<KXLWPtr<Node>>& nodes) {
  XCode result = inputFile_.open();
  for (const KXLWPtr<Node>& node : nodes) {
    if (result.isErr()) break;
    result = writeLines(*node);
  }
  inputFile_.close();
  if (result.isSuccess()) logInputFile();
  return result;
}

// No line at all for a node none of whose services is among the priorities.
XCode JobStatusScan::writeLines(const Node& node) {
  XCode result;
  bool found = false;
  for (const Property::Value& priority : std::as_const(description_)["servicePriorities"].elements()) {
    result = writeServicesNamed(priority.getStringOr(String()), node, found);
    if (result.isErr() || found) break;
  }
  return result;
}

XCode JobStatusScan::writeServicesNamed(const String& name, const Node& node, bool& found) {
  for (const auto& entry : node.services()) {
    const Service& service = entry.value;
    if (!(service.name == name)) continue;
    found = true;
    XCode result = inputFile_.writeLine(node.ipAddress(), InputFile::serviceText(name, service.port));
    if (result.isErr()) return result;
  }
  return XCode();
}

// Kept on purpose: unlike a service scan, this job does not mind a file that cannot be read back.
void JobStatusScan::logInputFile() const {
  if (!isTracing(2)) return;
  String content;
  if (inputFile_.readBack(content).isErr()) return;
  DISCOVERY_TRACE(1, String(logPrefix_).append("input> "), "%s", inLog(content).c_str());
}

void JobStatusScan::invoke() {
  const KXPtr<JobStatusScan> kept(this);
  if (!beginInvocation()) return;
  invokeFirstScan();
}

KXLWPtr<Scan> JobStatusScan::createScan(const String& name, void (JobStatusScan::*onStatusUpdated)()) {
  KXLWPtr<Scan> scan(new Scan(eventLoop_, id_, "Status"_s, name, inputFile_.scanCommand(), parser_));
  scan->statusUpdated.connect(Function<void()>::direct(this, onStatusUpdated));
  return scan;
}

void JobStatusScan::invokeFirstScan() {
  if (!status_.isRunning() || firstScan_ != nullptr) {
    failed("Cannot invoke first scan"_s);
    return;
  }
  const KXLWPtr<Scan> scan = createScan("first"_s, &JobStatusScan::onFirstScanStatusUpdated);
  firstScan_ = scan;
  DISCOVERY_TRACE(1, logPrefix_, "Invoking first scan:");
  scan->invoke();
}

void JobStatusScan::invokeSecondScan() {
  if (!status_.isRunning() || secondScan_ != nullptr) {
    failed("Cannot invoke second scan"_s);
    return;
  }
  const KXLWPtr<Scan> scan = createScan("second"_s, &JobStatusScan::onSecondScanStatusUpdated);
  secondScan_ = scan;
  DISCOVERY_TRACE(1, logPrefix_, "Invoking second scan:");
  scan->invoke();
}

void JobStatusScan::onFirstScanStatusUpdated() {
  DISCOVERY_TRACE(1, logPrefix_, "First scan update");
  onScanStatusUpdated(firstScan_);
}

void JobStatusScan::onSecondScanStatusUpdated() {
  DISCOVERY_TRACE(1, logPrefix_, "Second scan update");
  onScanStatusUpdated(secondScan_);
}

void JobStatusScan::onScanStatusUpdated(const KXLWPtr<Scan>& scan) {
  if (scan == nullptr) return;
  const Status& status = scan->status();
  if (status.state() == State::SUCCESSFUL) successful(status.result());
  if (status.state() == State::FAILED) failed(status.text());
}

void JobStatusScan::successful(const Property::Value& result) {
  const Property::Value nodes = result["nodes"];
  DISCOVERY_TRACE(1, logPrefix_, "Checked the status of %u nodes:", static_cast<unsigned>(nodes.size()));
  KXVector<KXLWPtr<Node>> wentDown;
  for (const Property::Value& node : nodes.elements()) enterStatus(node, wentDown);
  bool needsSecondScan = false;
  // It has logged its failure; the first answer stands then.
  if (secondScan_ == nullptr) static_cast<void>(prepareServiceScanInputFile(wentDown, needsSecondScan));
  if (needsSecondScan) {
    invokeSecondScan();
  } else {
    Job::successful(result);
  }
}

void JobStatusScan::enterStatus(const Property::Value& node, KXVector<KXLWPtr<Node>>& wentDown) {
  const String ipAddress = node["ipAddress"].toString();
  if (repository_.getNodeByIpAddress(ipAddress) == nullptr) {
    DISCOVERY_NOTE(REFUSAL, logPrefix_, "Node %s not found", inLog(ipAddress).c_str());
    return;
  }
  for (const Property::Value& answer : node["services"].elements()) {
    const NodeStatus status = answer["successful"].toBoolOr(false) ? NodeStatus::UP : NodeStatus::DOWN;
    bool changed = false;
    const KXLWPtr<Node> known = repository_.setStatus(ipAddress, status, nullptr, &changed);
    if (changed && known->status() == NodeStatus::DOWN) wentDown.add(known);
    DISCOVERY_TRACE(1, logPrefix_, "  %s is %s (service %s)", inLog(ipAddress).c_str(),
                    KXEnumInfo<NodeStatus>::nameOrEmpty(status), inLog(answer["service"].toString()).c_str());
  }
}

// Kept on purpose: a first scan that has ended long ago is said to be cancelled too, and is not.
void JobStatusScan::cancel() {
  const KXPtr<JobStatusScan> kept(this);
  if (!beginCancellation()) return;
  if (firstScan_ != nullptr) {
    DISCOVERY_TRACE(1, logPrefix_, "Cancel running first scan");
    firstScan_->cancel();
  }
  if (secondScan_ != nullptr) {
    DISCOVERY_TRACE(1, logPrefix_, "Cancel running second scan");
    secondScan_->cancel();
  }
  DISCOVERY_TRACE(1, logPrefix_, "Cancelled");
}

}  // namespace KX::NMS::Discovery
