// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <random>

#include "discovery/repository/Repository.h"
#include "platform/testing/VirtualEventLoop.h"

namespace KX::NMS::Discovery {
namespace {

using Services = KXStringHashTable<Service>;

constexpr const char* IP = "192.0.2.20";

class ServiceUpdateTest : public testing::Test {
 protected:
  ServiceUpdateTest() : node_(repository_.addManualNode(IP, nullptr)) {}

  String wire() const { return node_->toPropertyValue(Node::WithServices).toJson(); }
  // Whether the update marks the node.
  bool marks(const Services& services, const char* model = "", const char* systemObjectID = "") {
    node_->clearRecentlyDiscoveredServices();
    static_cast<void>(repository_.setDiscoveredServices(IP, services, model, systemObjectID));
    return node_->hasRecentlyDiscoveredServices();
  }

  KX::Testing::VirtualEventLoop loop_;
  Repository repository_;
  KXLWPtr<Node> node_;
};

TEST_F(ServiceUpdateTest, TextsThatDifferOnlyInInvalidBytesAreNoChange) {
  EXPECT_TRUE(marks({}, "X\xff"));
  EXPECT_FALSE(marks({}, "X\xfe"));
  EXPECT_EQ(node_->model(), "X\xfe");
  EXPECT_TRUE(marks({}, "X"));
}

TEST_F(ServiceUpdateTest, AServiceHiddenByAnotherOfItsNameIsNoChange) {
  Services both;
  both.set("a", {"web", 80});
  both.set("b", {"web", 81});
  EXPECT_TRUE(marks(both));
  const String shown = wire();
  Services hidden;
  const bool isFirst = shown.view().find("81") != std::string_view::npos;
  hidden.set(isFirst ? "a" : "b", {"web", 99});
  EXPECT_FALSE(marks(hidden));
  EXPECT_EQ(wire(), shown);
}

TEST_F(ServiceUpdateTest, NodesOfTheSameServicesShareTheirTableUntilOneChanges) {
  const auto found = [](std::uint16_t port) {
    Services services;
    services.set("http", {"http", port});
    return services;
  };
  const KXLWPtr<Node> other = repository_.addManualNode("192.0.2.21", nullptr);
  EXPECT_TRUE(marks(found(80)));
  static_cast<void>(repository_.setDiscoveredServices("192.0.2.21", found(80), "", ""));
  EXPECT_TRUE(other->services().isSharedWith(node_->services()));
  EXPECT_FALSE(marks(found(80)));
  EXPECT_TRUE(marks(found(8080)));
  EXPECT_FALSE(other->services().isSharedWith(node_->services()));
  EXPECT_EQ(other->services().find("http")->port, 80);
}

TEST_F(ServiceUpdateTest, ARenamedServiceIsAChange) {
  Services services;
  services.set("a", {"a", 80});
  EXPECT_TRUE(marks(services));
  services.set("a", {"b", 80});
  EXPECT_TRUE(marks(services));
  services.set("a", {"a", 80});
  EXPECT_TRUE(marks(services));
  EXPECT_FALSE(marks(services));
}

TEST_F(ServiceUpdateTest, MarksWheneverTheTextDiffersAndOnlyThen) {
  std::mt19937 random(5);
  const auto pick = [&](std::initializer_list<const char*> texts) { return texts.begin()[random() % texts.size()]; };
  int marked = 0;
  for (int step = 0; step < 5000; ++step) {
    Services services;
    for (auto i = random() % 3; i > 0; --i) {
      const char* key = pick({"a", "b", "c", "x\xff", "x\xfe"});
      const char* name = random() % 8 == 0 ? pick({"a", "b", "x\xff"}) : key;
      services.set(key, {name, static_cast<std::uint16_t>(random() % 3)});
    }
    const String before = wire();
    const bool isMarked = marks(services, pick({"", "", "M", "M\xff", "M\xfe"}), pick({"", "", "", "1.3"}));
    ASSERT_EQ(isMarked, !(wire() == before)) << step << " " << before.c_str() << " " << wire().c_str();
    marked += isMarked ? 1 : 0;
    // A name other than the key stays for good.
    if (step % 20 != 0) continue;
    repository_.removeNode(IP);
    node_ = repository_.addManualNode(IP, nullptr);
  }
  EXPECT_GT(marked, 100);
}

}  // namespace
}  // namespace KX::NMS::Discovery
