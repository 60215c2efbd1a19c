// SPDX-License-Identifier: Apache-2.0
#include <nlohmann/json.hpp>

#include "bench/sync/SyncTree.h"

namespace {

// Its usual type sorts the members of an object; this one, which keeps their order, is the faster one for small
// objects.
struct NlohmannTree {
  using Value = nlohmann::ordered_json;
  using Object = Value;
  using Array = Value;

  static Value parse(std::string_view text) { return Value::parse(text); }
  static std::string write(const Object& object) { return object.dump(); }
  static const Value* find(const Value& object, const char* key) {
    const auto member = object.find(key);
    return member == object.end() ? nullptr : &*member;
  }
  static const std::string& textOf(const Value& value) { return value.get_ref<const std::string&>(); }
  template <class Number>
  static Number numberOf(const Value& value) {
    return value.get<Number>();
  }
  static const Value& elementsOf(const Value& value) { return value; }
  template <class Call>
  static void forEachMember(const Value& object, const Call& call) {
    for (const auto& [name, value] : object.get_ref<const Value::object_t&>()) call(name, value);
  }
  static Object object(std::size_t size) {
    Value object = Value::object();
    object.get_ref<Value::object_t&>().reserve(size);
    return object;
  }
  static Array array(std::size_t size) {
    Value array = Value::array();
    array.get_ref<Value::array_t&>().reserve(size);
    return array;
  }
  template <class Key, class Member>
  static void add(Object& object, const Key& key, Member&& member) {
    object.emplace(key, std::forward<Member>(member));
  }
  static void append(Array& array, Object object) { array.push_back(std::move(object)); }
};

}  // namespace

std::unique_ptr<SyncProgram> makeNlohmannSync() { return std::make_unique<SyncTree<NlohmannTree>>(); }
