// SPDX-License-Identifier: Apache-2.0
#include "bench/sync/Allocations.h"

#include <malloc.h>

#include <algorithm>
#include <cerrno>

// The C library's own, under the names that stay when malloc is replaced.
extern "C" {
void* __libc_malloc(std::size_t size);                           // NOLINT
void* __libc_calloc(std::size_t count, std::size_t size);        // NOLINT
void* __libc_realloc(void* memory, std::size_t size);            // NOLINT
void* __libc_memalign(std::size_t alignment, std::size_t size);  // NOLINT
void __libc_free(void* memory);                                  // NOLINT
}

namespace {

bool isCounting = false;
std::ptrdiff_t current = 0;
std::ptrdiff_t highest = 0;

std::ptrdiff_t blockSize(void* memory) {
  return memory == nullptr ? 0 : static_cast<std::ptrdiff_t>(malloc_usable_size(memory) + sizeof(std::size_t));
}

void* added(void* memory) {
  if (isCounting) highest = std::max(highest, current += blockSize(memory));
  return memory;
}

void removing(void* memory) {
  if (isCounting) current -= blockSize(memory);
}

}  // namespace

void Allocations::begin() {
  current = highest = 0;
  isCounting = true;
}
void Allocations::end() { isCounting = false; }
std::ptrdiff_t Allocations::now() { return current; }
std::ptrdiff_t Allocations::peak() { return highest; }

extern "C" {

void* malloc(std::size_t size) { return added(__libc_malloc(size)); }
void* calloc(std::size_t count, std::size_t size) { return added(__libc_calloc(count, size)); }
void* memalign(std::size_t alignment, std::size_t size) { return added(__libc_memalign(alignment, size)); }
void* aligned_alloc(std::size_t alignment, std::size_t size) { return memalign(alignment, size); }
int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
  *memory = memalign(alignment, size);
  return *memory == nullptr ? ENOMEM : 0;
}
void* realloc(void* memory, std::size_t size) {
  removing(memory);
  return added(__libc_realloc(memory, size));
}
void free(void* memory) {
  removing(memory);
  __libc_free(memory);
}

}  // extern "C"
