// SPDX-License-Identifier: Apache-2.0
#include "discovery/scans/JobServiceScan.h"

#include <utility>

#include "discovery/common/Log.h"
#include "discovery/common/LogText.h"

namespace KX::NMS::Discovery {
namespace {

bool isKnownService(const String& name) {
  return name == "sip" || name == "http" || name == "https" || name == "snmp" || name == "ping";
}

}  // namespace

JobServiceScan::JobServiceScan(KXEventLoop& loop, Repository& repository, const String& id, unsigned number,
                               const Property::Value& description)
    : Job(loop, repository, id, number, description), inputFile_(loop, id_, status_) {
  DISCOVERY_TRACE(2, logPrefix_, "Created");
  DISCOVERY_TRACE(2, logPrefix_, "  %s", description_.toYaml(2, 2).c_str());
}

JobServiceScan::~JobServiceScan() {
  DISCOVERY_TRACE(2, logPrefix_, "Destroying...");
  cancel();
  DISCOVERY_TRACE(2, logPrefix_, "Destroyed");
  expireWeakLink();
}

void JobServiceScan::prepare(bool& needed) {
  needed = false;
  if (!beginPreparation()) return;
  // It has logged its failure.
  static_cast<void>(prepareServiceScanInputFile(needed));
}

XCode JobServiceScan::prepareServiceScanInputFile(bool& needed) {
  const KXVector<KXLWPtr<Node>> nodes =
      isOnlyWhenNeeded() ? repository_.getNodesWithPendingServiceScan() : repository_.getNodes();
  needed = !nodes.isEmpty();
  if (!needed) return XCode();
  DISCOVERY_TRACE(1, logPrefix_, "Writing servicescan input file for %u nodes:", static_cast<unsigned>(nodes.size()));
  XCode result = writeInputFile(nodes);
  if (result.isErr()) {
    inputFile_.abandon();
    DISCOVERY_TRACE(1, logPrefix_, "Preparation failed: %s", inLog(result.toString()).c_str());
    needed = false;
  }
  return result;
}

bool JobServiceScan::isOnlyWhenNeeded() const { return description_["onlyWhenNeeded"].toBoolOr(false); }

XCode JobServiceScan::writeInputFile(const KXVector<KXLWPtr<Node>>& nodes) {
  const String services = servicesText();
  if (services.isEmpty()) {
    const Property::Value wanted = std::as_const(description_)["services"];
    return XCode::error(String::format("No services to scan for: %s", wanted.toJson().c_str()));
  }
  XCode result = inputFile_.open();
  if (result.isSuccess()) result = writeLines(nodes, services);
  inputFile_.close();
  if (result.isSuccess()) result = logInputFile();
  return result;
}

// Every node gets the same pairs.
String JobServiceScan::servicesText() const {
  String text;
  for (const Property::Member& service : description_["services"].members()) {
    if (!isKnownService(service.key)) continue;
    for (const Property::Value& port : service.value["ports"].elements()) {
      text.append(InputFile::serviceText(service.key, port.toIntOr(0)));
    }
  }
  return text;
}

XCode JobServiceScan::writeLines(const KXVector<KXLWPtr<Node>>& nodes, const String& services) {
  for (const KXLWPtr<Node>& node : nodes) {
    DISCOVERY_TRACE(1, logPrefix_, "Writing %s%s", inLog(node->ipAddress()).c_str(), inLog(services).c_str());
    XCode result = inputFile_.writeLine(node->ipAddress(), services);
    if (result.isErr()) return result;
    if (node->pendingServiceScans() != 0) node->setPendingServiceScans(node->pendingServiceScans() - 1);
  }
  return XCode();
}

// Kept on purpose: a file that cannot be read back fails the preparation, and is read back only for the log.
XCode JobServiceScan::logInputFile() const {
  if (!isTracing(2)) return XCode();
  String content;
  XCode result = inputFile_.readBack(content);
  if (result.isErr()) {
    result.extendString("Cannot read back servicescan input file"_s, ": ");
  } else {
    DISCOVERY_TRACE(1, String(logPrefix_).append("input> "), "%s", inLog(content).c_str());
  }
  return result;
}

void JobServiceScan::invoke() {
  const KXPtr<JobServiceScan> kept(this);
  if (!beginInvocation()) return;
  invokeScan();
}

void JobServiceScan::invokeScan() {
  if (!status_.isRunning() || scan_ != nullptr) {
    failed("Cannot invoke next scan"_s);
    return;
  }
  const KXLWPtr<Scan> scan(new Scan(eventLoop_, id_, "Service"_s, "all"_s, inputFile_.scanCommand(), parser_));
  scan_ = scan;
  scan->statusUpdated.connect(Function<void()>::direct(this, &JobServiceScan::onScanStatusUpdated));
  DISCOVERY_TRACE(1, logPrefix_, "Invoking scan:");
  scan->invoke();
}

void JobServiceScan::onScanStatusUpdated() {
  DISCOVERY_TRACE(1, logPrefix_, "Scan update");
  if (scan_ == nullptr) return;
  const Status& status = scan_->status();
  if (status.state() == State::SUCCESSFUL) successful(status.result());
  if (status.state() == State::FAILED) failed(status.text());
}

void JobServiceScan::successful(const Property::Value& result) {
  const Property::Value nodes = result["nodes"];
  DISCOVERY_TRACE(1, logPrefix_, "Discovered services on %u nodes:", static_cast<unsigned>(nodes.size()));
  for (const Property::Value& node : nodes.elements()) enterServices(node);
  Job::successful(result);
}

// Of equal services the first one's port counts, of models and identifiers the last one's.
void JobServiceScan::enterServices(const Property::Value& node) {
  const String ipAddress = node["ipAddress"].toString();
  KXStringHashTable<Service> services;
  String model;
  String systemObjectID;
  for (const Property::Value& answer : node["services"].elements()) {
    if (!answer["successful"].toBoolOr(false)) continue;
    const String name = answer["service"].toString();
    const std::uint16_t port = answer["port"].toUInt16Or(0);
    if (services.find(name) == nullptr) services.set(name, Service{name, port});
    model = answer["model"].getStringOr(model);
    systemObjectID = answer["systemObjectID"].getStringOr(systemObjectID);
    DISCOVERY_TRACE(1, logPrefix_, "  %s service is available on %s:%u", inLog(name).c_str(), inLog(ipAddress).c_str(),
                    port);
  }
  static_cast<void>(repository_.setDiscoveredServices(ipAddress, services, model, systemObjectID));
}

// The scan is cancelled after the job, so its end finds a job that runs no more and changes nothing.
void JobServiceScan::cancel() {
  const KXPtr<JobServiceScan> kept(this);
  if (!beginCancellation()) return;
  if (const KXLWPtr<Scan> scan = scan_; scan != nullptr) {
    DISCOVERY_TRACE(1, logPrefix_, "Cancel running scan scan");
    scan->cancel();
  }
  DISCOVERY_TRACE(1, logPrefix_, "Cancelled");
}

}  // namespace KX::NMS::Discovery
