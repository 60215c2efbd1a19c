// SPDX-License-Identifier: Apache-2.0
#include "platform/base/Memory.h"

#include <unistd.h>

#include <cstdlib>
#include <new>

namespace KX {

void outOfMemory() {
  static constexpr char LINE[] = "Out of memory\n";
  // Nothing is left to report a failed write to.
  static_cast<void>(!write(STDERR_FILENO, LINE, sizeof(LINE) - 1));
  _exit(70);
}

void* allocate(std::size_t size) {
  void* memory = std::malloc(size);
  if (memory == nullptr) outOfMemory();
  return memory;
}

void* reallocate(void* memory, std::size_t size) {
  void* moved = std::realloc(memory, size);
  if (moved == nullptr) outOfMemory();
  return moved;
}

void endProcessWhenOutOfMemory() { std::set_new_handler(outOfMemory); }

}  // namespace KX
