// SPDX-License-Identifier: Apache-2.0
#include "agent/CsvReader.h"

void CsvReader::feed(std::string_view piece) {
  for (const char character : piece) take(character);
}

void CsvReader::finish() {
  if (field_ != 0 || state_ != State::START) endRecord();
}

void CsvReader::take(char character) {
  if (state_ == State::QUOTED) {
    if (character == '"') {
      state_ = State::QUOTE;
    } else {
      append(character);
    }
  } else if (character == '"' && state_ == State::START) {
    state_ = State::QUOTED;
  } else if (character == '"' && state_ == State::QUOTE) {
    append(character);
    state_ = State::QUOTED;
  } else {
    takeOutsideQuotes(character);
  }
}

void CsvReader::takeOutsideQuotes(char character) {
  if (character == ',') {
    ++field_;
    state_ = State::START;
  } else if (character == '\n') {
    endRecord();
  } else if (character != '\r') {
    append(character);
    state_ = State::PLAIN;
  }
}

void CsvReader::append(char character) {
  if (field_ < FIELDS && record_[field_].size() < FIELD_LIMIT) record_[field_].push_back(character);
}

void CsvReader::endRecord() {
  handler_(record_);
  for (std::string& field : record_) field.clear();
  field_ = 0;
  state_ = State::START;
}
