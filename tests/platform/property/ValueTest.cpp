// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "platform/property/Value.h"

namespace {

using KX::Property::Member;
using KX::Property::Value;

std::string json(const Value& value) { return std::string(value.toJson().view()); }

Value parsed(std::string_view text) {
  Value value;
  EXPECT_TRUE(value.fromJson(text).isSuccess()) << text;
  return value;
}

TEST(Value, IsSixteenBytesWide) { EXPECT_EQ(sizeof(Value), 16U); }

TEST(Value, IsUnsetAtFirst) {
  const Value value;
  EXPECT_FALSE(value.isValid());
  EXPECT_FALSE(value.isNull());
  EXPECT_EQ(value.size(), 0U);
  EXPECT_TRUE(value.isEmpty());
}

TEST(Value, UnsetIsNotNull) {
  EXPECT_TRUE(Value::null().isValid());
  EXPECT_TRUE(Value::null().isNull());
  EXPECT_FALSE(Value() == Value::null());
}

TEST(Value, TakesItsTypeFromWhatItIsMadeOf) {
  EXPECT_EQ(Value(true).type(), Value::Type::BOOLEAN);
  EXPECT_EQ(Value(1).type(), Value::Type::SIGNED);
  EXPECT_EQ(Value(1U).type(), Value::Type::UNSIGNED);
  EXPECT_EQ(Value(std::uint16_t{1}).type(), Value::Type::UNSIGNED);
  EXPECT_EQ(Value(1.0).type(), Value::Type::DOUBLE);
  EXPECT_EQ(Value("text").type(), Value::Type::STRING);
  EXPECT_EQ(Value(String("text")).type(), Value::Type::STRING);
  EXPECT_EQ(Value::array().type(), Value::Type::ARRAY);
  EXPECT_EQ(Value::object().type(), Value::Type::OBJECT);
}

TEST(Value, NoPointerTurnsIntoABoolean) {
  static_assert(!std::is_convertible_v<const void*, Value>);
  static_assert(!std::is_convertible_v<Value*, Value>);
}

TEST(Value, NullTextIsAnEmptyString) {
  const char* nothing = nullptr;
  EXPECT_EQ(json(Value(nothing)), "\"\"");
}

TEST(Value, KeepsMembersInTheOrderOfInsertion) {
  Value value;
  value["zebra"] = 1;
  value["ant"] = 2;
  value["cat"] = 3;
  value["ant"] = 4;
  EXPECT_EQ(json(value), R"({"zebra":1,"ant":4,"cat":3})");
}

TEST(Value, ReadingWhatIsNotThereGivesUnsetAndAddsNothing) {
  const Value object = parsed(R"({"a":1})");
  EXPECT_FALSE(object["b"].isValid());
  EXPECT_FALSE(object[0].isValid());
  EXPECT_FALSE(object["b"]["c"][7].isValid());
  const Value array = parsed("[1]");
  EXPECT_FALSE(array[1].isValid());
  EXPECT_FALSE(array[-1].isValid());
  EXPECT_FALSE(array["a"].isValid());
  EXPECT_FALSE(Value(5)["a"].isValid());
  EXPECT_EQ(json(object), R"({"a":1})");
}

TEST(Value, FindsAMemberThatIsUnset) {
  Value value = Value::object();
  value["a"] = Value();
  EXPECT_NE(value.find("a"), nullptr);
  EXPECT_EQ(value.find("b"), nullptr);
  EXPECT_EQ(Value().find("a"), nullptr);
}

TEST(Value, EveryIntegerTypeIsAnIndex) {
  Value array = parsed("[10,11]");
  EXPECT_EQ(array[1].toIntOr(0), 11);
  EXPECT_EQ(array[1U].toIntOr(0), 11);
  EXPECT_EQ(array[std::size_t{1}].toIntOr(0), 11);
  EXPECT_EQ(array[std::uint64_t{1}].toIntOr(0), 11);
}

TEST(Value, WritingAMemberMakesAnObjectOfAnythingElse) {
  Value value = "text";
  value["a"]["b"]["c"] = true;
  EXPECT_EQ(json(value), R"({"a":{"b":{"c":true}}})");
}

TEST(Value, AddingMakesAnArrayOfAnythingElse) {
  Value value = 7;
  value.add(1).add("inner");
  EXPECT_EQ(json(value), R"([["inner"]])");
}

TEST(Value, GrowsElementByElement) {
  Value value;
  for (int i = 0; i < 1000; ++i) value.add(i);
  ASSERT_EQ(value.size(), 1000U);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(value[i].toIntOr(-1), i);
}

TEST(Value, ReservingDoesNotChangeWhatItIs) {
  EXPECT_EQ(Value::array(100), Value::array());
  EXPECT_EQ(Value::array(), Value::array(100));
  EXPECT_EQ(Value::object(100), Value::object());
  EXPECT_EQ(json(Value::array(100)), "[]");
}

TEST(Value, WalksElementsAndMembers) {
  const Value value = parsed(R"({"a":[1,2,3],"b":null})");
  std::vector<std::string> keys;
  for (const Member& member : value.members()) keys.emplace_back(member.key.view());
  EXPECT_EQ(keys, (std::vector<std::string>{"a", "b"}));
  int sum = 0;
  for (const Value& element : value["a"].elements()) sum += element.toIntOr(0);
  EXPECT_EQ(sum, 6);
  EXPECT_TRUE(value.elements().empty());
  EXPECT_TRUE(value["a"].members().empty());
}

TEST(Value, ACopyThatIsWrittenLeavesTheOtherUnchanged) {
  const Value original = parsed(R"({"a":[1,{"b":"c"}],"d":"e"})");
  Value copy = original;
  copy["a"][1]["b"] = "changed";
  copy["a"].add(2);
  copy["f"] = true;
  EXPECT_EQ(json(original), R"({"a":[1,{"b":"c"}],"d":"e"})");
  EXPECT_EQ(json(copy), R"({"a":[1,{"b":"changed"},2],"d":"e","f":true})");
}

TEST(Value, CopiesShareUntilOneIsWritten) {
  const Value original = parsed(R"({"a":[1],"b":[2]})");
  Value copy = original;
  EXPECT_EQ(original.members().data(), copy.members().data());
  copy["b"] = 3;
  EXPECT_NE(original.members().data(), copy.members().data());
  EXPECT_EQ(original["a"].elements().data(), std::as_const(copy)["a"].elements().data());
}

TEST(Value, WritingTheOnlyReferenceCopiesNothing) {
  Value value = parsed(R"([[1],[2]])");
  const Value* first = value.elements().data();
  value[1][0] = 5;
  EXPECT_EQ(value.elements().data(), first);
}

TEST(Value, AMovedValueIsUnset) {
  Value value = parsed("[1]");
  const Value moved = std::move(value);
  // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move): what this test is about
  EXPECT_FALSE(value.isValid());
  EXPECT_EQ(json(moved), "[1]");
}

TEST(Value, CanBePutIntoItself) {
  Value value = parsed(R"({"a":1})");
  value["self"] = value;
  EXPECT_EQ(json(value), R"({"a":1,"self":{"a":1}})");
  Value array = parsed("[1]");
  array.add(array);
  array.add(array[0]);
  EXPECT_EQ(json(array), "[1,[1],1]");
}

TEST(Value, CanBecomeAPartOfItself) {
  Value value = parsed(R"({"a":{"b":[1,2]}})");
  value = value["a"]["b"];
  EXPECT_EQ(json(value), "[1,2]");
}

TEST(Value, MergeOverwritesInPlaceAndAppendsTheRest) {
  Value value = parsed(R"({"a":1,"b":{"x":1},"c":3})");
  value.merge(parsed(R"({"c":30,"b":{"y":2},"d":4})"), true);
  EXPECT_EQ(json(value), R"({"a":1,"b":{"y":2},"c":30,"d":4})");
}

TEST(Value, MergeKeepsWhatIsThereWhenToldTo) {
  Value value = parsed(R"({"a":1,"b":null})");
  value.merge(parsed(R"({"b":2,"c":3})"), false);
  EXPECT_EQ(json(value), R"({"a":1,"b":null,"c":3})");
}

TEST(Value, MergeTakesObjectsOnly) {
  Value value = parsed(R"({"a":1})");
  value.merge(Value(5), true);
  value.merge(parsed("[1]"), true);
  EXPECT_EQ(json(value), R"({"a":1})");
  Value unset;
  unset.merge(Value(), true);
  EXPECT_FALSE(unset.isValid());
  unset.merge(value, true);
  EXPECT_EQ(json(unset), R"({"a":1})");
}

TEST(Value, MergeWithItselfOrAPartOfItself) {
  Value value = parsed(R"({"a":{"b":1},"b":2})");
  value.merge(value, true);
  EXPECT_EQ(json(value), R"({"a":{"b":1},"b":2})");
  value.merge(value["a"], true);
  EXPECT_EQ(json(value), R"({"a":{"b":1},"b":1})");
}

TEST(Value, MergedObjectsShareNothingThatIsWritten) {
  const Value source = parsed(R"({"a":[1]})");
  Value target;
  target.merge(source, true);
  target["a"].add(2);
  EXPECT_EQ(json(source), R"({"a":[1]})");
}

TEST(Value, EqualityComparesContents) {
  const char* text = R"({"a":[1,2.5,"x",null,true],"b":{}})";
  EXPECT_EQ(parsed(text), parsed(text));
  EXPECT_FALSE(parsed("[1]") == parsed("[2]"));
  EXPECT_FALSE(parsed("[1]") == parsed("[1,2]"));
  EXPECT_FALSE(parsed("[[]]") == parsed("[{}]"));
  EXPECT_FALSE(parsed(R"({"a":1})") == parsed(R"({"b":1})"));
  EXPECT_FALSE(parsed(R"({"a":"x"})") == parsed(R"({"a":"y"})"));
  EXPECT_EQ(Value(), Value());
  EXPECT_EQ(Value::null(), Value::null());
  EXPECT_FALSE(Value(true) == Value(false));
  EXPECT_FALSE(Value(1) == Value(true));
}

TEST(Value, EqualityHeedsTheOrderOfMembers) { EXPECT_FALSE(parsed(R"({"a":1,"b":2})") == parsed(R"({"b":2,"a":1})")); }

TEST(Value, IntegersAreEqualAcrossSignednessAndNothingElseIs) {
  EXPECT_EQ(Value(5), Value(5U));
  EXPECT_EQ(Value(5U), Value(5));
  EXPECT_FALSE(Value(-1) == Value(18446744073709551615U));
  EXPECT_FALSE(Value(18446744073709551615U) == Value(-1));
  EXPECT_FALSE(Value(5) == Value(5.0));
  EXPECT_EQ(Value(0.0), Value(-0.0));
}

TEST(Value, LargeObjectsFindEveryMember) {
  Value value;
  for (int i = 0; i < 5000; ++i) value[String::format("key %d", i)] = i;
  for (int i = 0; i < 5000; i += 7) value[String::format("key %d", i)] = -i;
  ASSERT_EQ(value.size(), 5000U);
  Value copy = value;
  copy["another"] = true;
  for (int i = 0; i < 5000; ++i) {
    const String key = String::format("key %d", i);
    EXPECT_EQ(std::as_const(value)[key].toIntOr(1), i % 7 == 0 ? -i : i);
    EXPECT_EQ(std::as_const(copy)[key], std::as_const(value)[key]);
  }
  EXPECT_EQ(value.find("another"), nullptr);
  EXPECT_EQ(value.find(""), nullptr);
  EXPECT_EQ(copy.members()[5000].key, "another");
}

TEST(Value, EmptyAndStrangeKeysAreKeys) {
  Value value;
  value[""] = 1;
  value[String("a\0b", 3)] = 2;
  value["a"] = 3;
  EXPECT_EQ(value[""].toIntOr(0), 1);
  EXPECT_EQ(value[String("a\0b", 3)].toIntOr(0), 2);
  EXPECT_EQ(value["a"].toIntOr(0), 3);
}

TEST(Value, NestingHasNoDepthThatBreaksIt) {
  constexpr int DEPTH = 100000;
  Value value = 1;
  Value other = 1;
  for (int i = 0; i < DEPTH; ++i) {
    Value outer;
    outer.add(std::move(value));
    value = std::move(outer);
    Value otherOuter;
    otherOuter["k"] = std::move(other);
    other = std::move(otherOuter);
  }
  const Value shared = value;
  EXPECT_EQ(value.toJson().length(), 2U * DEPTH + 1);
  EXPECT_EQ(other.toJson().length(), 6U * DEPTH + 1);
  EXPECT_FALSE(value == other);
}

}  // namespace
