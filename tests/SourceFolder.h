// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace KX::Tests {

// The folder "tests" of this checkout, without a slash at its end. Only one source is compiled with its name, so that
// the others have the same objects in every checkout and come out of one compiler cache.
extern const char* const SOURCE_FOLDER;

}  // namespace KX::Tests
