// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "bench/sync/SyncProgram.h"
#include "bench/sync/SyncTreeNodes.h"

// A sync as one writes it by hand with a JSON library of trees: the request becomes a tree, each node is taken out of
// it into the list, the answer is built as a tree and that is written. The library comes as an adapter, an object of
// which stands for a tree that is made:
//   Value, Object, Array                    its types; an Object keeps the order of its members
//   Value parse(text)
//   Object object(size), Array array(size)  empty ones with room for so many
//   static:
//   const Value* find(value, key)           a member of an object, null if there is none
//   std::string textOf(value), Number numberOf<Number>(value)
//   const auto& elementsOf(value)           of an array
//   void forEachMember(value, call)         of an object: call(key, value)
//   void add(object, key, value)            a new member: a text, a number, an object or an array
//   void append(array, object)
//   std::string write(object)
template <class Tree>
class SyncTree final : public SyncProgram {
 public:
  std::string sync(std::string_view request) override {
    const Tree tree;
    Object answer = tree.object(5);
    take(Tree().parse(request), answer);
    Array nodes = tree.array(nodes_.all().size());
    for (const Node& node : nodes_.all()) Tree::append(nodes, wireObject(tree, node));
    Tree::add(answer, "nodes", std::move(nodes));
    return Tree::write(answer);
  }

 private:
  using Value = typename Tree::Value;
  using Object = typename Tree::Object;
  using Array = typename Tree::Array;
  using Node = SyncTreeNodes::Node;
  static constexpr std::size_t MOST_MEMBERS = 7;

  void take(const Value& request, Object& answer) {
    Tree::add(answer, "kind", "ack");
    Tree::add(answer, "service", textOf(request, "service"));
    Tree::add(answer, "name", textOf(request, "name"));
    Tree::add(answer, "id", Tree::template numberOf<int>(*Tree::find(request, "id")));
    for (const Value& element : Tree::elementsOf(*Tree::find(request, "nodes"))) nodes_.add(read(element));
  }

  static std::string textOf(const Value& object, const char* key) {
    const Value* member = Tree::find(object, key);
    return member == nullptr ? std::string() : Tree::textOf(*member);
  }

  static Node read(const Value& element) {
    Node node;
    node.ipAddress = textOf(element, "ipAddress");
    node.physicalAddress = textOf(element, "physicalAddress");
    node.interface = textOf(element, "interface");
    node.model = textOf(element, "model");
    node.systemObjectID = textOf(element, "systemObjectID");
    node.supportsOnboarding = Tree::find(element, "supportsOnboarding") != nullptr;
    node.status = SyncTreeNodes::statusNamed(textOf(element, "status"));
    node.statusChangeDate = textOf(element, "statusChangeDate");
    if (const Value* services = Tree::find(element, "services"); services != nullptr) {
      Tree::forEachMember(*services, [&](std::string_view name, const Value& service) {
        node.addService({std::string(name), Tree::template numberOf<std::uint16_t>(*Tree::find(service, "port"))});
      });
    }
    return node;
  }

  static Object wireObject(const Tree& tree, const Node& node) {
    Object object = tree.object(MOST_MEMBERS);
    const auto addUnlessEmpty = [&](const char* key, const std::string& text) {
      if (!text.empty()) Tree::add(object, key, text);
    };
    Tree::add(object, "ipAddress", node.ipAddress);
    addUnlessEmpty("physicalAddress", node.physicalAddress);
    addUnlessEmpty("interface", node.interface);
    addUnlessEmpty("model", node.model);
    addUnlessEmpty("systemObjectID", node.systemObjectID);
    if (node.supportsOnboarding) Tree::add(object, "supportsOnboarding", true);
    Tree::add(object, "status", SyncTreeNodes::nameOf(node.status));
    addUnlessEmpty("statusChangeDate", node.statusChangeDate);
    if (!node.services.empty()) Tree::add(object, "services", wireServices(tree, node));
    return object;
  }

  static Object wireServices(const Tree& tree, const Node& node) {
    Object services = tree.object(node.services.size());
    for (const SyncTreeNodes::Service& service : node.services) {
      Object port = tree.object(1);
      Tree::add(port, "port", service.port);
      Tree::add(services, service.name, std::move(port));
    }
    return services;
  }

  SyncTreeNodes nodes_;
};
