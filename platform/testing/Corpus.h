// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace KX::Testing {

// Adds a text to the corpus of what the tests have the program say: a line, its control characters escaped, at the end
// of the file that the environment names in KX_LOG_CORPUS. Nothing without it. Logs and messages captured by this kit
// are added by themselves. Processes may write one file at the same time.
void addToCorpus(std::string_view text);

}  // namespace KX::Testing
