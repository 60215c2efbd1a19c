// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/XCode.h"

namespace KX::NMS {

// Called by a program before it opens anything. Standard descriptors that its caller left closed become /dev/null, so
// that no later descriptor takes their numbers and gets messages or log lines. SIGPIPE is ignored from here on, so that
// a reader who is gone is an error of the write; whoever starts child processes gives them the default back.
XCode prepareStandardDescriptors();

}  // namespace KX::NMS
