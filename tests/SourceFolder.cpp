// SPDX-License-Identifier: Apache-2.0
#include "tests/SourceFolder.h"

const char* const KX::Tests::SOURCE_FOLDER = TEST_SOURCE_DIR;
