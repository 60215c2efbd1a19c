// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/SourceFolder.h"

namespace KX::NMS::Discovery {

// Compares lines with a file below tests/golden. With KX_UPDATE_GOLDEN set the file is written anew; what changed is
// then to be read in the diff.
inline testing::AssertionResult equalsGolden(const std::vector<std::string>& lines, const std::string& name) {
  const std::string path = std::string(Tests::SOURCE_FOLDER) + "/golden/" + name;
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  if (std::getenv("KX_UPDATE_GOLDEN") != nullptr) std::ofstream(path) << text;
  std::stringstream golden;
  golden << std::ifstream(path).rdbuf();
  if (golden.str() == text) return testing::AssertionSuccess();
  return testing::AssertionFailure() << path << " differs from:\n" << text;
}

}  // namespace KX::NMS::Discovery
