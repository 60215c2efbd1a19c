// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include "agent/CsvReader.h"

namespace {

using Records = std::vector<CsvReader::Record>;

// The records of a text that comes in pieces of the given size.
Records read(std::string_view text, std::size_t piece = 1000) {
  Records records;
  CsvReader reader([&records](const CsvReader::Record& record) { records.push_back(record); });
  for (std::size_t start = 0; start < text.size(); start += piece) reader.feed(text.substr(start, piece));
  reader.finish();
  return records;
}

TEST(CsvReaderTest, ALineIsARecordWhateverItsEnd) {
  const Records expected{{"a", "b", "c"}, {"d", "e", "f"}, {"g", "h", "i"}};
  EXPECT_EQ(read("a,b,c\r\nd,e,f\ng,h,i"), expected);
}

TEST(CsvReaderTest, QuotesKeepCommasLineEndsAndQuotes) {
  const Records expected{{"a,b", "c\nd", "say \"e\""}};
  EXPECT_EQ(read("\"a,b\",\"c\nd\",\"say \"\"e\"\"\"\n"), expected);
}

TEST(CsvReaderTest, PiecesEndAnywhere) {
  const std::string_view text = "1,\"a,\"\"b\"\"\",x\r\n2,c,\"d\ne\"\r\n3";
  for (std::size_t piece = 1; piece < text.size(); ++piece) EXPECT_EQ(read(text, piece), read(text)) << piece;
  EXPECT_EQ(read(text).size(), 3U);
}

TEST(CsvReaderTest, FieldsBeyondTheFirstAreDroppedAndMissingOnesAreEmpty) {
  const Records expected{{"a", "b", "c"}, {"e", "", ""}, {"", "", ""}};
  EXPECT_EQ(read("a,b,c,d,\"d\nd\"\ne\n\n"), expected);
}

TEST(CsvReaderTest, AFieldIsCutAtItsLimit) {
  const std::string longer(CsvReader::FIELD_LIMIT + 1, 'x');
  const Records expected{{longer.substr(1), "b", ""}};
  EXPECT_EQ(read(longer + ",b\n"), expected);
}

TEST(CsvReaderTest, AQuoteThatStaysOpenEndsWithTheText) {
  const Records expected{{"a", "b\nc,d\n", ""}};
  EXPECT_EQ(read("a,\"b\nc,d\n"), expected);
}

TEST(CsvReaderTest, AQuoteInsideAFieldIsAQuote) {
  const Records expected{{"5\" disk", "ab\"", ""}};
  EXPECT_EQ(read("5\" disk,\"a\"b\"\n"), expected);
}

TEST(CsvReaderTest, NothingIsNoRecord) { EXPECT_TRUE(read("").empty()); }

}  // namespace
