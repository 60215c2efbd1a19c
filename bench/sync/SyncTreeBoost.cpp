// SPDX-License-Identifier: Apache-2.0
#include <boost/json.hpp>

#include "bench/sync/SyncTree.h"

namespace {

class BoostTree {
 public:
  using Value = boost::json::value;
  using Object = boost::json::object;
  using Array = boost::json::array;

  Value parse(std::string_view text) const { return boost::json::parse(text, storage_); }
  static std::string write(const Object& object) { return boost::json::serialize(object); }
  static const Value* find(const Value& object, const char* key) { return object.as_object().if_contains(key); }
  static std::string textOf(const Value& value) { return std::string(value.as_string()); }
  template <class Number>
  static Number numberOf(const Value& value) {
    return value.to_number<Number>();
  }
  static const Array& elementsOf(const Value& value) { return value.as_array(); }
  template <class Call>
  static void forEachMember(const Value& object, const Call& call) {
    for (const auto& member : object.as_object()) call(member.key(), member.value());
  }
  Object object(std::size_t size) const {
    Object object(storage_);
    object.reserve(size);
    return object;
  }
  Array array(std::size_t size) const {
    Array array(storage_);
    array.reserve(size);
    return array;
  }
  template <class Member>
  static void add(Object& object, std::string_view key, Member&& member) {
    object.emplace(key, std::forward<Member>(member));
  }
  static void append(Array& array, Object object) { array.emplace_back(std::move(object)); }

 private:
  // What the library's authors recommend for a tree that grows to its end and goes as a whole.
  boost::json::storage_ptr storage_ = boost::json::make_shared_resource<boost::json::monotonic_resource>();
};

}  // namespace

std::unique_ptr<SyncProgram> makeBoostSync() { return std::make_unique<SyncTree<BoostTree>>(); }
