// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <vector>

#include "platform/base/String.h"

// A table for a person, laid out for a terminal of a given width. Nothing here asks the terminal.

enum class Colour { NONE, GREEN, RED };

// The text is valid UTF-8 without control characters.
struct Cell {
  String text;
  Colour colour = Colour::NONE;
};

struct Column {
  String heading;
  // To how many columns of the terminal its texts may be cut when the table is too wide; 0: not at all.
  std::size_t shortest = 0;
  // Where the table stays too wide, the column of the highest rank is left out first; one of rank 0 always stays.
  unsigned rank = 0;
  // Whether it tells something even where it says the same in every row. Others that do are left out of a table that is
  // too wide before any text is cut.
  bool staysConstant = false;
};

struct TableStyle {
  std::size_t width = 0;  // 0: any
  bool colour = false;
};

// The heading and a line for each row, which has a cell for each column. Columns without a text in any row are left
// out. No line is wider than the style's width: columns that say the same in every row are left out, then columns that
// may be cut are, the widest first, and their texts end with an ellipsis; then further columns are left out.
std::vector<String> layOutTable(const std::vector<Column>& columns, const std::vector<std::vector<Cell>>& rows,
                                const TableStyle& style);
