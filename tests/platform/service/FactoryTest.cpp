// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <thread>

#include "platform/service/Factory.h"
#include "tests/platform/service/EchoService.h"

using namespace KX::NMS;

namespace {

Factory& registry() { return Factory::INSTANCE(); }

void enter(const String& name, ServiceFactoryIf& factory) {
  const std::lock_guard guard(registry().getLock());
  registry().registerServiceFactory(name, Direction::OPENED_BY_SERVER, Demand::ON_REQUEST, ProtocolPhase::OPEN,
                                    &factory);
}

}  // namespace

TEST(FactoryTest, RegistrationKeepsWhatItWasTold) {
  EchoFactory echo;
  enter("a"_s, echo.factory);
  const auto registrations = registry().registrations();
  ASSERT_EQ(registrations.size(), 1U);
  EXPECT_EQ(registrations[0].name, "a");
  EXPECT_EQ(static_cast<unsigned>(registrations[0].direction), 0U);
  EXPECT_EQ(static_cast<unsigned>(registrations[0].demand), 1U);
  EXPECT_EQ(static_cast<unsigned>(registrations[0].protocolPhase), 4U);
  EXPECT_EQ(registrations[0].factory, &echo.factory);
}

TEST(FactoryTest, FactoryLeavesWhenItIsDestroyed) {
  {
    EchoFactory echo;
    enter("a"_s, echo.factory);
    EXPECT_EQ(registry().find("a"_s), &echo.factory);
  }
  EXPECT_EQ(registry().find("a"_s), nullptr);
  EXPECT_TRUE(registry().registrations().isEmpty());
}

TEST(FactoryTest, LastOfOneNameIsFoundAndTheOthersStay) {
  EchoFactory first;
  enter("a"_s, first.factory);
  {
    EchoFactory second;
    enter("a"_s, second.factory);
    EXPECT_EQ(registry().find("a"_s), &second.factory);
    EXPECT_EQ(registry().registrations().size(), 2U);
  }
  EXPECT_EQ(registry().find("a"_s), &first.factory);
  EXPECT_EQ(registry().find("b"_s), nullptr);
}

TEST(FactoryTest, SecondRegistrationOfAFactoryReplacesTheFirst) {
  EchoFactory echo;
  enter("a"_s, echo.factory);
  enter("b"_s, echo.factory);
  EXPECT_EQ(registry().find("a"_s), nullptr);
  EXPECT_EQ(registry().find("b"_s), &echo.factory);
}

TEST(FactoryTest, RemovingAnUnknownFactoryChangesNothing) {
  EchoFactory echo;
  EchoFactory other;
  enter("a"_s, echo.factory);
  registry().removeServiceFactory(&other.factory);
  EXPECT_EQ(registry().registrations().size(), 1U);
}

TEST(FactoryTest, InstanceNamesCountOn) {
  const unsigned long first = std::strtoul(registry().nextInstanceName().c_str(), nullptr, 10);
  EXPECT_GE(first, 1U);
  EXPECT_EQ(registry().nextInstanceName(), std::to_string(first + 1).c_str());
}

TEST(FactoryTest, InstanceNamesOfSeveralThreadsDiffer) {
  std::vector<std::string> names[4];
  std::vector<std::thread> threads;
  for (auto& mine : names) {
    threads.emplace_back([&mine] {
      for (int i = 0; i < 1000; ++i) mine.emplace_back(registry().nextInstanceName().c_str());
    });
  }
  for (auto& thread : threads) thread.join();
  std::set<std::string> all;
  for (const auto& mine : names) all.insert(mine.begin(), mine.end());
  EXPECT_EQ(all.size(), 4000U);
}

TEST(FactoryTest, ThousandsOfFactoriesComeAndGo) {
  std::vector<std::unique_ptr<EchoFactory>> clients;
  for (int i = 0; i < 5000; ++i) {
    clients.push_back(std::make_unique<EchoFactory>());
    enter("a"_s, clients.back()->factory);
    EXPECT_EQ(registry().find("a"_s), &clients.back()->factory);
  }
  clients.clear();
  EXPECT_TRUE(registry().registrations().isEmpty());
}

TEST(FactoryTest, InfoShowsTheRegistrations) {
  EchoFactory echo;
  enter("a"_s, echo.factory);
  InfoContainer info;
  registry().getInfo(info, 5, 0, 5, 0, "NMS "_s);
  EXPECT_EQ(info.toText(), "NMS Service factories: 1\n  a: direction 0, demand 1, protocol phase 4\n");
  InfoContainer shallow;
  registry().getInfo(shallow, 0, 0, 5, 0, String());
  EXPECT_EQ(shallow.rows().size(), 1U);
}
