// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "platform/base/String.h"

namespace KX::Testing {

// Keys of the pattern's form that have one hash in string tables, as somebody who wants to make a table slow would
// choose them: each "0" of the pattern becomes a digit from 0 to 7. Fewer than asked for where the pattern does not
// give as many.
std::vector<String> collidingKeys(std::string_view pattern, std::size_t count);

// The same number of keys of that form with hashes of their own, the same ones every time.
std::vector<String> randomKeys(std::string_view pattern, std::size_t count);

}  // namespace KX::Testing
