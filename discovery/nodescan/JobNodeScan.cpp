// SPDX-License-Identifier: Apache-2.0
#include "discovery/nodescan/JobNodeScan.h"

#include "discovery/common/Log.h"
#include "discovery/common/LogText.h"
#include "discovery/common/Nesting.h"
#include "discovery/nodescan/DeviceModel.h"
#include "discovery/repository/NodeLimitNote.h"

namespace KX::NMS::Discovery {
namespace {

unsigned nesting = 0;

}  // namespace

JobNodeScan::JobNodeScan(KXEventLoop& loop, Repository& repository, const String& name, unsigned number,
                         const Property::Value& description)
    : Job(loop, repository, name, number, description) {
  DISCOVERY_TRACE(2, logPrefix_, "Created");
  DISCOVERY_TRACE(2, logPrefix_, "  %s", description_.toYaml(2, 2).c_str());
}

JobNodeScan::~JobNodeScan() {
  DISCOVERY_TRACE(2, logPrefix_, "Destroying...");
  cancel();
  DISCOVERY_TRACE(2, logPrefix_, "Destroyed");
  expireWeakLink();
}

void JobNodeScan::prepare(bool& needed) {
  needed = false;
  if (!beginPreparation()) return;
  // It has logged its failure; what it found until then is scanned.
  static_cast<void>(determineScans());
  needed = !scans_.isEmpty();
}

void JobNodeScan::invoke() {
  const KXPtr<JobNodeScan> kept(this);
  if (!beginInvocation()) return;
  // Kept on purpose: this counts scans, twice the chosen interfaces.
  DISCOVERY_TRACE(1, logPrefix_, "  %u interfaces found to scan for nodes", static_cast<unsigned>(scans_.size()));
  invokeNextScan();
}

void JobNodeScan::invokeNextScan() {
  const KXPtr<JobNodeScan> kept(this);
  nextStep_.take(status_.isRunning(), [this] { invokeCurrentScan(); });
}

void JobNodeScan::invokeCurrentScan() {
  if (!status_.isRunning() || scans_.isEmpty()) {
    failed("Cannot invoke next scan"_s);
  } else if (currentScan_ < scans_.size()) {
    DISCOVERY_TRACE(1, logPrefix_, "Invoking scan %d:", static_cast<int>(currentScan_ + 1));
    const KXPtr<Scan> scan = scans_[currentScan_];
    scan->invoke();
  } else {
    successful(combineScanResults());
  }
}

void JobNodeScan::onScanStatusUpdated() {
  DISCOVERY_TRACE(1, logPrefix_, "Scan %d update", static_cast<int>(currentScan_ + 1));
  if (currentScan_ >= scans_.size() || !scans_[currentScan_]->status().isFinished()) return;
  ++currentScan_;
  invokeNextScan();
}

Property::Value JobNodeScan::combineScanResults() const {
  Property::Value nodes = Property::Value::array();
  for (const KXPtr<Scan>& scan : scans_) {
    if (scan->status().state() != State::SUCCESSFUL) continue;
    const Property::Value found = scan->status().result()["nodes"];
    for (const Property::Value& element : found.elements()) {
      Property::Value node = element;
      node["interface"_s] = scan->name();
      nodes.add(node);
    }
  }
  Property::Value result = Property::Value::object(1);
  result["nodes"_s] = nodes;
  return result;
}

void JobNodeScan::successful(const Property::Value& result) {
  const Property::Value nodes = result["nodes"];
  DISCOVERY_TRACE(1, logPrefix_, "Discovered %u node updates:", static_cast<unsigned>(nodes.size()));
  NodeLimitNote limit(repository_, logPrefix_);
  for (const Property::Value& node : nodes.elements()) limit.take(enterNode(node));
  Job::successful(result);
}

KXLWPtr<Node> JobNodeScan::enterNode(const Property::Value& node) {
  const String physicalAddress = node["physicalAddress"].toString();
  const String ipAddress = node["ipAddress"].toString();
  const String interface = node["interface"].toString();
  const String model = modelOfDevice(node);
  bool added = false;
  bool changed = false;
  KXLWPtr<Node> entered = repository_.addDiscoveredNode(physicalAddress, ipAddress, interface, model,
                                                        node["supportsOnboarding"].toBoolOr(false),
                                                        Repository::UpdateExisting, &added, &changed);
  if (added) {
    DISCOVERY_TRACE(2, logPrefix_, "  New node: %s at %s on interface %s (%s)", inLog(ipAddress).c_str(),
                    inLog(physicalAddress).c_str(), inLog(interface).c_str(), inLog(model).c_str());
  } else if (changed) {
    DISCOVERY_TRACE(2, logPrefix_, "  Changed node: %s at %s on interface %s (%s)", inLog(ipAddress).c_str(),
                    inLog(physicalAddress).c_str(), inLog(interface).c_str(), inLog(model).c_str());
  }
  return entered;
}

// The running scan is cancelled after the job, so its end finds a job that runs no more: that is logged as a failure to
// invoke the next scan and changes nothing.
void JobNodeScan::cancel() {
  const KXPtr<JobNodeScan> kept(this);
  if (!beginCancellation()) return;
  if (currentScan_ < scans_.size()) {
    DISCOVERY_TRACE(1, logPrefix_, "Cancel running scan");
    const KXPtr<Scan> scan = scans_[currentScan_];
    scan->cancel();
  }
  DISCOVERY_TRACE(1, logPrefix_, "Cancelled");
}

Property::Value JobNodeScan::toPropertyValue() const {
  Property::Value scans = Property::Value::array(scans_.size());
  for (const KXPtr<Scan>& scan : scans_) scans.add(scan->toPropertyValue());
  Property::Value value = Job::toPropertyValue();
  value["scans"_s] = scans;
  return value;
}

void JobNodeScan::getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn,
                          unsigned column, const String& title) const {
  Job::getInfo(container, maxLevel, level, maxColumn, column, title);
  const Nesting scope(nesting);
  if (scans_.isEmpty() && level + 1 <= maxLevel && column <= maxColumn) {
    container.add(level + 1, column, "Scans"_s, "none"_s);
  }
  if (level + 1 > maxLevel || column + 1 > maxColumn || !scope.isOutermost()) return;
  for (std::size_t index = 0; index < scans_.size(); ++index) {
    const String prefix = index == currentScan_ ? "Active "_s : String();
    scans_[index]->getInfo(container, maxLevel, level + 1, maxColumn, column + 1, prefix);
  }
}

}  // namespace KX::NMS::Discovery
