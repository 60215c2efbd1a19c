// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "platform/monitor/InfoContainer.h"

namespace {

using KX::Property::Value;

String rendered(const Value& value) {
  InfoContainer container;
  addInfoProperty(container, 1, 0, "Description", value);
  return container.toText();
}

TEST(InfoContainerTest, KeepsRowsInTheOrderOfAdding) {
  InfoContainer container;
  container.add(2, 1, "Port", "80");
  container.add(0, 0, "Node", "");
  ASSERT_EQ(container.rows().size(), 2U);
  EXPECT_EQ(container.rows()[0].level, 2U);
  EXPECT_EQ(container.rows()[0].column, 1U);
  EXPECT_EQ(container.rows()[0].label, "Port");
  EXPECT_EQ(container.rows()[0].value, "80");
  EXPECT_EQ(container.rows()[1].label, "Node");
}

TEST(InfoContainerTest, TextIsOneIndentedLineARow) {
  InfoContainer container;
  EXPECT_EQ(container.toText(), "");
  container.add(0, 0, "Local Node Repository", "");
  container.add(1, 0, "Discovered Node", "10.0.0.1");
  container.add(2, 0, "Status", "up");
  EXPECT_EQ(container.toText(), "Local Node Repository\n  Discovered Node: 10.0.0.1\n    Status: up\n");
}

TEST(InfoContainerTest, RowIsOneLineWhateverItHolds) {
  InfoContainer container;
  container.add(0, 0, "Mo\ndel", "evil\nStatus: up\x1b[2J\xff");
  EXPECT_EQ(container.toText(), "Mo\\ndel: evil\\nStatus: up\\x1b[2J\xef\xbf\xbd\n");
}

TEST(InfoContainerTest, ScalarStandsInTheRowItself) {
  EXPECT_EQ(rendered("text"), "  Description: text\n");
  EXPECT_EQ(rendered(-7), "  Description: -7\n");
  EXPECT_EQ(rendered(18446744073709551615ULL), "  Description: 18446744073709551615\n");
  EXPECT_EQ(rendered(true), "  Description: true\n");
  EXPECT_EQ(rendered(""), "  Description\n");
  EXPECT_EQ(rendered(Value()), "  Description\n");
  EXPECT_EQ(rendered(Value::null()), "  Description: null\n");
  EXPECT_EQ(rendered(Value::array()), "  Description: []\n");
  EXPECT_EQ(rendered(Value::object()), "  Description: {}\n");
}

TEST(InfoContainerTest, MembersAndElementsStandBelowALevelDeeperEach) {
  Value description = Value::object();
  description["id"] = "nightly";
  description["interfaces"].add(Value::object())["regex"] = "^LAN";
  description["interfaces"].add("plain");
  description["ports"] = Value::array();
  EXPECT_EQ(rendered(description),
            "  Description\n"
            "    id: nightly\n"
            "    interfaces\n"
            "      [0]\n"
            "        regex: ^LAN\n"
            "      [1]: plain\n"
            "    ports: []\n");
}

TEST(InfoContainerTest, EveryRowHasTheColumnGiven) {
  InfoContainer container;
  Value value = Value::object();
  value["a"] = 1;
  addInfoProperty(container, 0, 5, "Label", value);
  EXPECT_EQ(container.rows()[0].column, 5U);
  EXPECT_EQ(container.rows()[1].column, 5U);
  EXPECT_EQ(container.rows()[1].level, 1U);
}

TEST(InfoContainerTest, RowsDeeperThanTheMostAreLeftOut) {
  Value value = Value::object();
  value["a"]["b"]["c"] = 1;
  for (unsigned maxLevel = 0; maxLevel <= 4; ++maxLevel) {
    InfoContainer container;
    addInfoProperty(container, 1, 0, "Label", value, maxLevel);
    EXPECT_EQ(container.rows().size(), maxLevel);
  }
}

TEST(InfoContainerTest, YesAndNo) {
  EXPECT_STREQ(YES_NO(true), "yes");
  EXPECT_STREQ(YES_NO(false), "no");
}

}  // namespace
