// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "discovery/common/Limits.h"
#include "discovery/common/Validation.h"
#include "platform/testing/Corpus.h"
#include "tests/discovery/common/Json.h"

namespace KX::NMS::Discovery {
namespace {

using Property::Value;

std::string check(const Value& description) {
  const String text = validateJobDescriptionWhat(description).toString();
  Testing::addToCorpus(text);
  return text.c_str();
}
std::string check(const char* text) { return check(json(text)); }

TEST(ValidationWhatTest, RefusesWhatIsNoObject) {
  EXPECT_EQ(check("[]"), "Expecting job description object");
  EXPECT_EQ(check("\"node\""), "Expecting job description object");
  EXPECT_EQ(check("null"), "Expecting job description object");
  EXPECT_EQ(check(Value()), "Expecting job description object");
  EXPECT_EQ(validateJobDescriptionWhat(Value()).code(), 1);
}

TEST(ValidationWhatTest, AcceptsWhatIsHandledWhereTheJobIsPreparedOrInvoked) {
  EXPECT_EQ(check("{}"), "");
  EXPECT_EQ(check(R"({"id":""})"), "");
  EXPECT_EQ(check(R"({"id":"a","scanType":"Node"})"), "");
  EXPECT_EQ(check(R"({"id":"a","scanType":7})"), "");
  EXPECT_EQ(check(R"({"id":"a","scanType":"service"})"), "");
  EXPECT_EQ(check(R"({"id":"a","scanType":"node","colour":"blue"})"), "");
}

TEST(ValidationWhatTest, RefusesAnIdWithASlashABlankOrAControlCharacter) {
  for (const char* id : {R"({"id":"a/b"})", R"({"id":"/"})", R"({"id":"a b"})", R"({"id":" "})", R"({"id":"a\tb"})",
                         R"({"id":"a\nb"})", R"({"id":"a\u0000b"})", R"({"id":"a\u007f"})", R"({"id":"a\u0080b"})",
                         R"({"id":"\u0085"})", R"({"id":"a\u009f"})"}) {
    EXPECT_EQ(check(id), "Invalid job id") << id;
  }
  EXPECT_EQ(check(R"({"id":"nightly-7_a.b:c%s\\é\u00a0"})"), "");
}

TEST(ValidationWhatTest, RefusesAnIdOfMoreThan150Bytes) {
  Value description = Value::object();
  description["id"] = String(std::string(150, 'x'));
  EXPECT_EQ(check(description), "");
  description["id"] = String(std::string(151, 'x'));
  EXPECT_EQ(check(description), "Invalid job id");
  // Bytes, not characters.
  std::string text;
  for (int i = 0; i < 76; ++i) text += "é";
  description["id"] = String(text);
  EXPECT_EQ(check(description), "Invalid job id");
}

TEST(ValidationWhatTest, RefusesInterfacesThatAreNoArrayOfObjects) {
  for (const char* text : {R"({"interfaces":{}})", R"({"interfaces":"lan"})", R"({"interfaces":null})",
                           R"({"interfaces":["lan"]})", R"({"interfaces":[{},7]})"}) {
    EXPECT_EQ(check(text), "Expecting interfaces array") << text;
  }
  EXPECT_EQ(check(R"({"interfaces":[]})"), "");
  EXPECT_EQ(check(R"({"interfaces":[{},{"regex":"^LAN","privateNetworksOnly":false}]})"), "");
}

Value withRules(std::size_t count) {
  Value description = json(R"({"interfaces":[]})");
  for (std::size_t i = 0; i < count; ++i) description["interfaces"].add(json(R"({"regex":"^LAN"})"));
  return description;
}

TEST(ValidationWhatTest, AcceptsSixtyFourInterfaceRulesAndNotOneMore) {
  EXPECT_EQ(check(withRules(Limits::INTERFACE_RULES - 1)), "");
  EXPECT_EQ(check(withRules(Limits::INTERFACE_RULES)), "");
  EXPECT_EQ(check(withRules(Limits::INTERFACE_RULES + 1)), "Too many interface rules");
}

TEST(ValidationWhatTest, RulesOfSubJobsCountAsOftenAsTheyAreWritten) {
  Value sequence = json(R"({"scanType":"sequence","jobs":[]})");
  Value item = withRules(Limits::INTERFACE_RULES / 2);
  item["scanType"] = "node";
  item["repeat"] = 1000;
  sequence["jobs"].add(item);
  EXPECT_EQ(check(sequence), "");
  Value outer = json(R"({"scanType":"sequence","jobs":[]})");
  outer["jobs"].add(sequence);
  outer["jobs"].add(item);
  EXPECT_EQ(check(outer), "");
  outer["interfaces"] = json("[{}]");
  EXPECT_EQ(check(outer), "Too many interface rules");
}

TEST(ValidationWhatTest, TheNumberOfRulesIsCheckedBeforeTheRules) {
  Value description = withRules(Limits::INTERFACE_RULES);
  description["interfaces"].add(json(R"({"regex":7})"));
  EXPECT_EQ(check(description), "Too many interface rules");
  description["interfaces"].add(7);
  EXPECT_EQ(check(description), "Expecting interfaces array");
}

TEST(ValidationWhatTest, RefusesARegexThatIsNoString) {
  EXPECT_EQ(check(R"({"interfaces":[{"regex":7}]})"), "Expecting interface regex string");
  EXPECT_EQ(check(R"({"interfaces":[{"regex":null}]})"), "Expecting interface regex string");
  EXPECT_EQ(check(R"({"interfaces":[{"regex":"LAN"},{"regex":["LAN"]}]})"), "Expecting interface regex string");
}

TEST(ValidationWhatTest, RefusesARegexThatDoesNotCompile) {
  EXPECT_EQ(check(R"x({"interfaces":[{"regex":"LAN"},{"regex":"(LAN"}]})x"),
            "Invalid interface regex (LAN: missing ): (LAN");
  EXPECT_EQ(check(R"({"interfaces":[{"regex":"*"}]})"),
            "Invalid interface regex *: no argument for repetition operator: *");
  EXPECT_EQ(check(R"({"interfaces":[{"regex":"a\u0000("}]})"), "Invalid interface regex a\\x00(: missing ): a\\x00(");
}

TEST(ValidationWhatTest, RefusesARegexOfMoreThan1024Bytes) {
  Value description = json(R"({"interfaces":[{}]})");
  description["interfaces"][0]["regex"] = String(std::string(1024, 'x'));
  EXPECT_EQ(check(description), "");
  description["interfaces"][0]["regex"] = String(std::string(1025, 'x'));
  EXPECT_EQ(check(description), "Invalid interface regex " + std::string(1025, 'x') + ": too long");
}

TEST(ValidationWhatTest, RefusesARegexThatTakesTooMuchMemory) {
  EXPECT_EQ(check(R"({"interfaces":[{"regex":"\\pL{40}"}]})"),
            "Invalid interface regex \\pL{40}: pattern too large - compile failed");
}

TEST(ValidationWhatTest, AcceptsAnEmptyRegex) { EXPECT_EQ(check(R"({"interfaces":[{"regex":""}]})"), ""); }

TEST(ValidationWhatTest, RefusesServicesThatAreNoObjectOfObjectsWithPortArrays) {
  for (const char* text : {R"({"services":[]})", R"({"services":null})", R"({"services":{"sip":5060}})",
                           R"({"services":{"sip":{},"http":[80]}})", R"({"services":{"sip":{"ports":5060}}})",
                           R"({"services":{"sip":{"ports":null}}})"}) {
    EXPECT_EQ(check(text), "Expecting services object") << text;
  }
  EXPECT_EQ(check(R"({"services":{}})"), "");
  EXPECT_EQ(check(R"({"services":{"sip":{},"http":{"ports":[80,"x"]}}})"), "");
}

TEST(ValidationWhatTest, RefusesServicePrioritiesThatAreNoArray) {
  EXPECT_EQ(check(R"({"servicePriorities":"sip"})"), "Expecting servicePriorities array");
  EXPECT_EQ(check(R"({"servicePriorities":null})"), "Expecting servicePriorities array");
  EXPECT_EQ(check(R"({"servicePriorities":["sip",7]})"), "");
}

TEST(ValidationWhatTest, RefusesJobsThatAreNoArrayOfObjects) {
  for (const char* text : {R"({"jobs":{}})", R"({"jobs":null})", R"({"jobs":["node"]})", R"({"jobs":[{},[]]})"}) {
    EXPECT_EQ(check(text), "Expecting jobs array") << text;
  }
  EXPECT_EQ(check(R"({"scanType":"sequence","jobs":[]})"), "");
}

TEST(ValidationWhatTest, ItemsOfJobsAreCheckedByTheSameRules) {
  EXPECT_EQ(check(R"({"jobs":[{"id":"a b"}]})"), "Invalid job id");
  EXPECT_EQ(check(R"({"jobs":[{},{"interfaces":7}]})"), "Expecting interfaces array");
  EXPECT_EQ(check(R"({"jobs":[{"services":7}]})"), "Expecting services object");
  EXPECT_EQ(check(R"({"jobs":[{"jobs":[{"servicePriorities":7}]}]})"), "Expecting servicePriorities array");
  EXPECT_EQ(check(R"({"jobs":[{"jobs":7}]})"), "Expecting jobs array");
}

TEST(ValidationWhatTest, FirstTroubleInTheOrderOfTheRulesIsReported) {
  EXPECT_EQ(check(R"({"jobs":7,"servicePriorities":7,"services":7,"interfaces":7,"id":"/"})"), "Invalid job id");
  EXPECT_EQ(check(R"({"jobs":7,"servicePriorities":7,"services":7,"interfaces":7})"), "Expecting interfaces array");
  EXPECT_EQ(check(R"({"jobs":7,"servicePriorities":7,"services":7})"), "Expecting services object");
  EXPECT_EQ(check(R"({"jobs":7,"servicePriorities":7})"), "Expecting servicePriorities array");
}

Value sequenceOf(const char* scanType, std::uint64_t repeat) {
  Value sequence = json(R"({"scanType":"sequence","jobs":[{}]})");
  sequence["jobs"][0]["scanType"] = scanType;
  sequence["jobs"][0]["repeat"] = repeat;
  return sequence;
}

Value nest(const Value& sequence, std::uint64_t repeat) {
  Value outer = json(R"({"scanType":"sequence","jobs":[]})");
  Value item = sequence;
  item["repeat"] = repeat;
  outer["jobs"].add(item);
  return outer;
}

TEST(ValidationWhatTest, AcceptsTenThousandSubJobsAndNotOneMore) {
  EXPECT_EQ(check(sequenceOf("node", Limits::SUB_JOBS)), "");
  EXPECT_EQ(check(sequenceOf("node", Limits::SUB_JOBS + 1)), "Too many sub-jobs");
  EXPECT_EQ(check(sequenceOf("node", 4294967295U)), "Too many sub-jobs");
  Value sequence = sequenceOf("status", Limits::SUB_JOBS);
  sequence["jobs"].add(json(R"({"scanType":"node"})"));
  EXPECT_EQ(check(sequence), "Too many sub-jobs");
}

TEST(ValidationWhatTest, NestedSequencesAreMultipliedOutAndCountedThemselves) {
  // 100 nested sequences of 99 jobs, and the sequences themselves.
  EXPECT_EQ(check(nest(sequenceOf("node", 99), 100)), "");
  EXPECT_EQ(check(nest(sequenceOf("node", 100), 100)), "Too many sub-jobs");
  // Empty nested sequences count, too.
  EXPECT_EQ(check(nest(json(R"({"scanType":"sequence"})"), 10000)), "");
  EXPECT_EQ(check(nest(json(R"({"scanType":"sequence"})"), 10001)), "Too many sub-jobs");
}

TEST(ValidationWhatTest, WhatIsRepeatedNotAtAllYieldsNothing) {
  EXPECT_EQ(check(nest(sequenceOf("node", Limits::SUB_JOBS + 1), 0)), "");
  Value sequence = nest(sequenceOf("node", Limits::SUB_JOBS + 1), 0);
  sequence["jobs"].add(json(R"({"scanType":"node","repeat":10000})"));
  EXPECT_EQ(check(sequence), "");
  EXPECT_EQ(check(nest(sequence, 1)), "Too many sub-jobs");
}

TEST(ValidationWhatTest, HugeRepetitionsOfHugeSequencesAreNoOverflow) {
  Value sequence = sequenceOf("node", 4294967295U);
  for (int i = 0; i < 6; ++i) sequence = nest(sequence, 4294967295U);
  EXPECT_EQ(check(sequence), "Too many sub-jobs");
}

TEST(ValidationWhatTest, ItemsOfUnknownTypeYieldNoSubJobs) {
  EXPECT_EQ(check(sequenceOf("Node", 4294967295U)), "");
  EXPECT_EQ(check(sequenceOf("", 4294967295U)), "");
}

TEST(ValidationWhatTest, RepeatThatIsNoCountIsOne) {
  Value sequence = sequenceOf("node", Limits::SUB_JOBS - 1);
  for (const char* repeat : {"-1", "\"20000\"", "4294967296", "1.5", "null"}) {
    Value item = json(R"({"scanType":"node"})");
    item["repeat"] = json(repeat);
    Value both = sequence;
    both["jobs"].add(item);
    EXPECT_EQ(check(both), "") << repeat;
  }
  Value item = json(R"({"scanType":"node","repeat":0})");
  sequence["jobs"].add(item);
  sequence["jobs"].add(json(R"({"scanType":"node"})"));
  EXPECT_EQ(check(sequence), "");
}

Value nestedTo(unsigned depth) {
  Value sequence = json(R"({"scanType":"sequence","jobs":[{"scanType":"node"}]})");
  for (unsigned i = 1; i < depth; ++i) sequence = nest(sequence, 1);
  return sequence;
}

TEST(ValidationWhatTest, SequencesNestEightDeepAndNoDeeper) {
  EXPECT_EQ(check(nestedTo(8)), "");
  EXPECT_EQ(check(nestedTo(9)), "Too many sub-jobs");
  // Repeated not at all, it is refused all the same.
  EXPECT_EQ(check(nest(nestedTo(8), 0)), "Too many sub-jobs");
}

TEST(ValidationWhatTest, JobsOfWhatIsNoSequenceAreNotCounted) {
  Value description = sequenceOf("node", Limits::SUB_JOBS + 1);
  description["scanType"] = "node";
  EXPECT_EQ(check(description), "");
}

TEST(ValidationWhatTest, JobsAsDeepAsAMessageMayBeAreChecked) {
  Value description = json(R"({"id":"a b"})");
  for (int i = 0; i < 31; ++i) {
    Value outer = json(R"({"jobs":[]})");
    outer["jobs"].add(description);
    description = outer;
  }
  EXPECT_EQ(check(description), "Invalid job id");
}

}  // namespace
}  // namespace KX::NMS::Discovery
