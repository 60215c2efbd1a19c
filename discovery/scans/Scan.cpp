// SPDX-License-Identifier: Apache-2.0
#include "discovery/scans/Scan.h"

#include <csignal>

#include "discovery/common/Log.h"
#include "discovery/common/LogText.h"
#include "discovery/common/Nesting.h"
#include "platform/process/Shell.h"

namespace KX::NMS::Discovery {
namespace {

unsigned nesting = 0;

}  // namespace

Scan::Scan(KXEventLoop& loop, const String& ownerId, const String& type, const String& name,
           const Shell::Command& command, const ScanOutputParser& parser)
    : eventLoop_(loop),
      id_(String(ownerId).append(".").append(name)),
      logPrefix_(String("[").append(type).append(" scan ").append(id_).append("] ")),
      outputLogPrefix_(String(logPrefix_).append("output> ")),
      infoLogPrefix_(String(logPrefix_).append("info> ")),
      type_(type),
      name_(name),
      command_(command),
      parser_(parser) {
  DISCOVERY_TRACE(2, logPrefix_, "Created");
}

Scan::~Scan() {
  DISCOVERY_TRACE(2, logPrefix_, "Destroying...");
  cancel();
  DISCOVERY_TRACE(2, logPrefix_, "Destroyed");
  expireWeakLink();
}

void Scan::invoke() {
  const KXPtr<Scan> kept(this);
  if (!status_.isIdle()) {
    DISCOVERY_NOTE(REFUSAL, logPrefix_, "Cannot start network scan in state %s", status_.stateName());
    return;
  }
  DISCOVERY_TRACE(1, logPrefix_, "Starting %s scan %s:", inLog(type_).c_str(), inLog(name_).c_str());
  DISCOVERY_TRACE(1, logPrefix_, "  %s", inLog(command_.line()).c_str());
  if (status_.start()) onStatusChanged();
  // A slot may have cancelled the scan: nobody would kill its command any more.
  if (!status_.isRunning()) return;
  const XCode result =
      Shell::invoke(command_, Function<void(XCode, String)>::synchronous(eventLoop_, this, &Scan::onScanTerminated),
                    Function<void(String)>::synchronous(eventLoop_, this, &Scan::onScanOutput),
                    Function<void(String)>::synchronous(eventLoop_, this, &Scan::onErrorOutput), future_);
  if (result.isErr()) failed(result.toString());
}

void Scan::cancel() {
  const KXPtr<Scan> kept(this);
  if (!status_.isRunning()) return;
  DISCOVERY_TRACE(1, logPrefix_, "Cancelling...");
  if (future_) {
    // A command that has ended meanwhile refuses both, which is as good.
    static_cast<void>(KXLockPtr<IFuture>(future_.handle())->kill(SIGKILL));
    static_cast<void>(KXLockPtr<IFuture>(future_.handle())->close());
  }
  DISCOVERY_TRACE(1, logPrefix_, "Cancelled");
  if (status_.cancel()) onStatusChanged();
}

void Scan::onScanOutput(String chunk) {
  if (chunk.isEmpty()) return;
  DISCOVERY_TRACE(3, outputLogPrefix_, "%s", inLog(chunk).c_str());
  output_.append(chunk);
}

void Scan::onErrorOutput(String chunk) {
  if (chunk.isEmpty()) return;
  DISCOVERY_TRACE(3, infoLogPrefix_, "%s", inLog(chunk).c_str());
}

void Scan::onScanTerminated(XCode code, String rest) {
  onScanOutput(rest);
  if (code.isErr()) {
    failed(code);
    return;
  }
  Property::Value result;
  if (parser_.parseScanOutput(result, output_).isErr()) {
    failed("Incompatible scan output"_s);
    return;
  }
  successful(result);
}

void Scan::successful(const Property::Value& result) {
  DISCOVERY_NOTE(SUCCESS, logPrefix_, "Scan succeeded");
  if (status_.successful(result)) onStatusChanged();
}

void Scan::failed(const String& why) {
  DISCOVERY_NOTE(OUTCOME, logPrefix_, "Network scan failed: %s", inLog(why).c_str());
  if (status_.failed(why)) onStatusChanged();
}

void Scan::failed(const XCode& code) { failed(code.toString()); }

void Scan::onStatusChanged() {
  DISCOVERY_TRACE(2, logPrefix_, "State changed to %s", status_.stateName());
  notifyStatusUpdate();
}

void Scan::notifyStatusUpdate() { statusUpdated.emit(); }

Property::Value Scan::toPropertyValue() const {
  Property::Value value = Property::Value::object(6);
  value["id"_s] = id_;
  value["type"_s] = type_;
  value["name"_s] = name_;
  value["cmd"_s] = command_.line();
  value.merge(status_.toPropertyValue(), true);
  return value;
}

void Scan::getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
                   const String& title) const {
  const Nesting scope(nesting);
  if (column > maxColumn) return;
  if (level <= maxLevel) {
    container.add(level, column, String::format("%s%s scan", title.c_str(), type_.c_str()), id_);
  }
  if (level + 1 > maxLevel) return;
  container.add(level + 1, column, "Command"_s, command_.line());
  if (scope.isOutermost()) status_.getInfo(container, maxLevel, level + 1, maxColumn, column, String());
}

}  // namespace KX::NMS::Discovery
