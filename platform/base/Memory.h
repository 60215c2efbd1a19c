// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "platform/base/Export.h"

namespace KX {

// Exhausted memory ends the process: one line on stderr, exit status 70. Input is bounded, so no message and no scan
// leads there by itself.
[[noreturn]] void outOfMemory();

// malloc and realloc that do not return null.
KX_EXPORT [[nodiscard]] void* allocate(std::size_t size);
KX_EXPORT [[nodiscard]] void* reallocate(void* memory, std::size_t size);

// Gives operator new the same end. A program calls it once at its start; the library leaves the host's handler alone.
KX_EXPORT void endProcessWhenOutOfMemory();

}  // namespace KX
