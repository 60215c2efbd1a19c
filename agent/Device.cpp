// SPDX-License-Identifier: Apache-2.0
#include "agent/Device.h"

#include <utility>

#include "discovery/common/Log.h"

namespace {

// Who scans by hand sees how it ends; outcomes and successes are for whoever asks for the course of events.
class QuietSink final : public RTD::LogSink {
 public:
  explicit QuietSink(std::unique_ptr<RTD::LogSink> sink) : sink_(std::move(sink)) {}
  void write(const RTD::LogLine& line) override {
    if (line.kind != RTD::OUTCOME && line.kind != RTD::SUCCESS) sink_->write(line);
  }

 private:
  std::unique_ptr<RTD::LogSink> sink_;
};

std::unique_ptr<RTD::LogSink> makeSink(Options::Log log, StatusLine& statusLine, RTD::StderrSink& errorOutput) {
  if (log == Options::Log::SYSLOG) return std::make_unique<RTD::SyslogSink>("discovery-agent"_s);
  return std::make_unique<SinkAboveStatusLine>(statusLine, errorOutput);
}

std::unique_ptr<RTD::LogSink> makeSink(const Options& options, StatusLine& statusLine, RTD::StderrSink& errorOutput) {
  auto sink = makeSink(options.log, statusLine, errorOutput);
  if (options.command == Options::Command::RUN || options.verbosity > 0) return sink;
  return std::make_unique<QuietSink>(std::move(sink));
}

}  // namespace

Device::Device(const Options& options)
    : errorOutput_(loop_),
      sink_(makeSink(options, statusLine_, errorOutput_)),
      monitor_("discovery"_s, options.verbosity, *sink_),
      runner_(loop_, options.processLimits),
      tools_(runner_, options.scanTool),
      kernelInterfaces_(loop_, database_) {
  KX::NMS::Discovery::MON = &monitor_;
  loop_.provide<KX::Shell::Runner>(&tools_);
  loop_.provide<DB::Database>(&database_);
}

Device::~Device() { KX::NMS::Discovery::MON = nullptr; }

XCode Device::start(const Options& options) {
  XCode result = loop_.status();
  if (result.isErr()) return result;
  if (options.database.isEmpty()) {
    result = kernelInterfaces_.start();
    if (result.isErr()) result.extendString("cannot read the kernel's interfaces"_s, ": ");
    return result;
  }
  result = database_.open(options.database);
  if (result.isErr()) {
    result.extendString(String::format("cannot open the database %s", options.database.c_str()), ": ");
  }
  return result;
}
