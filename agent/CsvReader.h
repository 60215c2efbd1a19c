// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

// Cuts comma-separated values that come in pieces into records, and keeps the first fields of each: a field in quotes
// may hold commas, line ends and doubled quotes. Takes any bytes and never grows: what is longer than a field may be is
// dropped, and a quote that is never closed ends with the text.
class CsvReader {
 public:
  static constexpr std::size_t FIELDS = 3;
  static constexpr std::size_t FIELD_LIMIT = 256;
  using Record = std::array<std::string, FIELDS>;

  explicit CsvReader(std::function<void(const Record&)> handler) : handler_(std::move(handler)) {}

  void feed(std::string_view piece);
  // The last line may lack its end.
  void finish();

 private:
  enum class State { START, PLAIN, QUOTED, QUOTE };

  void take(char character);
  void takeOutsideQuotes(char character);
  void append(char character);
  void endRecord();

  std::function<void(const Record&)> handler_;
  Record record_;
  std::size_t field_ = 0;
  State state_ = State::START;
};
