// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

#include "program/Terminal.h"

namespace {

class TerminalTest : public testing::Test {
 protected:
  TerminalTest() : master_(posix_openpt(O_RDWR | O_NOCTTY)) {
    EXPECT_EQ(grantpt(master_) + unlockpt(master_), 0);
    slave_ = open(ptsname(master_), O_RDWR | O_NOCTTY);
    setenv("TERM", "xterm", 1);
    unsetenv("COLUMNS");
    unsetenv("NO_COLOR");
  }
  ~TerminalTest() override {
    close(slave_);
    close(master_);
  }
  void resize(unsigned short columns) const {
    const struct winsize size { 24, columns, 0, 0 };
    ASSERT_EQ(ioctl(master_, TIOCSWINSZ, &size), 0);
  }

  int master_;
  int slave_;
};

TEST_F(TerminalTest, AWindowSaysHowWideItIs) {
  const Terminal terminal(slave_);
  resize(40);
  EXPECT_EQ(terminal.width(), 40U);
  setenv("COLUMNS", "99", 1);
  resize(200);
  EXPECT_EQ(terminal.width(), 200U);
}

TEST_F(TerminalTest, WhereItDoesNotCOLUMNSSays) {
  const Terminal terminal(slave_);
  EXPECT_EQ(terminal.width(), 0U);
  setenv("COLUMNS", "99", 1);
  EXPECT_EQ(terminal.width(), 99U);
  for (const char* text : {"", "x", "9x", "-1", "70000"}) {
    setenv("COLUMNS", text, 1);
    EXPECT_EQ(terminal.width(), 0U) << text;
  }
}

TEST_F(TerminalTest, WhatIsNoTerminalHasNeitherWidthNorColour) {
  int descriptors[2];
  ASSERT_EQ(pipe(descriptors), 0);
  setenv("COLUMNS", "99", 1);
  for (const int descriptor : {descriptors[1], -1}) {
    const Terminal terminal(descriptor);
    EXPECT_FALSE(terminal.isTerminal());
    EXPECT_EQ(terminal.width(), 0U);
    EXPECT_FALSE(terminal.obeysEscapes());
    EXPECT_FALSE(terminal.takesColour());
  }
  close(descriptors[0]);
  close(descriptors[1]);
}

TEST_F(TerminalTest, NoColorAsksForPlainText) {
  const Terminal terminal(slave_);
  EXPECT_TRUE(terminal.takesColour());
  setenv("NO_COLOR", "", 1);
  EXPECT_TRUE(terminal.takesColour());
  setenv("NO_COLOR", "0", 1);
  EXPECT_FALSE(terminal.takesColour());
  EXPECT_TRUE(terminal.obeysEscapes());
}

TEST_F(TerminalTest, ADumbTerminalObeysNoEscapes) {
  setenv("TERM", "dumb", 1);
  EXPECT_FALSE(Terminal(slave_).obeysEscapes());
  EXPECT_FALSE(Terminal(slave_).takesColour());
  unsetenv("TERM");
  EXPECT_TRUE(Terminal(slave_).takesColour());
}

}  // namespace
