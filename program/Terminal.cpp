// SPDX-License-Identifier: Apache-2.0
#include "program/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "platform/text/Decimal.h"

namespace {

std::string_view environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string_view() : value;
}

}  // namespace

bool Terminal::isTerminal() const { return isatty(descriptor_) == 1; }

std::size_t Terminal::width() const {
  if (!isTerminal()) return 0;
  struct winsize size {};
  if (ioctl(descriptor_, TIOCGWINSZ, &size) == 0 && size.ws_col != 0) return size.ws_col;
  return KX::readDecimal<unsigned short>(environment("COLUMNS")).value_or(0);
}

std::size_t Terminal::height() const {
  constexpr std::size_t USUAL = 24;
  struct winsize size {};
  return ioctl(descriptor_, TIOCGWINSZ, &size) == 0 && size.ws_row != 0 ? size.ws_row : USUAL;
}

bool Terminal::obeysEscapes() const { return isTerminal() && environment("TERM") != "dumb"; }

bool Terminal::takesColour() const { return obeysEscapes() && environment("NO_COLOR").empty(); }

TableStyle styleOf(const Terminal& terminal) { return {terminal.width(), terminal.takesColour()}; }
