// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/String.h"

namespace KX::NMS::Discovery {

// What a log line's "%s" is to show of a text of others: a "%s" ends at a NUL, so those in the text are shown as
// "\x00", as the log's sinks would. Any other text is given as it is, without a copy.
String inLog(const String& text);

}  // namespace KX::NMS::Discovery
