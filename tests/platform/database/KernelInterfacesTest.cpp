// SPDX-License-Identifier: Apache-2.0
// The real kernel, in a network namespace that each test makes for itself in a child process.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Walk.h"
#include "platform/database/KernelInterfaces.h"
#include "platform/database/Transaction.h"
#include "platform/loop/UvEventLoop.h"
#include "platform/testing/VirtualEventLoop.h"

namespace {

constexpr int SKIPPED = 77;

// Runs the body in a child with a network namespace of its own; what the body expects counts for the test.
template <class Body>
void inNetworkNamespace(Body body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (unshare(CLONE_NEWNET) != 0) _exit(SKIPPED);
    body();
    std::fflush(nullptr);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  if (WIFEXITED(status) && WEXITSTATUS(status) == SKIPPED) {
    GTEST_SKIP() << "a network namespace of its own needs root";
  }
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "see the child's output above; status " << status;
}

// As in "ip ARGUMENTS".
void ip(const std::string& arguments) {
  EXPECT_EQ(std::system(("ip " + arguments).c_str()), 0) << arguments;  // NOLINT(cert-env33-c)
}

std::string rows() {
  const Walk all = walk();
  EXPECT_TRUE(all.result.isSuccess()) << all.result.toString().c_str();
  return all.text;
}

// Turns the loop until the database holds the rows. The kernel tells some changes, as that of a carrier, a little
// later.
void expectSoon(KX::UvEventLoop& loop, const std::string& expected) {
  int polls = 500;
  std::string seen;
  const auto timer = loop.createTimeoutEvent(0, [&] {
    seen = rows();
    if (seen == expected || --polls == 0) loop.stop();
  });
  timer->start(10, true, true);
  loop.run();
  EXPECT_EQ(seen, expected);
}

struct Agent {
  Agent() {
    loop.provide(&database);
    const XCode started = interfaces.start();
    EXPECT_TRUE(started.isSuccess()) << started.toString().c_str();
  }
  KX::UvEventLoop loop;
  DB::Database database;
  DB::KernelInterfaces interfaces{loop, database};
};

TEST(KernelInterfaces, InterfacesAreThereOnceStarted) {
  inNetworkNamespace([] {
    ip("link add v0 type veth peer name v1");
    ip("addr add 10.1.2.3/24 dev v0");
    ip("addr add 192.168.7.1/16 dev v0");
    ip("-6 addr add fe80::1/64 dev v0");
    Agent agent;
    EXPECT_EQ(rows(), "context kernel\n- v1 v1 1\n- v0 v0 1 10.1.2.3/24 192.168.7.1/16\n");
  });
}

TEST(KernelInterfaces, LoopbackIsLeftOut) {
  inNetworkNamespace([] {
    ip("link set lo up");
    Agent agent;
    EXPECT_EQ(rows(), "context kernel\n");
  });
}

TEST(KernelInterfaces, ChangesAreFollowed) {
  inNetworkNamespace([] {
    Agent agent;
    EXPECT_EQ(rows(), "context kernel\n");
    ip("link add v0 type veth peer name v1");
    expectSoon(agent.loop, "context kernel\n- v1 v1 1\n- v0 v0 1\n");
    ip("addr add 10.1.2.3/24 dev v0");
    ip("link set v0 up");
    ip("link set v1 up");
    expectSoon(agent.loop, "context kernel\n- v1 v1 up\n- v0 v0 up 10.1.2.3/24\n");
    ip("link set v1 down");
    expectSoon(agent.loop, "context kernel\n- v1 v1 1\n- v0 v0 1 10.1.2.3/24\n");
    ip("link set v1 name lan");
    ip("addr add 10.0.0.2 peer 10.0.0.1/32 dev lan");
    expectSoon(agent.loop, "context kernel\n- lan lan 1 10.0.0.2/32\n- v0 v0 1 10.1.2.3/24\n");
    ip("addr del 10.1.2.3/24 dev v0");
    expectSoon(agent.loop, "context kernel\n- lan lan 1 10.0.0.2/32\n- v0 v0 1\n");
  });
}

TEST(KernelInterfaces, DeletionAndCreationUnderTheSameNameAreFollowed) {
  inNetworkNamespace([] {
    ip("link add v0 type veth peer name v1");
    ip("addr add 10.1.2.3/24 dev v0");
    Agent agent;
    EXPECT_EQ(rows(), "context kernel\n- v1 v1 1\n- v0 v0 1 10.1.2.3/24\n");
    ip("link del v0");
    ip("link add v0 type veth peer name v1");
    expectSoon(agent.loop, "context kernel\n- v1 v1 1\n- v0 v0 1\n");
    ip("link del v0");
    expectSoon(agent.loop, "context kernel\n");
  });
}

TEST(KernelInterfaces, LeavingABridgeIsNoDeletion) {
  inNetworkNamespace([] {
    ip("link add v0 type veth peer name v1");
    ip("link add br0 type bridge");
    Agent agent;
    ip("link set v0 master br0");
    ip("link set v0 nomaster");
    ip("link set v0 name port");
    expectSoon(agent.loop, "context kernel\n- v1 v1 1\n- port port 1\n- br0 br0 1\n");
  });
}

// More is told than a socket holds while nobody reads it.
TEST(KernelInterfaces, AfterAnOverflowEverythingIsReadAnewAndFollowed) {
  inNetworkNamespace([] {
    ip("link add v0 type veth peer name v1");
    Agent agent;
    EXPECT_EQ(rows(), "context kernel\n- v1 v1 1\n- v0 v0 1\n");
    std::string expected = "context kernel\n- v1 v1 1\n- v0 v0 1";
    FILE* batch = popen("ip -batch -", "w");  // NOLINT(cert-env33-c)
    ASSERT_NE(batch, nullptr);
    for (int i = 1; i <= 1500; ++i) {
      const std::string address = "10.0." + std::to_string(i / 250) + "." + std::to_string(i % 250 + 1) + "/32";
      std::fprintf(batch, "addr add %s dev v0\n", address.c_str());
      expected += " " + address;
    }
    EXPECT_EQ(pclose(batch), 0);
    expectSoon(agent.loop, expected + "\n");
    ip("addr flush dev v0");
    ip("link set v0 name other");
    expectSoon(agent.loop, "context kernel\n- v1 v1 1\n- other other 1\n");
  });
}

TEST(KernelInterfaces, OnALoopThatCannotWatchEveryTransactionReadsAnew) {
  inNetworkNamespace([] {
    KX::Testing::VirtualEventLoop loop;
    DB::Database database;
    loop.provide(&database);
    DB::KernelInterfaces interfaces(loop, database);
    ASSERT_TRUE(interfaces.start().isSuccess());
    EXPECT_EQ(rows(), "context kernel\n");
    ip("link add v0 type veth peer name v1");
    EXPECT_EQ(rows(), "context kernel\n- v1 v1 1\n- v0 v0 1\n");
  });
}

TEST(KernelInterfaces, WhatCannotBeReadFailsTheTransactionUntilItCan) {
  inNetworkNamespace([] {
    KX::Testing::VirtualEventLoop loop;
    DB::Database database;
    loop.provide(&database);
    DB::KernelInterfaces interfaces(loop, database);
    ASSERT_TRUE(interfaces.start().isSuccess());
    EXPECT_EQ(rows(), "context kernel\n");
    rlimit normal{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &normal), 0);
    rlimit none = normal;
    none.rlim_cur = 0;
    const std::string expected = std::string("Cannot read the kernel's interfaces: ") + std::strerror(EMFILE);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_EQ(interfaces.start().toString(), expected);
    EXPECT_EQ(walk().result.toString(), expected);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &normal), 0);
    EXPECT_EQ(rows(), "context kernel\n");
  });
}

TEST(KernelInterfaces, NothingChangesInsideATransaction) {
  inNetworkNamespace([] {
    Agent agent;
    DB::Transaction transaction;
    ASSERT_TRUE(transaction.start().isSuccess());
    ip("link add v0 type veth peer name v1");
    agent.loop.post([&] { agent.loop.stop(); });
    agent.loop.run();
    EXPECT_EQ(walkInTransaction(), "context kernel\n");
    ASSERT_TRUE(transaction.commit().isSuccess());
    expectSoon(agent.loop, "context kernel\n- v1 v1 1\n- v0 v0 1\n");
  });
}

TEST(KernelInterfaces, ItsEndLeavesTheRowsAsTheyAre) {
  inNetworkNamespace([] {
    ip("link add v0 type veth peer name v1");
    KX::UvEventLoop loop;
    DB::Database database;
    loop.provide(&database);
    {
      DB::KernelInterfaces interfaces(loop, database);
      ASSERT_TRUE(interfaces.start().isSuccess());
      EXPECT_EQ(rows(), "context kernel\n- v1 v1 1\n- v0 v0 1\n");
    }
    ip("link del v0");
    EXPECT_EQ(rows(), "context kernel\n- v1 v1 1\n- v0 v0 1\n");
  });
}

}  // namespace
