// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <random>
#include <string>

#include "platform/property/Value.h"
#include "platform/text/Utf8.h"

namespace {

using KX::Property::Value;

// Documents of every kind of value. The same ones in every run.
class Documents {
 public:
  Value value(unsigned depth) {
    switch (below(depth == 0 ? 7 : 9)) {
      case 0:
        return Value::null();
      case 1:
        return below(2) == 0;
      case 2:
        return static_cast<std::int64_t>(bits() >> below(64));
      case 3:
        return -static_cast<std::int64_t>(bits() >> (1 + below(63)));
      case 4:
        return (std::uint64_t{1} << 63U) | bits();
      case 5:
        return number();
      case 6:
        return text();
      case 7:
        return array(depth);
      default:
        return object(depth);
    }
  }

 private:
  std::uint64_t bits() { return random_(); }
  unsigned below(unsigned bound) { return static_cast<unsigned>(bits() % bound); }

  double number() {
    const auto result = std::bit_cast<double>(bits());
    return std::isfinite(result) ? result : 0.5;
  }
  String text() {
    std::string bytes;
    for (unsigned i = below(40); i > 0; --i) bytes += static_cast<char>(below(4) == 0 ? below(256) : 'a' + below(26));
    return toValidUtf8(bytes);
  }
  Value array(unsigned depth) {
    Value result = Value::array();
    for (unsigned i = below(6); i > 0; --i) result.add(value(depth - 1));
    return result;
  }
  Value object(unsigned depth) {
    Value result = Value::object();
    for (unsigned i = below(10) == 0 ? 40 : below(6); i > 0; --i) result[text()] = value(depth - 1);
    return result;
  }

  std::mt19937_64 random_{20261120};
};

TEST(JsonRoundTrip, EveryDocumentReadsBackTheSame) {
  Documents documents;
  for (int i = 0; i < 3000; ++i) {
    const Value value = documents.value(6);
    const String text = value.toJson();
    Value again;
    ASSERT_TRUE(again.fromJson(text).isSuccess()) << text.c_str();
    ASSERT_EQ(again, value) << text.c_str();
    ASSERT_EQ(again.toJson(), text);
  }
}

TEST(JsonRoundTrip, DamagedDocumentsNeverBreakTheReader) {
  Documents documents;
  std::mt19937 random(7);
  constexpr std::string_view BYTES = "{}[]:,\"\\u-+.eE019tfn \xff\xc3\0";
  for (int i = 0; i < 3000; ++i) {
    std::string text(documents.value(4).toJson().view());
    for (int damage = 0; damage < 3; ++damage) text[random() % text.size()] = BYTES[random() % BYTES.size()];
    const Value before = "before";
    Value value = before;
    if (value.fromJson(text).isErr()) {
      ASSERT_EQ(value, before);
      continue;
    }
    Value again;
    ASSERT_TRUE(again.fromJson(value.toJson()).isSuccess()) << text;
    ASSERT_EQ(again, value) << text;
  }
}

}  // namespace
