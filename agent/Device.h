// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "agent/Options.h"
#include "agent/ToolRunner.h"
#include "platform/database/Database.h"
#include "platform/database/KernelInterfaces.h"
#include "platform/loop/UvEventLoop.h"
#include "platform/monitor/Monitor.h"
#include "platform/process/ProcessRunner.h"
#include "program/StatusLine.h"

// What the discovery library stands on in this program: the log, the status line beside it, the loop, and what hangs on
// the loop (the runner of commands and the device configuration database). Made first and destroyed last.
class Device {
 public:
  explicit Device(const Options& options);
  ~Device();
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  // Opens the database: the file named by the options, else the kernel's interfaces.
  [[nodiscard]] XCode start(const Options& options);

  KX::UvEventLoop& loop() { return loop_; }
  KX::Shell::ProcessRunner& runner() { return runner_; }
  RTD::Monitor& monitor() { return monitor_; }
  RTD::LogSink& sink() { return *sink_; }
  StatusLine& statusLine() { return statusLine_; }
  RTD::StderrSink& errorOutput() { return errorOutput_; }

 private:
  StatusLine statusLine_;
  KX::UvEventLoop loop_;
  RTD::StderrSink errorOutput_;
  std::unique_ptr<RTD::LogSink> sink_;
  RTD::Monitor monitor_;
  KX::Shell::ProcessRunner runner_;
  ToolRunner tools_;
  DB::Database database_;
  DB::KernelInterfaces kernelInterfaces_;
};
