// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "platform/base/Export.h"

// Characters that nobody sees, by which a text can pass for another one, or command a terminal. The texts begin with a
// character or with a byte that is none, and are not empty.

// A control character: U+0000 to U+001F, U+007F, and U+0080 to U+009F, which terminals obey as they obey an escape.
KX_EXPORT bool startsWithControl(std::string_view text);

// A control character; one that changes the direction of the text around it; a line or paragraph separator; or one
// without a width that changes nothing but how its neighbours are shown, as zero-width spaces and joiners, soft hyphens
// and tags are.
bool startsWithUnseen(std::string_view text);
