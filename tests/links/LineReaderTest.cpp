// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <random>
#include <string>
#include <vector>

#include "links/LineReader.h"

using KX::NMS::LineReader;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string TOO_LONG = "(too long)";

void readInto(std::vector<std::string>& lines, LineReader& reader, std::string_view bytes) {
  reader.feed(bytes);
  std::string_view line;
  for (auto result = reader.next(line); result != LineReader::Result::NEED_MORE; result = reader.next(line)) {
    lines.push_back(result == LineReader::Result::LINE ? std::string(line) : TOO_LONG);
  }
}

// The lines of a stream that arrives in pieces of the given size.
std::vector<std::string> linesOf(std::string_view stream, std::size_t piece, std::size_t limit) {
  LineReader reader(limit);
  std::vector<std::string> lines;
  for (std::size_t i = 0; i < stream.size(); i += piece) readInto(lines, reader, stream.substr(i, piece));
  std::string_view line;
  if (reader.finish(line) == LineReader::Result::LINE) lines.emplace_back(line);
  EXPECT_EQ(reader.finish(line), LineReader::Result::NEED_MORE);
  return lines;
}

}  // namespace

TEST(LineReaderTest, LinesAreCutAtTheirEnds) {
  EXPECT_THAT(linesOf("one\ntwo\n\nfour\n", 100, 10), ElementsAre("one", "two", "", "four"));
}

TEST(LineReaderTest, LastLineNeedsNoEnd) { EXPECT_THAT(linesOf("one\ntwo", 100, 10), ElementsAre("one", "two")); }

TEST(LineReaderTest, EmptyInputHasNoLine) { EXPECT_THAT(linesOf("", 1, 10), IsEmpty()); }

TEST(LineReaderTest, SizeOfThePiecesDoesNotMatter) {
  const std::string stream = "one\r\n\n\n" + std::string(30, 'x') + "\nlast \0 line\n12345678901\n1234567890\nend";
  const auto expected = linesOf(stream, stream.size(), 10);
  for (std::size_t piece = 1; piece < stream.size(); ++piece) EXPECT_EQ(linesOf(stream, piece, 10), expected) << piece;
}

TEST(LineReaderTest, LimitIsExact) {
  for (std::size_t piece : {1U, 3U, 10U, 100U}) {
    EXPECT_THAT(linesOf("1234567890\n12345678901\n1\n", piece, 10), ElementsAre("1234567890", TOO_LONG, "1"));
    EXPECT_THAT(linesOf("1234567890", piece, 10), ElementsAre("1234567890"));
  }
}

TEST(LineReaderTest, LongLineIsToldOnceAndAtOnce) {
  LineReader reader(10);
  std::vector<std::string> lines;
  readInto(lines, reader, "12345678");
  EXPECT_THAT(lines, IsEmpty());
  readInto(lines, reader, "901");
  EXPECT_THAT(lines, ElementsAre(TOO_LONG));
  for (int i = 0; i < 100; ++i) readInto(lines, reader, "aaaaaaaaaaaaaaaaaaaaaaaaaaa");
  EXPECT_THAT(lines, ElementsAre(TOO_LONG));
  readInto(lines, reader, "a\nnext\n");
  EXPECT_THAT(lines, ElementsAre(TOO_LONG, "next"));
}

TEST(LineReaderTest, LongLineWithoutEndIsNoLineAtTheEnd) {
  EXPECT_THAT(linesOf("12345678901", 4, 10), ElementsAre(TOO_LONG));
}

TEST(LineReaderTest, LimitOfZeroIsNone) {
  EXPECT_THAT(linesOf(std::string(100000, 'x') + "\n", 1000, 0), ElementsAre(std::string(100000, 'x')));
}

TEST(LineReaderTest, LineInOnePieceIsNotCopied) {
  LineReader reader(100);
  const std::string bytes = "line\n";
  reader.feed(bytes);
  std::string_view line;
  ASSERT_EQ(reader.next(line), LineReader::Result::LINE);
  EXPECT_EQ(line.data(), bytes.data());
}

TEST(LineReaderTest, RandomStreamsAreCutAsAWholeTextWouldBe) {
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    std::string stream;
    std::vector<std::string> expected;
    for (int i = 0; i < 50; ++i) {
      const std::string line(random() % 40, static_cast<char>('a' + i % 26));
      stream += line + "\n";
      expected.push_back(line.size() > 20 ? TOO_LONG : line);
    }
    LineReader reader(20);
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < stream.size();) {
      const std::size_t piece = random() % 60;
      readInto(lines, reader, std::string_view(stream).substr(i, piece));
      i += piece;
    }
    EXPECT_EQ(lines, expected);
  }
}
