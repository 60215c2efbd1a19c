// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "program/TextTable.h"

// What may be written to a descriptor besides plain text. The answers are those of the moment: a window changes its
// width while the program runs.
class Terminal {
 public:
  explicit Terminal(int descriptor) : descriptor_(descriptor) {}

  bool isTerminal() const;
  // How many columns a line has: what the terminal says, else COLUMNS. 0, which is any number, where neither says it
  // and for everything that is no terminal.
  std::size_t width() const;
  // How many lines it shows: what it says, else 24.
  std::size_t height() const;
  // Whether it moves its cursor when told to: a terminal whose TERM is not "dumb".
  bool obeysEscapes() const;
  // The same, and nobody asked for plain text with NO_COLOR.
  bool takesColour() const;

 private:
  int descriptor_;
};

// How a table is laid out for what stands behind the descriptor.
TableStyle styleOf(const Terminal& terminal);
