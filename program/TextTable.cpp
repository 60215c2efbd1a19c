// SPDX-License-Identifier: Apache-2.0
#include "program/TextTable.h"

#include <algorithm>
#include <numeric>

#include "program/TextWidth.h"

namespace {

using Row = std::vector<Cell>;
// The width of each column; 0 where it is left out.
using Widths = std::vector<std::size_t>;

constexpr std::size_t GAP = 2;
constexpr char BOLD[] = "\033[1m";
constexpr char GREEN[] = "\033[32m";
constexpr char RED[] = "\033[31m";
constexpr char PLAIN[] = "\033[0m";

Widths measure(const std::vector<Column>& columns, const std::vector<Row>& rows) {
  Widths widths(columns.size());
  for (std::size_t column = 0; column < columns.size(); ++column) {
    for (const Row& row : rows) widths[column] = std::max(widths[column], displayWidth(row[column].text));
    if (widths[column] != 0) widths[column] = std::max(widths[column], displayWidth(columns[column].heading));
  }
  return widths;
}

std::size_t lineWidth(const Widths& widths) {
  const auto shown = widths.size() - static_cast<std::size_t>(std::count(widths.begin(), widths.end(), 0U));
  return std::accumulate(widths.begin(), widths.end(), shown == 0 ? 0 : (shown - 1) * GAP);
}

// The width of a line when every column is as narrow as it can be.
std::size_t shortestLineWidth(const std::vector<Column>& columns, Widths widths) {
  for (std::size_t column = 0; column < columns.size(); ++column) {
    if (columns[column].shortest != 0) widths[column] = std::min(widths[column], columns[column].shortest);
  }
  return lineWidth(widths);
}

bool isConstant(std::size_t column, const std::vector<Row>& rows) {
  return rows.size() > 1 && std::all_of(rows.begin(), rows.end(),
                                        [&](const Row& row) { return row[column].text == rows.front()[column].text; });
}

// The column to leave out next, of those that pass; as many as there are columns when all that are left have to stay.
template <class Passes>
std::size_t leastTelling(const std::vector<Column>& columns, const Widths& widths, Passes passes) {
  std::size_t found = columns.size();
  unsigned rank = 0;
  for (std::size_t column = 0; column < columns.size(); ++column) {
    if (widths[column] == 0 || columns[column].rank <= rank || !passes(column)) continue;
    rank = columns[column].rank;
    found = column;
  }
  return found;
}

void leaveOutConstants(const std::vector<Column>& columns, const std::vector<Row>& rows, std::size_t width,
                       Widths& widths) {
  const auto passes = [&](std::size_t column) { return !columns[column].staysConstant && isConstant(column, rows); };
  while (lineWidth(widths) > width) {
    const std::size_t column = leastTelling(columns, widths, passes);
    if (column == columns.size()) return;
    widths[column] = 0;
  }
}

void leaveOut(const std::vector<Column>& columns, std::size_t width, Widths& widths) {
  while (shortestLineWidth(columns, widths) > width) {
    const std::size_t column = leastTelling(columns, widths, [](std::size_t) { return true; });
    if (column == columns.size()) return;
    widths[column] = 0;
  }
}

void shrink(const std::vector<Column>& columns, std::size_t width, Widths& widths) {
  // No column can be wider than the line, which also bounds the steps below.
  for (std::size_t& own : widths) own = std::min(own, width);
  for (std::size_t excess = lineWidth(widths); excess > width; --excess) {
    std::size_t widest = columns.size();
    for (std::size_t column = 0; column < columns.size(); ++column) {
      const std::size_t shortest = columns[column].shortest;
      if (shortest == 0 || widths[column] <= shortest) continue;
      if (widest == columns.size() || widths[column] > widths[widest]) widest = column;
    }
    if (widest == columns.size()) return;
    --widths[widest];
  }
}

const char* escapeOf(Colour colour) {
  switch (colour) {
    case Colour::GREEN:
      return GREEN;
    case Colour::RED:
      return RED;
    default:
      return "";
  }
}

// Blanks stand between texts only: none ends a line.
String makeLine(const Row& row, const Widths& widths, bool colour) {
  String line;
  std::size_t blanks = 0;
  for (std::size_t column = 0; column < row.size(); ++column) {
    if (widths[column] == 0) continue;
    const String text = fitToWidth(row[column].text, widths[column]);
    if (!text.isEmpty()) {
      const char* const escape = colour ? escapeOf(row[column].colour) : "";
      line.concatf("%*s%s%s%s", static_cast<int>(blanks), "", escape, text.c_str(), *escape == '\0' ? "" : PLAIN);
      blanks = 0;
    }
    blanks += widths[column] - displayWidth(text) + GAP;
  }
  return line;
}

}  // namespace

std::vector<String> layOutTable(const std::vector<Column>& columns, const std::vector<Row>& rows,
                                const TableStyle& style) {
  Widths widths = measure(columns, rows);
  if (lineWidth(widths) == 0) return {};
  if (style.width != 0) {
    leaveOutConstants(columns, rows, style.width, widths);
    leaveOut(columns, style.width, widths);
    shrink(columns, style.width, widths);
  }
  Row headings;
  for (const Column& column : columns) headings.push_back({column.heading});
  const String heading = makeLine(headings, widths, false);
  std::vector<String> lines{style.colour ? String::format("%s%s%s", BOLD, heading.c_str(), PLAIN) : heading};
  for (const Row& row : rows) lines.push_back(makeLine(row, widths, style.colour));
  return lines;
}
