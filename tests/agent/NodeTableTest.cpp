// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "agent/NodeTable.h"

namespace {

using KX::NMS::Discovery::Repository;

std::string printed(const Repository& repository) {
  testing::internal::CaptureStdout();
  printNodeTable(repository);
  return testing::internal::GetCapturedStdout();
}

void add(Repository& repository, const char* mac, const char* ip, const char* model, bool onboarding = false) {
  static_cast<void>(
      repository.addDiscoveredNode(mac, ip, "lan0", model, onboarding, Repository::UpdateExisting, nullptr, nullptr));
}

TEST(NodeTableTest, NodesAreSortedByAddressAndEmptyColumnsLeftOut) {
  Repository repository;
  add(repository, "A", "10.0.0.10", "");
  add(repository, "B", "10.0.0.9", "");
  EXPECT_EQ(printed(repository),
            "ADDRESS    MAC  INTERFACE\n"
            "10.0.0.9   B    lan0\n"
            "10.0.0.10  A    lan0\n"
            "2 nodes\n");
}

TEST(NodeTableTest, EveryColumnThatSomeNodeFillsIsShown) {
  Repository repository;
  add(repository, "A", "10.0.0.1", "Varnel X", true);
  add(repository, "B", "10.0.0.2", "");
  EXPECT_EQ(printed(repository),
            "ADDRESS   MAC  INTERFACE  MODEL     ONBOARDING\n"
            "10.0.0.1  A    lan0       Varnel X  supported\n"
            "10.0.0.2  B    lan0\n"
            "2 nodes\n");
}

TEST(NodeTableTest, ControlCharactersAreEscaped) {
  Repository repository;
  add(repository, "A", "10.0.0.1", "\x1b[2J\n");
  EXPECT_NE(printed(repository).find("\\x1b[2J\\n"), std::string::npos);
}

TEST(NodeTableTest, WithoutNodesOnlyTheCountIsPrinted) { EXPECT_EQ(printed(Repository()), "0 nodes\n"); }

}  // namespace
