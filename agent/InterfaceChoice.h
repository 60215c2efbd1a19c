// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "platform/loop/KXEventLoop.h"
#include "platform/monitor/LogSink.h"
#include "platform/property/Value.h"

// An IP interface of the device, and whether a node scan takes it.
struct InterfaceChoice {
  String name;
  String device;  // that it is bound to; empty: none
  bool isPrivate = false;
  bool isUp = false;
  bool isAsked = true;  // for by its name, or by the default rule
  bool isChosen = false;

  // In a few words why, or why not.
  String reason() const;
};

// Asks the library, which tells in its log how it decides, what a node scan of this description would take. The
// module's monitor decides what of that goes to the log. Nothing is sent. The error is that of reading the
// configuration.
[[nodiscard]] XCode chooseInterfaces(KXEventLoop& loop, RTD::LogSink& log, const KX::Property::Value& nodeScan,
                                     std::vector<InterfaceChoice>& choices);

// One of them on one line for an error message, as "lan2: down".
String describe(const InterfaceChoice& choice);
