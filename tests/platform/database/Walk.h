// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "platform/base/XCode.h"

// One transaction over everything on the calling thread's loop, as a scan makes it, and what it read: a line
// "context name", and below it a line "- name device state subnet..." an interface. A device that is not loadable is
// "none", or "unset" where nothing is referred to; the state is "up" or a number; a subnet that cannot be read is "?".
struct Walk {
  XCode result;
  std::string text;
};

Walk walk();
// What walk reads inside a transaction that runs already.
std::string walkInTransaction();
