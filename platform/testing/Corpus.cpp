// SPDX-License-Identifier: Apache-2.0
#include "platform/testing/Corpus.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/text/Printable.h"

namespace KX::Testing {

void addToCorpus(std::string_view text) {
  static const char* const path = std::getenv("KX_LOG_CORPUS");
  if (path == nullptr || *path == '\0') return;
  static const int file = ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  String line = toPrintable(text);
  line.append("\n");
  // One write, so that lines of several processes do not mix.
  if (::write(file, line.c_str(), line.length()) < 0) std::abort();
}

}  // namespace KX::Testing
