// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "agent/Options.h"
#include "platform/property/Value.h"

// The job descriptions of a scan by hand.

// Of all interfaces that the options select.
KX::Property::Value describeNodeScan(const Options& options);
// Of the interfaces of that name, whatever is in it.
KX::Property::Value describeNodeScanOf(const String& interface);
// For the nodes that are owed one.
KX::Property::Value describeServiceScan(const Options& options);
KX::Property::Value describeStatusScan(const Options& options);

// What is looked for, as "sip:5060 http:80 ping".
String describeServices(const Options& options);
